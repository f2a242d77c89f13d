#include "compile/RouteMapNotifiers.h"

#include <vector>

#include <gmock/gmock.h>

#include "substrate/quoin/Ptr.h"
#include "tests/compile/Fixtures.h"
#include "tests/policy/Fixtures.h"
#include "tests/substrate/routemap/ChangeLog.h"

namespace {

using namespace Routing::Policy;
using CompileFixtures::Reaction;
using Fixtures::Dropper;
using Quoin::FieldId;
using Quoin::makeNode;
using testing::ElementsAre;
using testing::IsEmpty;
using Mode = Routing::RouteMap::RouteMapOpModeType;

constexpr FieldId kVersion = FieldId( RouteMapUpdateNotifier::Field::version );

TEST( RouteMapUpdateNotifier, publishesRealChanges ) {
   const auto notifier = makeNode<RouteMapUpdateNotifier>();
   EXPECT_EQ( notifier->version(), 0u );
   ChangeLog log( *notifier );
   const struct {
      const char * name;
      bool inc;
      uint32_t by;
      uint32_t version;
      size_t published;
   } rows[] = {
      { "an increment of nothing", true, 0, 0, 0 },
      { "the first value written again", false, 0, 0, 0 },
      { "one more", true, 1, 1, 1 },
      { "several more", true, 6, 7, 1 },
      { "an increment of nothing, later", true, 0, 7, 0 },
      { "the present value", false, 7, 7, 0 },
      { "up", false, 4294967295u, 4294967295u, 1 },
      { "round", true, 1, 0, 1 },
      { "round to a value that is above", true, 4294967295u, 4294967295u, 1 },
      { "down", false, 3, 3, 1 },
   };
   for( const auto & row : rows ) {
      if( row.inc )
         notifier->versionInc( row.by );
      else
         notifier->versionIs( row.by );
      EXPECT_EQ( notifier->version(), row.version ) << row.name;
      EXPECT_EQ( log.take(), std::vector<FieldId>( row.published, kVersion ) ) << row.name;
   }
}

TEST( RouteMapUpdateNotifier, storesBeforeItPublishes ) {
   const auto notifier = makeNode<RouteMapUpdateNotifier>();
   std::vector<uint32_t> seen;
   Reaction reader( *notifier, [ & ]( const Quoin::Change & ) { seen.push_back( notifier->version() ); } );
   notifier->versionInc( 2 );
   notifier->versionIs( 9 );
   EXPECT_THAT( seen, ElementsAre( 2u, 9u ) );
}

TEST( RouteMapUpdateNotifier, mayBeReleasedInsideItsPublication ) {
   Dropper dropper( makeNode<RouteMapUpdateNotifier>() );
   dropper.object->versionInc( 1 );
   EXPECT_EQ( dropper.heard, 1 );
}

/// Records the old and the new mode of each change.
struct ModeLog {
   explicit ModeLog( RouteMapOpModeNotifier & n ) : notifier( n ) {}
   RouteMapOpModeNotifier & notifier;
   std::vector<std::pair<int, int>> changes;
   Reaction reaction{ notifier, [ this ]( const Quoin::Change & change ) {
                        EXPECT_EQ( change.field, FieldId( RouteMapOpModeNotifier::Field::routeMapOpMode ) );
                        EXPECT_EQ( change.key, nullptr ) << "a plain attribute";
                        ASSERT_NE( change.oldValue, nullptr );
                        changes.emplace_back( int( *static_cast<const Mode *>( change.oldValue ) ), int( notifier.routeMapOpMode() ) );
                     } };
};

TEST( RouteMapOpModeNotifier, aChangeIsPublishedWithTheOldValue ) {
   const auto notifier = makeNode<RouteMapOpModeNotifier>();
   EXPECT_EQ( notifier->routeMapOpMode(), Mode{} );
   ModeLog log( *notifier );
   for( const int mode : { 0, 1, 1, 255, 255, 0, 0 } ) notifier->routeMapOpModeIs( Mode( mode ) );
   EXPECT_THAT( log.changes, ElementsAre( std::pair( 0, 1 ), std::pair( 1, 255 ), std::pair( 255, 0 ) ) );
}

TEST( RouteMapOpModeNotifier, aNestedWriteIsPublishedWithItsOwnOldValue ) {
   const auto notifier = makeNode<RouteMapOpModeNotifier>();
   Reaction again( *notifier, [ & ]( const Quoin::Change & ) { notifier->routeMapOpModeIs( Mode( 2 ) ); } );
   ModeLog log( *notifier );
   notifier->routeMapOpModeIs( Mode( 1 ) );
   EXPECT_THAT( log.changes, ElementsAre( std::pair( 1, 2 ), std::pair( 0, 2 ) ) );
}

TEST( RouteMapOpModeNotifier, mayBeReleasedInsideItsPublication ) {
   Dropper dropper( makeNode<RouteMapOpModeNotifier>() );
   dropper.object->routeMapOpModeIs( Mode( 1 ) );
   EXPECT_EQ( dropper.heard, 1 );
}

}   // namespace
