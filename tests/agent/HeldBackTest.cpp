#include "live/HeldBack.h"

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
   for( const auto & [ name, by ] : routeMapsHeldBack( maps ) )
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
   EXPECT_THAT( routeMapsHeldBack( routeMaps( calls ) ),
                testing::ElementsAre( testing::Pair( "CALLER", HeldBackBy::depth ), testing::Pair( "M0", HeldBackBy::depth ),
                                      testing::Pair( "M1", HeldBackBy::depth ) ) );
}

TEST( HeldBack, chainsMayBeLong ) {
   Calls calls;
   for( int i = 0; i < 100'000; ++i ) calls.emplace_back( "M" + std::to_string( i ), "M" + std::to_string( i + 1 ) );
   auto maps = routeMaps( calls );
   EXPECT_EQ( heldBy( HeldBackBy::depth, maps ).size(), 100'000 - 1'001u );   // M100000 is not there: M99999 calls nobody
   maps[ "M100000" ].sequences[ 10 ] = calling( kPermit, "M50000" );
   EXPECT_EQ( heldBy( HeldBackBy::cycle, maps ).size(), 100'001u );   // those behind M50000 lie on it, those before lead to it
   EXPECT_EQ( routeMapsHeldBack( maps ).size(), 100'001u );
}

}   // namespace

}   // namespace Agent
