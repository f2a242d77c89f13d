#include "analysis/Analysis.h"

#include <gmock/gmock.h>
#include <rapidcheck.h>
#include <rapidcheck/gtest.h>

#include <set>

#include "analysis/HeldBack.h"
#include "tests/agent/CommandFixture.h"
#include "tests/agent/Golden.h"
#include "text/LineLoader.h"

namespace Agent {
namespace {

using Findings = std::vector<std::string>;

Findings findingsIn( const PolicyText & text ) {
   const References references( text );
   Findings findings;
   for( const auto & f : findingsOf( text, references ) )
      findings.push_back( placeText( text, f.place ) + ": " + std::string( nameOf( f.kind ) ) + ": " + f.text );
   return findings;
}

Findings findingsIn( const std::string & policy ) {
   return findingsIn( textOf( policy ) );
}

// Each file is about one subject: policies, and their findings.
TEST( Analysis, findingsOfPolicies ) {
   for( const char * subject :
        { "references", "confused-lists", "applications", "unused", "cycles", "no-effect", "never-permits", "unreachable", "shadowed" } )
      expectGoldenCases( std::string( "findings/" ) + subject + ".txt",
                         []( const std::string & policy ) { return linesOfAll( findingsIn( policy ) ); } );
}

TEST( Analysis, aLongNameInAnApplicationIsCutShort ) {
   PolicyText text;
   text.files = { "p" };
   text.applications = { { Application::Kind::routeMap, std::string( 1'000'000, '\xff' ), "a line", { 0, 1, 1 } } };
   const auto findings = findingsIn( text );
   ASSERT_EQ( findings.size(), 1u );
   EXPECT_LT( findings[ 0 ].size(), 2000u );
   EXPECT_THAT( findings[ 0 ], testing::HasSubstr( "\"a line\": route-map \\xff" ) );
}

TEST( Analysis, doubtsAreFindingsWithTheirOwnTexts ) {
   auto text = textOf( "route-map A permit 10\n call B\n" );
   text.doubts = { { Doubt::Kind::netmask, { 0, 3, 1 }, "one" },
                   { Doubt::Kind::hostBits, { 0, 4, 1 }, "four" },
                   { Doubt::Kind::skipped, { 0, 1, 9 }, "two" },
                   { Doubt::Kind::replaced, { 0, 2, 8 }, "three" } };
   EXPECT_THAT( findingsIn( text ),
                testing::ElementsAre( "p:1:9: skipped: two", testing::StartsWith( "p:2:7: undefined: " ), "p:2:8: replaced: three",
                                      "p:3:1: netmask: one", "p:4:1: host-bits: four" ) );
}

TEST( Analysis, aPrefixListWithADescriptionOnlyMatchesNoPrefix ) {
   LineLoader loader( Dialect::frr );
   loader.load( "p",
                "ip prefix-list P description later\n"
                "route-map A permit 10\n match ip address prefix-list P\n"
                "route-map A permit 20\n match ip next-hop prefix-list P\n" );
   EXPECT_THAT( findingsIn( loader.text() ),
                testing::ElementsAre( "p:1:1: never-permits: ip prefix-list P permits nothing: A 10 never matches" ) );
}

TEST( Analysis, aListWhoseNameStandsInAnotherStanzaMayBeUsed ) {
   auto other = textOf( "ip prefix-list P permit any\nip prefix-list Q permit any\ntag-set P 1\nroute-map A permit 10\n" );
   other.otherWords = { "neighbor", "P", "p" };
   EXPECT_THAT( findingsIn( other ), testing::ElementsAre( testing::StartsWith( "p:2:1: unused: " ) ) );
}

TEST( Analysis, aRouteMapWithoutCallersIsARoot ) {
   const auto text = textOf( "route-map A permit 10\n call B\nroute-map B permit 10\n" );
   const References references( text );
   EXPECT_TRUE( isRoot( references, "A" ) );
   EXPECT_FALSE( isRoot( references, "B" ) );
}

TEST( Analysis, aLongCycleIsCutShort ) {
   std::string long_;
   for( int i = 100; i < 150; ++i )
      long_ += "route-map R" + std::to_string( i ) + " permit 1\n call R" + std::to_string( i < 149 ? i + 1 : 100 ) + "\n";
   const auto findings = findingsIn( long_ );
   ASSERT_EQ( findings.size(), 1u );
   EXPECT_THAT( findings[ 0 ], testing::HasSubstr( "R119 1 calls R120 and 30 more; not in force: R100, R101" ) );
   EXPECT_THAT( findings[ 0 ], testing::EndsWith( "R118, R119 and 30 more" ) );
}

// R0 calls R1, and so on; the last route map calls none.
std::string chainOf( size_t calls ) {
   std::string policy;
   for( size_t i = 0; i < calls; ++i )
      policy += "route-map R" + std::to_string( i ) + " permit 5\n call R" + std::to_string( i + 1 ) + "\n";
   return policy + "route-map R" + std::to_string( calls ) + " permit 5\n";
}

// Each of so many layers calls the next one twice.
std::string doublingOf( size_t layers ) {
   std::string policy;
   for( size_t i = 0; i < layers; ++i )
      for( const char * number : { "5", "6" } )
         policy += "route-map D" + std::to_string( i ) + " permit " + number + "\n call D" + std::to_string( i + 1 ) + "\n";
   return policy + "route-map D" + std::to_string( layers ) + " permit 5\n";
}

TEST( Analysis, tooManyCallsAreReportedAtTheLowestRouteMap ) {
   const std::pair<const char *, std::string> rows[] = {
      { "as deep as allowed", chainOf( 1000 ) },
      { "one deeper", chainOf( 1001 ) },
      { "much deeper", chainOf( 2000 ) },
      { "callers are not reported",
        chainOf( 1001 ) + "route-map A permit 5\n call R0\nroute-map B permit 5\n call A\nroute-map B permit 6\n call R1\n" },
      { "two, each at its first call of a defined route map",
        chainOf( 1000 ) +
           "route-map A permit 5\n call R500\nroute-map A permit 6\n call R0\nroute-map B permit 4\n match tag 1\n call NOPE\n"
           "route-map B permit 5\n call R0\n" },
      { "a cycle is reported as a cycle only", chainOf( 1000 ) + "route-map A permit 5\n call R0\nroute-map A permit 6\n call A\n" },
      { "a cycle above", chainOf( 1001 ) + "route-map A permit 5\n call R0\nroute-map A permit 6\n call A\n" },
      { "as many as allowed", doublingOf( 15 ) },   // 2^16 - 2
      { "twice as many", doublingOf( 16 ) },
      { "very many", doublingOf( 500 ) },
   };
   for( const auto & [ name, policy ] : rows ) expectGolden( "held-back.txt", name, linesOfAll( findingsIn( policy ) ) );
}

RC_GTEST_PROP( Analysis, withTheirCallersAreAllThatIsHeldBackButForRings, () ) {
   std::string policy = chainOf( 1000 ) + doublingOf( 15 );
   for( int from = 0; from < 8; ++from )
      for( int number = 1; number <= *rc::gen::inRange( 1, 4 ); ++number ) {
         const int to = *rc::gen::inRange( 0, 14 );
         policy += "route-map A" + std::to_string( from ) + " permit " + std::to_string( number ) + "\n call " +
            ( to < 8       ? "A"
                 : to < 11 ? "R"
                           : "D" ) +
            std::to_string( to < 8 ? to : ( to - 8 ) % 3 ) + "\n";
      }
   const auto text = textOf( policy );
   const References references( text );
   const auto held = routeMapsHeldBack( text.routeMaps, text.dialect );
   std::vector<std::string_view> next;
   for( const auto & f : findingsOf( text, references ) )
      if( f.kind == Finding::Kind::tooDeep || f.kind == Finding::Kind::tooManyCalls ) {
         const auto at = held.find( f.text.substr( 0, f.text.find( ' ' ) ) );
         RC_ASSERT( at != held.end() );
         RC_ASSERT( at->second == ( f.kind == Finding::Kind::tooDeep ? HeldBackBy::depth : HeldBackBy::number ) );
         next.push_back( at->first );
      }
   std::set<std::string> reported;
   while( !next.empty() ) {
      const auto name = next.back();
      next.pop_back();
      if( !reported.emplace( name ).second ) continue;
      for( const auto * r : references.to( { ThingKind::routeMap, name } ) ) next.push_back( r->routeMap );
   }
   for( const auto & name : reported ) RC_ASSERT( held.contains( name ) );
   for( const auto & [ name, by ] : held ) RC_ASSERT( by == HeldBackBy::cycle || reported.contains( name ) );
}

TEST( Analysis, manySequencesThatNeverMatchAreCutShort ) {
   std::string policy = "ip prefix-list P deny any\n";
   for( int i = 1; i <= 50; ++i ) policy += "route-map A permit " + std::to_string( i ) + "\n match ip address prefix-list P\n";
   EXPECT_THAT( findingsIn( policy ), testing::ElementsAre( testing::EndsWith( "A 19, A 20 and 30 more never match" ) ) );
}

TEST( Analysis, clausesThatCannotHoldTogether ) {
   const std::string lists = "ip prefix-list P permit any\nipv6 prefix-list P permit any\naccess-list L permit any\n"
                             "ipv6 access-list L permit any\ntag-set T 1 2\nroute-map U deny 1\n match ip address prefix-list P\n"
                             " match ip next-hop L\nroute-map U deny 2\n match ipv6 address prefix-list P\n match ipv6 next-hop L\n"
                             "route-map U deny 3\n match tag-set T\nroute-map U deny 4\n match ip address L\n"
                             "route-map U deny 5\n match ipv6 address L\nroute-map X permit 10\n";
   expectGoldenCases( "contradictions.txt", [ & ]( const std::string & clauses ) { return linesOfAll( findingsIn( lists + clauses ) ); } );
}

TEST( Analysis, findingsOfSeveralFilesComeInTheOrderOfTheFiles ) {
   LineLoader loader( Dialect::native );
   loader.load( "b", "route-map Z permit 10\n call NOT-THERE\n" );
   loader.load( "a", "tag-set UNUSED 1\n" );
   const References references( loader.text() );
   std::vector<std::string> places;
   for( const auto & f : findingsOf( loader.text(), references ) ) places.push_back( placeText( loader.text(), f.place ) );
   EXPECT_THAT( places, testing::ElementsAre( "b:2:7", "a:1:1" ) );
}

// ---- against every way that routes could take

struct SmallSequence {
   bool permit;
   bool conditional;
   std::optional<uint32_t> continueTo;
};
using SmallMap = std::map<uint32_t, SmallSequence>;

// The sequences that a route reaches if it matches the conditional sequences whose bits are set in `matches`.
void walk( const SmallMap & map, unsigned matches, std::set<uint32_t> & visited ) {
   for( auto at = map.begin(); at != map.end(); ) {
      visited.insert( at->first );
      const auto & [ number, sequence ] = *at;
      if( sequence.conditional && !( matches >> number & 1 ) ) {
         ++at;
         continue;
      }
      if( !sequence.permit || !sequence.continueTo ) return;
      at = *sequence.continueTo == 0 ? std::next( at ) : map.find( *sequence.continueTo );
   }
}

RC_GTEST_PROP( Analysis, unreachableIsWhatNoRouteVisits, () ) {
   SmallMap map;
   std::string policy;
   for( uint32_t number = 1; number <= 8; ++number ) {
      if( *rc::gen::inRange( 0, 4 ) == 0 ) continue;
      SmallSequence sequence{ *rc::gen::inRange( 0, 4 ) != 0, *rc::gen::inRange( 0, 3 ) != 0, {} };
      if( *rc::gen::arbitrary<bool>() ) sequence.continueTo = *rc::gen::element( 0u, number + 1, number + 2, number + 4 );
      policy += "route-map A " + std::string( sequence.permit ? "permit " : "deny " ) + std::to_string( number ) + "\n";
      if( sequence.conditional ) policy += " match tag 1\n";
      if( sequence.continueTo ) policy += " continue" + ( *sequence.continueTo ? " " + std::to_string( *sequence.continueTo ) : "" ) + "\n";
      map.emplace( number, sequence );
   }
   std::set<uint32_t> visited, expected, found;
   for( unsigned matches = 0; matches < 1u << 9; ++matches ) walk( map, matches, visited );
   for( const auto & [ number, sequence ] : map )
      if( !visited.contains( number ) ) expected.insert( number );

   const auto text = textOf( policy );
   const References references( text );
   for( const auto & f : findingsOf( text, references ) )
      if( f.kind == Finding::Kind::unreachable )
         for( const auto & [ number, sequence ] : text.routeMaps.at( "A" ).sequences )
            if( sequence.place.line == f.place.line ) found.insert( number );
   RC_ASSERT( found == expected );
}

}   // namespace
}   // namespace Agent
