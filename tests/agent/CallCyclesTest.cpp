#include "analysis/CallCycles.h"

#include <gmock/gmock.h>
#include <rapidcheck.h>
#include <rapidcheck/gtest.h>

#include <algorithm>
#include <set>

#include "live/LivePolicy.h"
#include "tests/agent/CommandFixture.h"

namespace Agent {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::string textOf( const CallCycle & cycle ) {
   std::string text;
   for( const auto & step : cycle.steps ) {
      text += std::string( step.routeMap );
      for( const uint32_t number : step.sequences ) text += ' ' + std::to_string( number );
      text += " > ";
   }
   text += '|';
   for( const auto name : cycle.notInForce ) text += ' ' + std::string( name );
   return text;
}

std::vector<std::string> cyclesOf( const std::string & policy ) {
   const auto text = Agent::textOf( policy );
   const References references( text );
   std::vector<std::string> cycles;
   for( const auto & cycle : callCyclesOf( references ) ) cycles.push_back( textOf( cycle ) );
   return cycles;
}

std::string call( const std::string & from, int number, const std::string & to ) {
   return "route-map " + from + " permit " + std::to_string( number ) + "\n call " + to + "\n";
}

TEST( CallCycles, noneWithoutARing ) {
   EXPECT_THAT( cyclesOf( "" ), IsEmpty() );
   EXPECT_THAT( cyclesOf( call( "A", 10, "B" ) + call( "A", 20, "C" ) + call( "B", 10, "C" ) + "route-map C permit 10\n" ), IsEmpty() );
   EXPECT_THAT( cyclesOf( call( "A", 10, "NOT-THERE" ) ), IsEmpty() );
}

TEST( CallCycles, aRouteMapThatCallsItself ) {
   EXPECT_THAT( cyclesOf( call( "A", 10, "A" ) ), ElementsAre( "A 10 > | A" ) );
}

TEST( CallCycles, beginWithTheLeastNameAndNameTheSequences ) {
   EXPECT_THAT( cyclesOf( call( "C", 5, "A" ) + call( "A", 10, "B" ) + call( "A", 15, "B" ) + call( "B", 20, "C" ) ),
                ElementsAre( "A 10 15 > B 20 > C 5 > | A B C" ) );
}

TEST( CallCycles, thatShareACallComeBothAndTellOfEachRouteMapOnce ) {
   EXPECT_THAT( cyclesOf( call( "A", 10, "B" ) + call( "B", 10, "A" ) + call( "B", 20, "C" ) + call( "C", 10, "A" ) + call( "Z", 1, "C" ) ),
                ElementsAre( "A 10 > B 10 > | A B C Z", "A 10 > B 20 > C 10 > |" ) );
}

TEST( CallCycles, callersOfARingAreNotInForceButWhatItCallsIs ) {
   EXPECT_THAT( cyclesOf( call( "A", 10, "B" ) + call( "B", 10, "A" ) + call( "B", 20, "LEAF" ) + "route-map LEAF permit 1\n" +
                          call( "Y", 1, "A" ) + call( "Z", 1, "Y" ) ),
                ElementsAre( "A 10 > B 10 > | A B Y Z" ) );
}

TEST( CallCycles, oneBehindTheOther ) {
   EXPECT_THAT( cyclesOf( call( "A", 10, "A" ) + call( "A", 20, "M" ) + call( "M", 10, "Z" ) + call( "Z", 10, "Z" ) ),
                ElementsAre( "A 10 > | A", "Z 10 > | M Z" ) );
}

TEST( CallCycles, comeByNameWhoeverCallsThem ) {
   EXPECT_THAT( cyclesOf( call( "A", 10, "Z" ) + call( "Z", 10, "Z" ) + call( "B", 10, "B" ) ),
                ElementsAre( "B 10 > | B", "Z 10 > | A Z" ) );
}

TEST( CallCycles, manyRingsOneBehindTheOther ) {
   constexpr int kRings = 10'000;
   std::string policy;
   for( int i = 0; i < kRings; ++i ) {
      const std::string a = "A" + std::to_string( i ), b = "B" + std::to_string( i );
      policy += call( a, 10, b ) + call( b, 10, a ) + call( b, 20, "A" + std::to_string( i + 1 ) );
   }
   const auto cycles = cyclesOf( policy );
   ASSERT_EQ( cycles.size(), size_t( kRings ) );
   EXPECT_EQ( cycles[ 0 ], "A0 10 > B0 10 > | A0 B0" );
   EXPECT_EQ( cycles[ 1 ], "A1 10 > B1 10 > | A1 B1" );
   EXPECT_THAT( cycles[ 2 ], testing::StartsWith( "A10 10 > B10 10 > | A10 A2 A3 A4 " ) );
}

// ---- against closures

RC_GTEST_PROP( CallCycles, coverTheCallsThatLeadBackAndKeepTheirCallersOutOfForce, () ) {
   const int count = *rc::gen::inRange( 1, 8 );
   std::set<std::pair<std::string, std::string>> calls, leadBack, told;
   std::string policy;
   for( int i = 0; i < count; ++i ) {
      const std::string from( 1, static_cast<char>( 'A' + i ) );
      policy += "route-map " + from + " permit 1000\n";
      for( int n = *rc::gen::inRange( 0, 4 ); n > 0; --n ) {
         const std::string to( 1, static_cast<char>( 'A' + *rc::gen::inRange( 0, count ) ) );
         policy += call( from, n * 10, to );
         calls.emplace( from, to );
      }
   }
   auto reach = calls;
   for( int again = 0; again < count; ++again )
      for( const auto & [ a, b ] : std::set( reach ) )
         for( const auto & [ c, d ] : calls )
            if( b == c ) reach.emplace( a, d );

   const auto text = Agent::textOf( policy );
   const References references( text );
   std::set<std::string> notInForce;
   std::set<std::set<std::pair<std::string, std::string>>> rings;
   for( const auto & cycle : callCyclesOf( references ) ) {
      std::set<std::pair<std::string, std::string>> ring;
      for( size_t i = 0; i < cycle.steps.size(); ++i ) {
         const auto & step = cycle.steps[ i ];
         RC_ASSERT( step.callee == cycle.steps[ ( i + 1 ) % cycle.steps.size() ].routeMap );
         RC_ASSERT( ring.emplace( step.routeMap, step.callee ).second );
         for( const uint32_t number : step.sequences )
            RC_ASSERT( text.routeMaps.at( std::string( step.routeMap ) ).sequences.at( number ).call->name == step.callee );
      }
      RC_ASSERT( std::includes( calls.begin(), calls.end(), ring.begin(), ring.end() ) );
      told.insert( ring.begin(), ring.end() );
      RC_ASSERT( rings.insert( ring ).second );
      for( const auto name : cycle.notInForce ) RC_ASSERT( notInForce.emplace( name ).second );
   }
   for( const auto & [ a, b ] : calls )
      if( a == b || reach.contains( { b, a } ) ) leadBack.emplace( a, b );
   RC_ASSERT( told == leadBack );

   LivePolicy policyInForce;
   policyInForce.apply( text );
   for( const auto & [ name, routeMap ] : text.routeMaps ) {
      bool leadsToRing = false;
      for( const auto & [ a, b ] : leadBack ) leadsToRing |= name == a || reach.contains( { name, a } );
      RC_ASSERT( notInForce.contains( name ) == leadsToRing );
      RC_ASSERT( leadsToRing == !policyInForce.routeMap( name ) );
   }
}

}   // namespace
}   // namespace Agent
