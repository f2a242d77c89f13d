#include "substrate/routemap/AllIpAccessListSymbol.h"

#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "tests/substrate/routemap/ChangeLog.h"

namespace {

using Quoin::FieldId;
using Quoin::makeNode;
using Quoin::Ptr;
using Quoin::String;
using Routing::RouteMap::AllIpAccessListSymbol;
using Routing::RouteMap::IpAccessListSymbol;
using testing::ElementsAre;
using testing::Pair;

TEST( AllIpAccessListSymbol, isEmptyAtFirst ) {
   const auto all = makeNode<AllIpAccessListSymbol>();
   EXPECT_TRUE( all->symbol().empty() );
   EXPECT_EQ( all->symbol( "ACL" ), nullptr );
   all->symbolDel( "ACL" );   // nothing happens
   EXPECT_TRUE( all->symbol().empty() );
}

TEST( AllIpAccessListSymbol, entersASymbolUnderItsName ) {
   const auto all = makeNode<AllIpAccessListSymbol>();
   const auto a = makeNode<IpAccessListSymbol>( "A" ), b = makeNode<IpAccessListSymbol>( "B" );
   all->symbolIs( a );
   all->symbolIs( b );
   EXPECT_EQ( all->symbol( "A" ), a );
   EXPECT_EQ( all->symbol( "B" ), b );
   EXPECT_EQ( all->symbol( "C" ), nullptr );
   EXPECT_EQ( all->symbol().count(), 2u );
   EXPECT_EQ( a->useCount(), 2u );
   all->symbolDel( "A" );
   EXPECT_EQ( all->symbol( "A" ), nullptr );
   EXPECT_EQ( a->useCount(), 1u );
   EXPECT_EQ( all->symbol( "B" ), b );
}

TEST( AllIpAccessListSymbol, publishesRealChangesWithTheName ) {
   const auto all = makeNode<AllIpAccessListSymbol>();
   ChangeLog<String> log( *all );
   const auto first = makeNode<IpAccessListSymbol>( "A" ), second = makeNode<IpAccessListSymbol>( "A" );
   const auto field = FieldId( AllIpAccessListSymbol::Field::symbol );
   all->symbolIs( first );
   EXPECT_THAT( log.take(), ElementsAre( field ) );
   all->symbolIs( first );
   all->symbolDel( "B" );
   EXPECT_THAT( log.take(), testing::IsEmpty() );
   all->symbolIs( second );
   EXPECT_EQ( all->symbol( "A" ), second );
   EXPECT_THAT( log.take(), ElementsAre( field ) );
   all->symbolDel( "A" );
   EXPECT_THAT( log.take(), ElementsAre( field ) );
   EXPECT_THAT( log.keys, ElementsAre( String( "A" ), String( "A" ), String( "A" ) ) );
}

TEST( AllIpAccessListSymbol, aChangeCarriesTheOldSymbolAndTheComparisonOfNamesAndComesWhenItStands ) {
   struct Reader final : Quoin::Subscriber {
      explicit Reader( AllIpAccessListSymbol & a ) : all( a ) { all.publisher()->subscriberAdd( this ); }
      void onChange( const Quoin::Change & change ) override {
         const String same = "A", other = "B";
         ASSERT_NE( change.keyIsEq, nullptr );
         EXPECT_TRUE( change.keyIsEq( change.key, &same ) );
         EXPECT_FALSE( change.keyIsEq( change.key, &other ) );
         ASSERT_NE( change.oldValue, nullptr );
         seen.emplace_back( *static_cast<const Ptr<IpAccessListSymbol> *>( change.oldValue ), all.symbol( "A" ) );
      }
      AllIpAccessListSymbol & all;
      std::vector<std::pair<Ptr<IpAccessListSymbol>, Ptr<IpAccessListSymbol>>> seen;   // the old one, and the one that is found
   };
   const auto all = makeNode<AllIpAccessListSymbol>();
   Reader reader( *all );
   const auto first = makeNode<IpAccessListSymbol>( "A" ), second = makeNode<IpAccessListSymbol>( "A" );
   all->symbolIs( first );
   all->symbolIs( second );
   all->symbolDel( "A" );
   EXPECT_THAT( reader.seen, ElementsAre( Pair( nullptr, first ), Pair( first, second ), Pair( second, nullptr ) ) );
}

// Nobody but the call under way holds the symbol then, whose name is the key that others are still to hear.
TEST( AllIpAccessListSymbol, aReactionMayDropTheSymbolThatIsEntered ) {
   const String name( std::string( 40, 'n' ) );   // too long for the object itself
   struct Deleter final : Quoin::Subscriber {
      void onChange( const Quoin::Change & change ) override {
         if( !mine ) return;
         mine = nullptr;
         all->symbolDel( *static_cast<const String *>( change.key ) );
         for( char c = 'a'; c <= 'z'; ++c ) overwriting.emplace_back( std::string( 40, c ) );   // what was let go of
      }
      Ptr<AllIpAccessListSymbol> all = makeNode<AllIpAccessListSymbol>();
      Ptr<IpAccessListSymbol> mine;
      std::vector<String> overwriting;
   } deleter;
   deleter.mine = makeNode<IpAccessListSymbol>( name );
   deleter.all->publisher()->subscriberAdd( &deleter );
   ChangeLog<String> second( *deleter.all );
   deleter.all->symbolIs( deleter.mine );
   EXPECT_THAT( second.keys, ElementsAre( name, name ) ) << "of the deletion, and then of what it was the reaction to";
   EXPECT_TRUE( deleter.all->symbol().empty() );
}

TEST( AllIpAccessListSymbol, aNullSymbolIsRaisedAndChangesNothing ) {
   const auto all = makeNode<AllIpAccessListSymbol>();
   all->symbolIs( makeNode<IpAccessListSymbol>( "A" ) );
   ChangeLog<String> log( *all );
   try {
      all->symbolIs( nullptr );
      FAIL() << "not raised";
   } catch( const Plinth::MutatorArgNullPointerException & e ) { EXPECT_STREQ( e.what(), "symbolIs: the argument is null" ); }
   EXPECT_EQ( all->symbol().count(), 1u );
   EXPECT_THAT( log.take(), testing::IsEmpty() );
}

// The name may be the one that stands in the collection.
TEST( AllIpAccessListSymbol, aSymbolMayBeDeletedByItsOwnName ) {
   const auto all = makeNode<AllIpAccessListSymbol>();
   const String name( std::string( 40, 'n' ) );
   all->symbolIs( makeNode<IpAccessListSymbol>( name ) );
   all->symbolDel( all->symbol().begin()->second->name() );
   EXPECT_TRUE( all->symbol().empty() );
}

}   // namespace
