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

TEST( RouteMapSymbolAndNotifier, holdsTheSymbolAndItsNotifier ) {
   const auto symbol = routeMapSymbolFactory( "RM" );
   const auto pair = makeNode<RouteMapSymbolAndNotifier>( symbol );
   EXPECT_EQ( pair->rmSymbol(), symbol );
   EXPECT_EQ( pair->rmSymbolNotifier(), symbol->notifier() );
}

TEST( RouteMapSymbolAndNotifier, aNullSymbolLeavesBothNull ) {
   const auto pair = makeNode<RouteMapSymbolAndNotifier>( nullptr );
   ChangeLog log( *pair );
   EXPECT_EQ( pair->rmSymbol(), nullptr );
   EXPECT_EQ( pair->rmSymbolNotifier(), nullptr );
   pair->rmSymbolIs( nullptr );
   pair->rmSymbolNotifierIs( nullptr );
   EXPECT_THAT( log.take(), IsEmpty() );
}

TEST( RouteMapSymbolAndNotifier, aSymbolWithoutANotifierLeavesTheNotifierNull ) {
   const auto symbol = routeMapSymbolFactory( "RM" );
   symbol->notifierIs( nullptr );
   const auto pair = makeNode<RouteMapSymbolAndNotifier>( symbol );
   EXPECT_EQ( pair->rmSymbol(), symbol );
   EXPECT_EQ( pair->rmSymbolNotifier(), nullptr );
}

TEST( RouteMapSymbolAndNotifier, changesOfTheSymbolAreNotPublished ) {
   const auto symbol = routeMapSymbolFactory( "RM" );
   const auto pair = makeNode<RouteMapSymbolAndNotifier>( symbol );
   const auto notifier = symbol->notifier();
   ChangeLog log( *pair );
   symbol->updateAndNotify( makeNode<RouteMapStatus>( "RM" ) );
   symbol->notifierIs( makeNode<PolicySymbolNotifier>() );
   EXPECT_THAT( log.take(), IsEmpty() );
   EXPECT_EQ( pair->rmSymbolNotifier(), notifier ) << "copied by the constructor";
}

TEST( RouteMapSymbolAndNotifier, publishesRealChangesOfEachField ) {
   const auto a = routeMapSymbolFactory( "A" ), b = routeMapSymbolFactory( "B" );
   const auto pair = makeNode<RouteMapSymbolAndNotifier>( a );
   ChangeLog log( *pair );
   pair->rmSymbolIs( a );
   pair->rmSymbolNotifierIs( a->notifier() );
   EXPECT_THAT( log.take(), IsEmpty() );
   pair->rmSymbolIs( b );
   EXPECT_EQ( pair->rmSymbol(), b );
   EXPECT_EQ( pair->rmSymbolNotifier(), a->notifier() ) << "unchanged";
   EXPECT_THAT( log.take(), ElementsAre( kSymbol ) );
   pair->rmSymbolNotifierIs( b->notifier() );
   EXPECT_EQ( pair->rmSymbolNotifier(), b->notifier() );
   EXPECT_THAT( log.take(), ElementsAre( kNotifier ) );
   pair->rmSymbolIs( nullptr );
   pair->rmSymbolNotifierIs( nullptr );
   EXPECT_THAT( log.take(), ElementsAre( kSymbol, kNotifier ) );
}

TEST( RouteMapSymbolAndNotifier, theOldSymbolIsReleasedAfterThePublication ) {
   const auto table = makeNode<RouteMapSymbolDedupTable>();
   const auto pair = makeNode<RouteMapSymbolAndNotifier>( table->symbol( "OLD" ) );   // its only user
   for( const char * next : { "NEXT", static_cast<const char *>( nullptr ) } ) {
      SCOPED_TRACE( next ? next : "null" );
      const RouteMapSymbol * old = pair->rmSymbol().get();
      const auto oldName = old->name();
      const Ptr<RouteMapSymbol> written = next ? table->symbol( next ) : nullptr;
      const size_t standing = table->count();
      Reaction reader( *pair, [ & ]( const Quoin::Change & ) {
         EXPECT_EQ( pair->rmSymbol(), written ) << "stored before it is published";
         EXPECT_EQ( table->count(), standing ) << "the old one is not released yet";
         EXPECT_EQ( table->symbol( oldName ).get(), old );
      } );
      pair->rmSymbolIs( written );
      EXPECT_EQ( reader.heard, 1 );
      EXPECT_EQ( table->count(), standing - 1 ) << "released after the publication";
   }
}

TEST( RouteMapSymbolAndNotifier, theOldNotifierIsReleasedAfterThePublication ) {
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
   EXPECT_FALSE( ofOld.subscribed() ) << "released after the publication";
}

TEST( RouteMapSymbolAndNotifier, mayBeReleasedInsideItsPublication ) {
   const auto table = makeNode<RouteMapSymbolDedupTable>();
   Dropper dropper( makeNode<RouteMapSymbolAndNotifier>( table->symbol( "OLD" ) ) );
   auto * pair = dropper.object.get();
   pair->rmSymbolIs( table->symbol( "NEXT" ) );
   EXPECT_EQ( dropper.heard, 1 );
   EXPECT_EQ( table->count(), 0u );
}

}   // namespace
