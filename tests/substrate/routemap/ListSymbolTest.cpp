#include "substrate/routemap/ListSymbol.h"

#include <string>
#include <type_traits>
#include <utility>

#include <gmock/gmock.h>

#include "tests/substrate/routemap/ChangeLog.h"
#include "tests/substrate/zeugma/AllocationCount.h"

namespace {

using namespace Routing::RouteMap;
using Quoin::FieldId;
using Quoin::makeNode;
using Quoin::Ptr;

template <class Symbol>
concept HasStatus = requires( Symbol s ) {
   s.status();
};
static_assert( HasStatus<PrefixListSymbol> && !HasStatus<TunnelRibSymbol> );

/// One kind of symbol with its table.
template <class S, class T>
struct Kind {
   using Symbol = S;
   using Table = T;
   static_assert( std::is_base_of_v<PolicySymbol, S> && std::is_default_constructible_v<T> );
};
using Kinds = testing::Types<Kind<PrefixListSymbol, PrefixListSymbolDedupTable>, Kind<IpAccessListSymbol, IpAccessListSymbolDedupTable>,
                             Kind<TagSetSymbol, TagSetSymbolDedupTable>, Kind<CommListSymbol, CommListSymbolDedupTable>,
                             Kind<AsPathListSymbol, AsPathListSymbolDedupTable>, Kind<DynPrefixListSymbol, DynPrefixListSymbolDedupTable>,
                             Kind<RoaTableSymbol, RoaTableSymbolDedupTable>, Kind<TunnelRibSymbol, TunnelRibSymbolDedupTable>>;

template <class K>
class SymbolTest : public testing::Test {
 protected:
   const Ptr<typename K::Table> table = makeNode<typename K::Table>();
};
TYPED_TEST_SUITE( SymbolTest, Kinds );

TYPED_TEST( SymbolTest, theFirstOfItsNameIsTheOne ) {
   const auto first = makeNode<typename TypeParam::Symbol>( "L" ), second = makeNode<typename TypeParam::Symbol>( "L" );
   EXPECT_EQ( first->dedup( this->table ), first );
   EXPECT_EQ( second->dedup( this->table ), first );
   EXPECT_EQ( first->dedup( this->table ), first );
   EXPECT_TRUE( first->isDeduped() );
   EXPECT_FALSE( second->isDeduped() );
   EXPECT_EQ( this->table->count(), 1u );
   EXPECT_EQ( this->table->symbol( "L" ), first );
   EXPECT_EQ( this->table->dedup( second ), first );
}

TYPED_TEST( SymbolTest, aNullSymbolIsRaised ) {
   EXPECT_THROW( this->table->dedup( nullptr ), Plinth::MutatorArgNullPointerException );
   EXPECT_EQ( this->table->count(), 0u );
}

TYPED_TEST( SymbolTest, aTableIsMadeWithItsHashTable ) {
   const auto hashTable = this->table->dedupHashTable();
   ASSERT_NE( hashTable, nullptr );
   EXPECT_EQ( hashTable->count(), 0u );
   const auto a = this->table->symbol( "A" );
   EXPECT_EQ( hashTable->count(), 1u );
   EXPECT_EQ( a->getDedupHashTable(), hashTable.get() );
   this->table->handleInitialized();   // begins anew
   EXPECT_NE( this->table->dedupHashTable(), hashTable );
   EXPECT_EQ( this->table->count(), 0u );
   EXPECT_NE( this->table->symbol( "A" ), a );
}

TYPED_TEST( SymbolTest, namesAreToldApart ) {
   const auto a = this->table->symbol( "A" ), b = this->table->symbol( "B" ), none = this->table->symbol( "" );
   EXPECT_EQ( a->name(), "A" );
   EXPECT_EQ( b->name(), "B" );
   EXPECT_EQ( none->name(), "" );
   EXPECT_EQ( this->table->count(), 3u );
   EXPECT_NE( a->notifier(), b->notifier() );
}

TYPED_TEST( SymbolTest, tablesDoNotShare ) {
   typename TypeParam::Table other;
   EXPECT_NE( this->table->symbol( "A" ), other.symbol( "A" ) );
}

TYPED_TEST( SymbolTest, aSymbolMadeByTheTableIsBornLikeAnyOther ) {
   const auto symbol = this->table->symbol( "A" );
   EXPECT_TRUE( symbol->isDeduped() );
   EXPECT_TRUE( symbol->statusCurrent() );
   ASSERT_TRUE( symbol->notifier() );
   EXPECT_EQ( symbol->notifier()->version(), 0u );
   EXPECT_EQ( symbol->useCount(), 1u );
}

TYPED_TEST( SymbolTest, itLeavesTheTableWithItsLastUser ) {
   auto symbol = this->table->symbol( "A" ), again = this->table->symbol( "A" );
   const auto notifier = symbol->notifier();
   symbol = nullptr;
   EXPECT_EQ( this->table->count(), 1u );
   again = nullptr;
   EXPECT_EQ( this->table->count(), 0u );
   EXPECT_NE( this->table->symbol( "A" )->notifier(), notifier ) << "a new one";
}

TYPED_TEST( SymbolTest, itOutlivesItsTable ) {
   Ptr<typename TypeParam::Symbol> symbol;
   {
      typename TypeParam::Table other;
      symbol = other.symbol( "A" );
   }
   EXPECT_EQ( symbol->name(), "A" );
   symbol = nullptr;
}

TYPED_TEST( SymbolTest, aHitDoesNotAllocate ) {
   const Quoin::String name( std::string( 40, 'n' ) );   // too long for the object itself
   const auto symbol = this->table->symbol( name );
   const auto before = allocationCount();
   const auto hit = this->table->symbol( name );
   EXPECT_EQ( allocationCount(), before );
   EXPECT_EQ( hit, symbol );
   const auto miss = this->table->symbol( "another" );
   EXPECT_GT( allocationCount(), before ) << "nothing is counted at all";
}

template <class Symbol>
class ListSymbolTest : public testing::Test {
 protected:
   using Status = std::remove_const_t<typename std::remove_cvref_t<decltype( std::declval<Symbol>().status() )>::element_type>;
   static Ptr<const Status> makeStatus() {
      if constexpr( std::is_same_v<Status, PrefixListStatus> )
         return makeNode<Status>( "L", Ferule::AddressFamily::ipv4 );
      else
         return makeNode<Status>( "L" );
   }
};

using ListSymbols = testing::Types<PrefixListSymbol, IpAccessListSymbol, TagSetSymbol, CommListSymbol, AsPathListSymbol,
                                   DynPrefixListSymbol, RoaTableSymbol>;
TYPED_TEST_SUITE( ListSymbolTest, ListSymbols );

TYPED_TEST( ListSymbolTest, staysAsListsComeAndGo ) {
   const auto symbol = makeNode<TypeParam>( "L" );
   ChangeLog log( *symbol );
   const auto status = this->makeStatus(), other = this->makeStatus();
   const auto field = FieldId( TypeParam::Field::status );
   symbol->statusIs( nullptr );
   EXPECT_TRUE( log.take().empty() );
   symbol->statusIs( status );
   EXPECT_EQ( symbol->status(), status );
   EXPECT_THAT( log.take(), testing::ElementsAre( field ) );
   symbol->statusIs( status );
   EXPECT_TRUE( log.take().empty() );
   symbol->statusIs( other );
   EXPECT_EQ( symbol->status(), other );
   EXPECT_THAT( log.take(), testing::ElementsAre( field ) );
   EXPECT_EQ( status->useCount(), 1u );
   symbol->statusIs( nullptr );
   EXPECT_EQ( symbol->status(), nullptr );
   EXPECT_THAT( log.take(), testing::ElementsAre( field ) );
   EXPECT_EQ( symbol->notifier()->version(), 0u ) << "the version is the producer's to raise";
}

TYPED_TEST( ListSymbolTest, isTheOneOfItsNameWhetherThereIsAListOrNot ) {
   const auto table = makeNode<SymbolDedupTable<TypeParam>>();
   const auto symbol = table->symbol( "L" );
   const auto notifier = symbol->notifier();
   for( const auto & status : { this->makeStatus(), this->makeStatus() } ) {
      symbol->statusIs( status );
      EXPECT_EQ( table->symbol( "L" ), symbol );
      EXPECT_EQ( table->symbol( "L" )->status(), status );
   }
   symbol->statusIs( nullptr );
   EXPECT_EQ( table->symbol( "L" ), symbol );
   EXPECT_EQ( makeNode<TypeParam>( "L" )->dedup( table ), symbol );
   EXPECT_EQ( symbol->notifier(), notifier );
   EXPECT_EQ( table->count(), 1u );
}

// One publisher tells of what the base has and of what the derived class adds.
TYPED_TEST( ListSymbolTest, itsFieldsAreToldApart ) {
   const auto symbol = makeNode<TypeParam>( "L" );
   ChangeLog log( *symbol );
   symbol->statusCurrentIs( false );
   symbol->statusIs( this->makeStatus() );
   symbol->notifierIs( nullptr );
   const auto fields = log.take();
   ASSERT_EQ( fields.size(), 3u );
   EXPECT_NE( fields[ 0 ], fields[ 1 ] );
   EXPECT_NE( fields[ 1 ], fields[ 2 ] );
   EXPECT_NE( fields[ 0 ], fields[ 2 ] );
}

}   // namespace
