#include "compile/SymbolSeq.h"

#include <type_traits>
#include <vector>

#include <gmock/gmock.h>

#include "tests/compile/Fixtures.h"
#include "tests/substrate/routemap/ChangeLog.h"

namespace {

using namespace Routing::Policy;
using namespace Routing::RouteMap;
using Quoin::FieldId;
using Quoin::makeNode;
using Quoin::Ptr;
using testing::ElementsAre;
using testing::IsEmpty;

// --- the symbols of match clauses, and of set clauses

template <class SeqType, class ListType, auto one, auto other>
struct Clauses {
   using Seq = SeqType;
   using List = ListType;
   static constexpr auto kOne = one, kOther = other;
};

template <class Kind>
class OptionSymbolSeqTest : public testing::Test {
 protected:
   using Seq = typename Kind::Seq;
   using List = typename Kind::List;
   using Option = std::remove_const_t<decltype( Kind::kOne )>;
   const FieldId field = FieldId( Seq::Field::policySymbolList );
   Ptr<Seq> seq = makeNode<Seq>( 10 );
   Ptr<const PolicySymbol> a = makeNode<TagSetSymbol>( "A" ), b = makeNode<CommListSymbol>( "A" );
   Ptr<List> listOf( Option option, const std::vector<Ptr<const PolicySymbol>> & symbols ) {
      const auto list = makeNode<List>( option );
      for( const auto & symbol : symbols ) list->policySymbolIs( symbol );
      return list;
   }
};

using Kinds = testing::Types<Clauses<MatchSymbolSeq, PolicyMatchSymbolList, MatchOption::matchTagSet, MatchOption::matchIpPrefixList>,
                             Clauses<SetSymbolSeq, PolicySetSymbolList, SetOption::setCommunityList, SetOption::setExtCommunityList>>;
TYPED_TEST_SUITE( OptionSymbolSeqTest, Kinds );

TYPED_TEST( OptionSymbolSeqTest, aListIsASetOfSymbols ) {
   const auto list = makeNode<typename TypeParam::List>( TypeParam::kOne );
   EXPECT_EQ( list->option(), TypeParam::kOne );
   EXPECT_TRUE( list->policySymbol().empty() );
   list->policySymbolIs( this->a );
   list->policySymbolIs( this->a );
   list->policySymbolIs( this->b );
   EXPECT_EQ( list->policySymbol().count(), 2u ) << "by object, not by name";
   EXPECT_TRUE( list->policySymbolHas( this->a ) && list->policySymbolHas( this->b ) );
   list->policySymbolDel( this->a );
   list->policySymbolDel( this->a );
   EXPECT_TRUE( !list->policySymbolHas( this->a ) && list->policySymbolHas( this->b ) );
   list->policySymbolDelAll();
   EXPECT_TRUE( list->policySymbol().empty() );
}

TYPED_TEST( OptionSymbolSeqTest, aNullSymbolIsRefused ) {
   const auto list = this->listOf( TypeParam::kOne, { this->a } );
   try {
      list->policySymbolIs( nullptr );
      ADD_FAILURE() << "listed";
   } catch( const Plinth::MutatorArgNullPointerException & e ) { EXPECT_STREQ( e.what(), "policySymbolIs: the argument is null" ); }
   EXPECT_FALSE( list->policySymbolHas( nullptr ) );
   EXPECT_EQ( list->policySymbol().count(), 1u );
}

TYPED_TEST( OptionSymbolSeqTest, aListIsReplacedWhole ) {
   const auto first = this->listOf( TypeParam::kOne, { this->a } ), second = this->listOf( TypeParam::kOne, { this->b } );
   const auto other = this->listOf( TypeParam::kOther, { this->a, this->b } );
   ChangeLog<typename TestFixture::Option> log( *this->seq );
   this->seq->policySymbolListIs( TypeParam::kOne, first );
   this->seq->policySymbolListIs( TypeParam::kOther, other );
   EXPECT_THAT( log.take(), ElementsAre( this->field, this->field ) );
   this->seq->policySymbolListIs( TypeParam::kOne, first );   // unchanged
   EXPECT_THAT( log.take(), IsEmpty() );
   this->seq->policySymbolListIs( TypeParam::kOne, second );
   EXPECT_THAT( log.take(), ElementsAre( this->field ) );
   EXPECT_THAT( log.keys, ElementsAre( TypeParam::kOne, TypeParam::kOther, TypeParam::kOne ) );
   EXPECT_EQ( this->seq->policySymbolList( TypeParam::kOne ), second );
   EXPECT_EQ( this->seq->policySymbolList( TypeParam::kOther ), other );
}

TYPED_TEST( OptionSymbolSeqTest, listsAreDeleted ) {
   for( const auto option : { TypeParam::kOne, TypeParam::kOther } )
      this->seq->policySymbolListIs( option, this->listOf( option, { this->a } ) );
   ChangeLog<typename TestFixture::Option> log( *this->seq );
   this->seq->policySymbolListDel( TypeParam::kOne );
   this->seq->policySymbolListDel( TypeParam::kOne );
   EXPECT_THAT( log.take(), ElementsAre( this->field ) );
   EXPECT_EQ( this->seq->policySymbolList( TypeParam::kOne ), nullptr );
   EXPECT_EQ( this->seq->policySymbolList().count(), 1u );
   this->seq->policySymbolListDelAll();
   EXPECT_THAT( log.take(), ElementsAre( this->field ) );
   this->seq->policySymbolListDelAll();
   EXPECT_THAT( log.take(), IsEmpty() );
   EXPECT_THAT( log.keys, ElementsAre( TypeParam::kOne, TypeParam::kOther ) );
}

TYPED_TEST( OptionSymbolSeqTest, aNullListIsRefused ) {
   ChangeLog<typename TestFixture::Option> log( *this->seq );
   EXPECT_THROW( this->seq->policySymbolListIs( TypeParam::kOne, nullptr ), Plinth::MutatorArgNullPointerException );
   EXPECT_THAT( log.take(), IsEmpty() );
   EXPECT_TRUE( this->seq->policySymbolList().empty() );
}

// --- the route maps that a sequence refers to

template <class Seq>
class RouteMapSymbolSeqTest : public testing::Test {};
using References = testing::Types<SubRouteMapSymbolSeq, AggRoleAttrMapSymbolSeq>;
TYPED_TEST_SUITE( RouteMapSymbolSeqTest, References );

static_assert( !std::is_same_v<SubRouteMapSymbolSeq, AggRoleAttrMapSymbolSeq>, "two types" );

TYPED_TEST( RouteMapSymbolSeqTest, isEmptyAtFirst ) {
   const auto seq = makeNode<TypeParam>( 4294967295u );
   EXPECT_EQ( seq->seqno(), 4294967295u );
   EXPECT_EQ( seq->symbol(), nullptr );
   EXPECT_EQ( seq->currentVersion(), 0u );
}

TYPED_TEST( RouteMapSymbolSeqTest, publishesRealChangesOfEachField ) {
   const auto seq = makeNode<TypeParam>( 10 );
   const auto symbol = routeMapSymbolFactory( "RM" );
   const auto kSymbol = FieldId( TypeParam::Field::symbol ), kVersion = FieldId( TypeParam::Field::currentVersion );
   ChangeLog log( *seq );
   seq->symbolIs( nullptr );
   seq->currentVersionIs( 0 );
   EXPECT_THAT( log.take(), IsEmpty() );
   seq->symbolIs( symbol );
   seq->currentVersionIs( 7 );
   seq->symbolIs( symbol );
   seq->currentVersionIs( 7 );
   EXPECT_THAT( log.take(), ElementsAre( kSymbol, kVersion ) );
   EXPECT_EQ( seq->symbol(), symbol );
   EXPECT_EQ( seq->currentVersion(), 7u );
   seq->currentVersionIs( 6 );   // that of a new symbol may be lower
   seq->symbolIs( nullptr );
   EXPECT_THAT( log.take(), ElementsAre( kVersion, kSymbol ) );
   EXPECT_EQ( seq->currentVersion(), 6u ) << "unchanged";
}

TYPED_TEST( RouteMapSymbolSeqTest, currentVersionIsNotUpdatedByTheSymbol ) {
   const auto seq = makeNode<TypeParam>( 10 );
   const auto symbol = routeMapSymbolFactory( "RM" );
   seq->symbolIs( symbol );
   symbol->updateAndNotify( nullptr );
   EXPECT_EQ( seq->currentVersion(), 0u ) << "written by the compile";
}

}   // namespace
