#include "compile/RouteMapLoopDetect.h"

#include <algorithm>
#include <functional>
#include <initializer_list>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "substrate/quoin/DisplayPointer.h"
#include "tests/compile/Fixtures.h"
#include "tests/policy/Fixtures.h"

namespace {

using Quoin::makeNode;
using Quoin::Ptr;
using Routing::Policy::RouteMapLoopDetect;
using Routing::Policy::CompileFixtures::TraceLog;
using Routing::RouteMap::Config;
using testing::ElementsAre;
using testing::IsEmpty;

/// "A: B C" is a route map A whose sequences 10 and 20 call B and C. "-" is a sequence that calls nothing, "!B" an inverted call, and
/// "!" an inverted call without a name.
Ptr<Config> configOf( const std::vector<std::string> & maps ) {
   auto config = makeNode<Config>();
   for( const auto & text : maps ) {
      std::istringstream words( text );
      std::string name, call;
      words >> name;
      name.pop_back();
      const auto map = config->routeMapIs( name );
      for( uint32_t seqno = 10; words >> call; seqno += 10 ) {
         const auto entry = map->mapEntryIs( seqno );
         if( call == "-" ) continue;
         const bool invert = call[ 0 ] == '!';
         entry->subRouteMapIs( { Quoin::String( call.substr( invert ) ), invert } );
      }
   }
   return config;
}

using Maps = std::vector<std::string>;

TEST( RouteMapLoopDetect, findsAndTracesALoop ) {
   const struct {
      const char * name;
      Maps maps;
      const char * rmName;
      const char * subRmName;
      const char * loopAt;   // null for none
   } rows[] = {
      { "a call of itself, defined", { "A: -" }, "A", "A", "A" },
      { "a call of itself, defined without sequences", { "A:" }, "A", "A", "A" },
      { "a call of itself, not defined", { "B: -" }, "A", "A", nullptr },
      { "in an empty configuration", {}, "A", "B", nullptr },
      { "the target is not defined, though the caller is in a cycle", { "A: A" }, "A", "B", nullptr },
      { "B asks to call A, which calls B", { "A: B", "B: -" }, "B", "A", "B" },
      { "A calls B already", { "A: B", "B: -" }, "A", "B", nullptr },
      { "over many calls", { "A: -", "B: C", "C: D", "D: - - A" }, "A", "B", "A" },
      { "the caller is not defined", { "B: A" }, "A", "B", nullptr },
      { "the caller is not defined, and the target is in a cycle", { "B: B" }, "A", "B", "B" },
      { "the caller has no name", { "B: !" }, "", "B", nullptr },
      { "one target twice", { "A: -", "B: C C", "C: -" }, "A", "B", nullptr },
      { "a diamond", { "E: -", "A: B C", "B: D", "C: D", "D: -" }, "E", "A", nullptr },
      { "a diamond and the caller below it", { "E: -", "A: B C", "B: D", "C: D", "D: E" }, "E", "A", "E" },
      { "sequences that call nothing", { "A: -", "B: - - -" }, "A", "B", nullptr },
      { "no sequences", { "A: -", "B:" }, "A", "B", nullptr },
      { "an inverted call without a name", { "A: -", "B: ! !" }, "A", "B", nullptr },
      { "a cycle without the caller", { "A: -", "B: C", "C: D", "D: C" }, "A", "B", "C" },
      { "the target calls itself", { "A: -", "B: - B" }, "A", "B", "B" },
      { "a cycle out of reach", { "A: -", "B: -", "C: D", "D: C" }, "A", "B", nullptr },
      { "the calls of the caller are not followed", { "A: C", "B: -", "C: C" }, "A", "B", nullptr },
      { "an inverted call is a call", { "A: -", "B: !A" }, "A", "B", "A" },
      { "a call of undefined maps", { "A: -", "B: X Y !Z C", "C: X" }, "A", "B", nullptr },
      { "after calls of undefined maps", { "A: -", "B: X - ! A" }, "A", "B", "A" },
      { "names differ in case", { "A: -", "B: a" }, "A", "B", nullptr },
   };
   for( const auto & row : rows ) {
      const RouteMapLoopDetect detect{ configOf( row.maps ) };
      TraceLog traces( "RouteMapLoopDetect" );
      EXPECT_EQ( detect.hasLoops( row.rmName, row.subRmName ), row.loopAt != nullptr ) << row.name;
      const auto texts = traces.take();
      if( row.loopAt ) {
         EXPECT_THAT( texts, ElementsAre( std::string( "detected loop at " ) + row.loopAt ) ) << row.name;
         EXPECT_THAT( traces.levels(), ElementsAre( 8 ) ) << row.name;
      } else {
         EXPECT_THAT( texts, IsEmpty() ) << row.name;
      }
   }
}

// Of several loops, the lowest sequence decides which one ends the walk.
TEST( RouteMapLoopDetect, findsTheLoopOfTheLowestSequenceFirst ) {
   const struct {
      const char * name;
      Maps maps;
      const char * loopAt;
   } rows[] = {
      { "its own first", { "A: -", "B: B A" }, "B" },
      { "the caller first", { "A: -", "B: A B" }, "A" },
      { "deep before wide", { "A: -", "B: C A", "C: D", "D: C" }, "C" },
      { "after one without a loop", { "A: -", "B: E D C", "C: C", "D: A", "E: F", "F: -" }, "A" },
   };
   for( const auto & row : rows ) {
      TraceLog traces( "RouteMapLoopDetect" );
      EXPECT_TRUE( RouteMapLoopDetect{ configOf( row.maps ) }.hasLoops( "A", "B" ) ) << row.name;
      EXPECT_THAT( traces.take(), ElementsAre( std::string( "detected loop at " ) + row.loopAt ) ) << row.name;
   }
   // The order of writing is not the order of sequence.
   const auto config = configOf( { "A: -", "C: C" } );
   const auto map = config->routeMapIs( "B" );
   map->mapEntryIs( 30 )->subRouteMapIs( { "C", false } );
   map->mapEntryIs( 20 )->subRouteMapIs( { "A", false } );
   TraceLog traces( "RouteMapLoopDetect" );
   EXPECT_TRUE( RouteMapLoopDetect{ config }.hasLoops( "A", "B" ) );
   EXPECT_THAT( traces.take(), ElementsAre( "detected loop at A" ) );
}

TEST( RouteMapLoopDetect, readsTheConfigurationAtEachCall ) {
   const auto config = configOf( { "A: B", "B: -" } );
   const RouteMapLoopDetect detect{ config };
   EXPECT_TRUE( detect.hasLoops( "B", "A" ) );
   const auto entry = config->routeMap( "A" )->mapEntry( 10 );
   entry->subRouteMapIs( {} );
   EXPECT_FALSE( detect.hasLoops( "B", "A" ) );
   entry->subRouteMapIs( { "", true } );
   EXPECT_FALSE( detect.hasLoops( "B", "A" ) );
   entry->subRouteMapIs( { "B", true } );
   EXPECT_TRUE( detect.hasLoops( "B", "A" ) );
   config->routeMapDel( "B" );
   EXPECT_FALSE( detect.hasLoops( "B", "A" ) );
   config->routeMapIs( "B" )->mapEntryIs( 1 )->subRouteMapIs( { "A", false } );   // another object of that name
   EXPECT_TRUE( detect.hasLoops( "B", "A" ) );
   EXPECT_TRUE( detect.hasLoops( "X", "B" ) );
}

TEST( RouteMapLoopDetect, aCallWithoutANameCallsNothing ) {
   const auto config = configOf( { "A: !" } );
   config->routeMapIs( "" )->mapEntryIs( 10 )->subRouteMapIs( { "A", false } );
   const RouteMapLoopDetect detect{ config };
   EXPECT_TRUE( detect.hasLoops( "A", "" ) );
   EXPECT_FALSE( detect.hasLoops( "", "A" ) );
}

TEST( RouteMapLoopDetect, withoutAConfigurationNoLoopExists ) {
   EXPECT_FALSE( RouteMapLoopDetect{}.hasLoops( "A", "A" ) );
}

TEST( RouteMapLoopDetect, isComparedByItsConfiguration ) {
   const auto a = makeNode<Config>(), b = makeNode<Config>();
   const RouteMapLoopDetect ofA{ a }, againOfA{ a }, ofB{ b }, none, alsoNone;
   const struct {
      const char * name;
      const RouteMapLoopDetect & left;
      const RouteMapLoopDetect & right;
      bool equal;
   } rows[] = {
      { "itself", ofA, ofA, true },         { "the same configuration", ofA, againOfA, true }, { "equal configurations", ofA, ofB, false },
      { "none and one", none, ofA, false }, { "none and none", none, alsoNone, true },
   };
   for( const auto & row : rows ) {
      EXPECT_EQ( RouteMapLoopDetect::isEq( &row.left, &row.right ), row.equal ) << row.name;
      EXPECT_EQ( RouteMapLoopDetect::isEq( &row.right, &row.left ), row.equal ) << row.name;
      EXPECT_EQ( row.left == row.right, row.equal ) << row.name;
      EXPECT_EQ( row.left.hash() == row.right.hash(), row.equal ) << row.name;
   }
}

TEST( RouteMapLoopDetect, printsItsConfiguration ) {
   const auto config = makeNode<Config>();
   std::ostringstream os;
   os << RouteMapLoopDetect{ config } << " " << RouteMapLoopDetect{};
   EXPECT_EQ( os.str(),
              "Routing::Policy::RouteMapLoopDetect(config=" + Quoin::DisplayPointer::toString( config.get() ) +
                 ") Routing::Policy::RouteMapLoopDetect(config=NULL)" );
}

// --- size

std::string numbered( uint32_t i ) {
   std::string digits = std::to_string( i );
   return "RM" + std::string( 7 - digits.size(), '0' ) + digits;
}

/// Maps 0 to n-1; `calls( i )` are the numbers that map i calls.
Ptr<Config> graphOf( uint32_t n, const std::function<std::vector<uint32_t>( uint32_t )> & calls ) {
   auto config = makeNode<Config>();
   for( uint32_t i = 0; i < n; ++i ) {
      const auto map = config->routeMapIs( numbered( i ) );
      uint32_t seqno = 0;
      for( const uint32_t target : calls( i ) ) map->mapEntryIs( ++seqno )->subRouteMapIs( { numbered( target ), false } );
   }
   return config;
}

// A walk that visited a shared map once per path would take 2^5000 steps.
TEST( RouteMapLoopDetect, aLongChainNeedsLittleStackAndOneVisitPerMap ) {
   constexpr uint32_t kMaps = 5000;
   const struct {
      const char * name;
      std::vector<uint32_t> steps;   // how far ahead each map calls; at most to the last
   } rows[] = {
      { "the next", { 1 } },
      { "the next twice", { 1, 1 } },
      { "the next two", { 1, 2 } },
      { "the next two, the far one first", { 2, 1 } },
      { "the next and the last", { 1, kMaps, kMaps } },
   };
   for( const auto & row : rows ) {
      const auto config = graphOf( kMaps, [ & ]( uint32_t i ) {
         std::vector<uint32_t> calls;
         for( const uint32_t step : row.steps )
            if( i + 1 < kMaps ) calls.push_back( std::min( i + step, kMaps - 1 ) );
         return calls;
      } );
      const RouteMapLoopDetect detect{ config };
      Routing::Policy::Fixtures::onSmallStack( [ & ] {
         const auto first = numbered( 0 ), second = numbered( 1 ), last = numbered( kMaps - 1 );
         EXPECT_FALSE( detect.hasLoops( first, second ) ) << row.name;
         EXPECT_FALSE( detect.hasLoops( "unknown", first ) ) << row.name;
         EXPECT_TRUE( detect.hasLoops( last, first ) ) << row.name;
         config->routeMap( last )->mapEntryIs( 1 )->subRouteMapIs( { last, false } );
         TraceLog traces( "RouteMapLoopDetect" );
         EXPECT_TRUE( detect.hasLoops( "unknown", first ) ) << row.name;
         EXPECT_THAT( traces.take(), ElementsAre( "detected loop at " + last ) ) << row.name;
      } );
   }
}

TEST( RouteMapLoopDetect, aDenseGraphNeedsOneVisitPerCall ) {
   constexpr uint32_t kMaps = 200;   // 2^198 paths from the first to the last
   const auto config = graphOf( kMaps, []( uint32_t i ) {
      std::vector<uint32_t> all;
      for( uint32_t j = i + 1; j < kMaps; ++j ) all.push_back( j );
      return all;
   } );
   EXPECT_FALSE( RouteMapLoopDetect{ config }.hasLoops( numbered( 0 ), numbered( 1 ) ) );
   EXPECT_TRUE( RouteMapLoopDetect{ config }.hasLoops( numbered( kMaps - 1 ), numbered( 0 ) ) );
}

}   // namespace
