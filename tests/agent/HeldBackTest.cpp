#include "analysis/HeldBack.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/agent/LiveFixture.h"

namespace Agent {

namespace {

using Calls = std::vector<std::pair<std::string, std::string>>;

// A route map for each caller, with a sequence for each of its calls.
PolicyText::ByName<RouteMapText> routeMaps( const Calls & calls ) {
   PolicyText::ByName<RouteMapText> maps;
   for( const auto & [ caller, called ] : calls ) {
      auto & sequences = maps[ caller ].sequences;
      sequences[ static_cast<uint32_t>( 10 * ( sequences.size() + 1 ) ) ] =
         called.empty() ? sequence( kPermit ) : calling( kPermit, called );
   }
   return maps;
}

std::set<std::string> heldBy( HeldBackBy cause, const PolicyText::ByName<RouteMapText> & maps ) {
   std::set<std::string> names;
   for( const auto & [ name, by ] : routeMapsHeldBack( maps, Dialect::native ) )
      if( by == cause ) names.insert( name );
   return names;
}

TEST( HeldBack, isWhatLiesOnACycleOrLeadsToOne ) {
   const struct {
      const char * name;
      Calls calls;
      std::set<std::string> held;
   } rows[] = {
      { "nothing", {}, {} },
      { "no calls", { { "A", "" } }, {} },
      { "a call of none", { { "A", "MISSING" } }, {} },
      { "a chain", { { "A", "B" }, { "B", "C" }, { "C", "" } }, {} },
      { "a diamond", { { "A", "B" }, { "A", "C" }, { "B", "D" }, { "C", "D" }, { "D", "" } }, {} },
      { "one called twice", { { "A", "B" }, { "A", "B" }, { "B", "" } }, {} },
      { "itself", { { "A", "A" } }, { "A" } },
      { "two", { { "A", "B" }, { "B", "A" } }, { "A", "B" } },
      { "what leads to it", { { "A", "B" }, { "B", "B" }, { "Z", "A" } }, { "A", "B", "Z" } },
      { "what it leads to", { { "A", "A" }, { "A", "B" }, { "B", "" } }, { "A" } },
      { "one of two calls", { { "A", "C" }, { "A", "B" }, { "B", "A" }, { "C", "" } }, { "A", "B" } },
   };
   for( const auto & row : rows ) EXPECT_EQ( heldBy( HeldBackBy::cycle, routeMaps( row.calls ) ), row.held ) << row.name;
}

TEST( HeldBack, callsMayNestAThousandDeep ) {
   Calls calls;
   for( int i = 0; i < 1002; ++i ) calls.emplace_back( "M" + std::to_string( i ), "M" + std::to_string( i + 1 ) );
   calls.emplace_back( "M1002", "" );
   calls.emplace_back( "M0", "M1001" );   // a short way besides the long one
   calls.emplace_back( "CALLER", "M0" );
   calls.emplace_back( "CALLER-OF-FEW", "M500" );
   EXPECT_THAT( routeMapsHeldBack( routeMaps( calls ), Dialect::native ),
                testing::ElementsAre( testing::Pair( "CALLER", HeldBackBy::depth ), testing::Pair( "M0", HeldBackBy::depth ),
                                      testing::Pair( "M1", HeldBackBy::depth ) ) );
}

// `width` calls in each of so many route maps, one below the other: M0 at the top, the last without a call.
Calls layers( int count, int width ) {
   Calls calls;
   const auto name = []( int layer ) { return "M" + std::to_string( layer ); };
   for( int layer = 0; layer < count; ++layer )
      calls.insert( calls.end(), static_cast<size_t>( width ), { name( layer ), name( layer + 1 ) } );
   calls.emplace_back( name( count ), "" );
   return calls;
}

TEST( HeldBack, anEvaluationMayComeToAHundredThousandCalls ) {
   // 10 + 100 + 1,000 + 10,000 calls; ten times as many, and ten, from M0 on.
   EXPECT_THAT( routeMapsHeldBack( routeMaps( layers( 4, 10 ) ), Dialect::native ), testing::IsEmpty() );
   EXPECT_THAT( routeMapsHeldBack( routeMaps( layers( 5, 10 ) ), Dialect::native ),
                testing::ElementsAre( testing::Pair( "M0", HeldBackBy::number ) ) );

   // Just as many as may be: 11,110 below M0, nine times and once more for M0 itself each, and one.
   Calls calls = layers( 4, 10 );
   calls.insert( calls.end(), 9, { "MOST", "M0" } );
   calls.emplace_back( "LEAF", "" );
   calls.insert( calls.end(), 100'000 - 9 * 11'111, { "MOST", "LEAF" } );
   EXPECT_THAT( routeMapsHeldBack( routeMaps( calls ), Dialect::native ), testing::IsEmpty() );
   calls.emplace_back( "MOST", "MISSING" );   // which counts for nothing
   EXPECT_THAT( routeMapsHeldBack( routeMaps( calls ), Dialect::native ), testing::IsEmpty() );
   calls.emplace_back( "MOST", "LEAF" );
   calls.emplace_back( "CALLER", "MOST" );
   EXPECT_THAT( routeMapsHeldBack( routeMaps( calls ), Dialect::native ),
                testing::ElementsAre( testing::Pair( "CALLER", HeldBackBy::number ), testing::Pair( "MOST", HeldBackBy::number ) ) );
}

TEST( HeldBack, numbersBeyondAnyAreCounted ) {
   const auto held = routeMapsHeldBack( routeMaps( layers( 900, 3 ) ), Dialect::native );   // 3 to the power of 900
   EXPECT_EQ( held.size(), 890u );
   EXPECT_EQ( held.at( "M889" ), HeldBackBy::number );
   EXPECT_FALSE( held.contains( "M890" ) );   // 3 + 9 + ... + 3 to the power of 10
}

TEST( HeldBack, aRingIsToldBeforeDepthAndDepthBeforeNumber ) {
   Calls calls = layers( 1001, 2 );
   EXPECT_THAT( heldBy( HeldBackBy::depth, routeMaps( calls ) ), testing::ElementsAre( "M0" ) );
   EXPECT_EQ( heldBy( HeldBackBy::number, routeMaps( calls ) ).size(), 1001u - 1 - 15 );
   calls.emplace_back( "M500", "M500" );
   EXPECT_EQ( heldBy( HeldBackBy::cycle, routeMaps( calls ) ).size(), 501u );
   EXPECT_TRUE( heldBy( HeldBackBy::depth, routeMaps( calls ) ).empty() );
}

TEST( HeldBack, chainsMayBeLong ) {
   Calls calls;
   for( int i = 0; i < 100'000; ++i ) calls.emplace_back( "M" + std::to_string( i ), "M" + std::to_string( i + 1 ) );
   auto maps = routeMaps( calls );
   EXPECT_EQ( heldBy( HeldBackBy::depth, maps ).size(), 100'000 - 1'001u );   // M100000 is not there: M99999 calls nobody
   maps[ "M100000" ].sequences[ 10 ] = calling( kPermit, "M50000" );
   EXPECT_EQ( heldBy( HeldBackBy::cycle, maps ).size(), 100'001u );   // those behind M50000 lie on it, those before lead to it
   EXPECT_EQ( routeMapsHeldBack( maps, Dialect::native ).size(), 100'001u );
}

}   // namespace

}   // namespace Agent
