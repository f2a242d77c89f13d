#include "compile/RouteMapSymbolAndNotifier.h"

#include <vector>

#include <gmock/gmock.h>

#include "tests/compile/Fixtures.h"
#include "tests/policy/Fixtures.h"
#include "tests/substrate/routemap/ChangeLog.h"

namespace {

using namespace Routing::Policy;
using CompileFixtures::Reaction;
using Fixtures::Dropper;
using Quoin::FieldId;
using Quoin::makeNode;
using Quoin::Ptr;
using Routing::RouteMap::PolicySymbolNotifier;
using testing::ElementsAre;
using testing::IsEmpty;
using Field = RouteMapSymbolAndNotifier::Field;

constexpr FieldId kSymbol = FieldId( Field::rmSymbol ), kNotifier = FieldId( Field::rmSymbolNotifier );

TEST( RouteMapSymbolAndNotifier, takesTheSymbolAndItsNotifier ) {
   const auto symbol = routeMapSymbolFactory( "RM" );
   const auto pair = makeNode<RouteMapSymbolAndNotifier>( symbol );
   EXPECT_EQ( pair->rmSymbol(), symbol );
   EXPECT_EQ( pair->rmSymbolNotifier(), symbol->notifier() );
   EXPECT_EQ( symbol->useCount(), 2u );
   EXPECT_EQ( symbol->notifier()->useCount(), 2u );
}

TEST( RouteMapSymbolAndNotifier, ofANullSymbolBothAreNullAndNobodyHearsAnything ) {
   const auto pair = makeNode<RouteMapSymbolAndNotifier>( nullptr );
   ChangeLog log( *pair );
   EXPECT_EQ( pair->rmSymbol(), nullptr );
   EXPECT_EQ( pair->rmSymbolNotifier(), nullptr );
   pair->rmSymbolIs( nullptr );
   pair->rmSymbolNotifierIs( nullptr );
   EXPECT_THAT( log.take(), IsEmpty() );
}

TEST( RouteMapSymbolAndNotifier, ofASymbolWithoutANotifierTheNotifierIsNull ) {
   const auto symbol = routeMapSymbolFactory( "RM" );
   symbol->notifierIs( nullptr );
   const auto pair = makeNode<RouteMapSymbolAndNotifier>( symbol );
   EXPECT_EQ( pair->rmSymbol(), symbol );
   EXPECT_EQ( pair->rmSymbolNotifier(), nullptr );
}

TEST( RouteMapSymbolAndNotifier, whatTheSymbolTellsIsNotToldHere ) {
   const auto symbol = routeMapSymbolFactory( "RM" );
   const auto pair = makeNode<RouteMapSymbolAndNotifier>( symbol );
   const auto notifier = symbol->notifier();
   ChangeLog log( *pair );
   symbol->updateAndNotify( makeNode<RouteMapStatus>( "RM" ) );
   symbol->notifierIs( makeNode<PolicySymbolNotifier>() );
   EXPECT_THAT( log.take(), IsEmpty() );
   EXPECT_EQ( pair->rmSymbolNotifier(), notifier ) << "a copy of what the symbol had";
}

TEST( RouteMapSymbolAndNotifier, eachFieldIsToldOfOnChangeOnlyAndApart ) {
   const auto a = routeMapSymbolFactory( "A" ), b = routeMapSymbolFactory( "B" );
   const auto pair = makeNode<RouteMapSymbolAndNotifier>( a );
   ChangeLog log( *pair );
   pair->rmSymbolIs( a );
   pair->rmSymbolNotifierIs( a->notifier() );
   EXPECT_THAT( log.take(), IsEmpty() );
   pair->rmSymbolIs( b );
   EXPECT_EQ( pair->rmSymbol(), b );
   EXPECT_EQ( pair->rmSymbolNotifier(), a->notifier() ) << "it does not follow";
   EXPECT_THAT( log.take(), ElementsAre( kSymbol ) );
   pair->rmSymbolNotifierIs( b->notifier() );
   EXPECT_EQ( pair->rmSymbolNotifier(), b->notifier() );
   EXPECT_THAT( log.take(), ElementsAre( kNotifier ) );
   pair->rmSymbolIs( nullptr );
   pair->rmSymbolNotifierIs( nullptr );
   EXPECT_THAT( log.take(), ElementsAre( kSymbol, kNotifier ) );
   EXPECT_EQ( a->useCount(), 1u );
   EXPECT_EQ( b->useCount(), 1u );
}

TEST( RouteMapSymbolAndNotifier, theOldSymbolStandsWhileTheNewOneIsTold ) {
   const auto table = makeNode<RouteMapSymbolDedupTable>();
   const auto pair = makeNode<RouteMapSymbolAndNotifier>( table->symbol( "OLD" ) );   // its only user
   for( const char * next : { "NEXT", static_cast<const char *>( nullptr ) } ) {
      SCOPED_TRACE( next ? next : "null" );
      const RouteMapSymbol * old = pair->rmSymbol().get();
      const auto oldName = old->name();
      const Ptr<RouteMapSymbol> written = next ? table->symbol( next ) : nullptr;
      const size_t standing = table->count();
      Reaction reader( *pair, [ & ]( const Quoin::Change & ) {
         EXPECT_EQ( pair->rmSymbol(), written ) << "stored before it is told";
         EXPECT_EQ( table->count(), standing ) << "the old one has not gone";
         EXPECT_EQ( table->symbol( oldName ).get(), old );
      } );
      pair->rmSymbolIs( written );
      EXPECT_EQ( reader.heard, 1 );
      EXPECT_EQ( table->count(), standing - 1 ) << "the old one goes behind the publication";
   }
}

TEST( RouteMapSymbolAndNotifier, theOldNotifierStandsWhileTheNewOneIsTold ) {
   auto symbol = routeMapSymbolFactory( "RM" );
   const auto pair = makeNode<RouteMapSymbolAndNotifier>( symbol );
   pair->rmSymbolIs( nullptr );
   symbol = nullptr;   // the pair is the only user of its notifier now
   Reaction ofOld( *pair->rmSymbolNotifier() );
   bool stood = false;
   Ptr<const PolicySymbolNotifier> seen;
   const auto next = makeNode<PolicySymbolNotifier>();
   Reaction reader( *pair, [ & ]( const Quoin::Change & ) {
      seen = pair->rmSymbolNotifier();
      stood = ofOld.subscribed();
   } );
   pair->rmSymbolNotifierIs( next );
   EXPECT_TRUE( stood );
   EXPECT_EQ( seen, next );
   EXPECT_FALSE( ofOld.subscribed() ) << "gone behind the publication";
}

TEST( RouteMapSymbolAndNotifier, aReactionMayPutTheOldSymbolBack ) {
   const auto table = makeNode<RouteMapSymbolDedupTable>();
   const auto pair = makeNode<RouteMapSymbolAndNotifier>( table->symbol( "OLD" ) );
   const auto next = table->symbol( "NEXT" );
   const RouteMapSymbol * old = pair->rmSymbol().get();
   Reaction back( *pair, [ & ]( const Quoin::Change & ) { pair->rmSymbolIs( table->symbol( "OLD" ) ); } );
   Reaction behind( *pair );
   pair->rmSymbolIs( next );
   EXPECT_EQ( pair->rmSymbol().get(), old );
   EXPECT_EQ( back.heard, 2 );
   EXPECT_EQ( behind.heard, 2 );
   EXPECT_EQ( table->count(), 2u );
   EXPECT_EQ( pair->rmSymbol()->useCount(), 1u );
}

TEST( RouteMapSymbolAndNotifier, aReactionMayDropThePair ) {
   const auto table = makeNode<RouteMapSymbolDedupTable>();
   Dropper dropper( makeNode<RouteMapSymbolAndNotifier>( table->symbol( "OLD" ) ) );
   auto * pair = dropper.object.get();
   pair->rmSymbolIs( table->symbol( "NEXT" ) );
   EXPECT_EQ( dropper.heard, 1 );
   EXPECT_EQ( table->count(), 0u );
}

}   // namespace
