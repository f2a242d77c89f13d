// The rules of FRR: what is compiled from a policy, and what it answers.

#include "dialect/FrrRules.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "command/RouteEvaluator.h"
#include "dialect/Numbers.h"
#include "live/LivePolicy.h"
#include "table/TextReader.h"
#include "tests/agent/FrrComparison.h"
#include "tests/agent/RandomPolicy.h"
#include "text/LineLoader.h"
#include "text/TextWriter.h"

namespace Agent {

namespace {

// The answer for a route with metric 1: "permit metric 5 by IN 10, SUB 20" or "deny by IN 10".
std::string answerOf( const char * lines, const char * routeMap = "IN" ) {
   LineLoader loader( Dialect::frr );
   loader.load( "test", lines );
   EXPECT_TRUE( loader.errors().empty() );
   LivePolicy policy( Dialect::frr );
   policy.apply( loader.text() );
   EXPECT_TRUE( policy.verify().empty() );
   const RouteEvaluator evaluator( policy.routeMap( routeMap ), Dialect::frr );
   TableRoute route;
   route.prefix = Ferule::IpGenPrefix( "10.0.0.0/8" );
   route.metric = 1;
   RouteAnswer answer;
   evaluator.evaluate( route, answer );
   std::string text = answer.permitted ? "permit" : "deny";
   if( answer.permitted ) text += " metric " + std::to_string( answer.result.metric().value() );
   std::string by;
   for( const uint32_t i : answer.sequences ) {
      const auto & sequence = evaluator.sequences()[ i ];
      by += ( by.empty() ? " by " : ", " ) + sequence.routeMap + " " + std::to_string( sequence.number );
   }
   return text + by;
}

TEST( FrrRules, numbersTellTheOperatorsSequence ) {
   for( const uint32_t number : { 1u, 10u, highestSequence( Dialect::frr ) } ) {
      EXPECT_EQ( operatorsNumber( compiledNumber( number ) ), number );
      EXPECT_EQ( operatorsNumber( afterCallNumber( number ) ), number );
      EXPECT_LT( afterCallNumber( number ), compiledNumber( number + 1 ) );
   }
   EXPECT_EQ( operatorsNumber( kFence ), 0u );
}

TEST( FrrRules, stepsShareAListWhileItIsUnchanged ) {
   const auto textWith = []( const std::string & lines ) {
      LineLoader loader( Dialect::frr );
      loader.load( "test",
                   lines +
                      "route-map M permit 10\n set comm-list C delete\nroute-map M permit 20\n set comm-list C delete\n"
                      "route-map M permit 30\n set comm-list D delete\n" );
      return loader.takeText();
   };
   const auto listOf = []( const CompiledRules & rules, const char * step ) { return rules.steps.at( step ).lists.communities; };
   const std::string list = "bgp community-list standard C seq 5 permit 1:1\n";
   const CompiledRules rules = compileFrrRules( textWith( list ) );
   ASSERT_TRUE( listOf( rules, "M 10" ).text );
   EXPECT_EQ( listOf( rules, "M 10" ).text, listOf( rules, "M 20" ).text );
   EXPECT_FALSE( listOf( rules, "M 30" ).text );

   const CompiledRules moved = compileFrrRules( textWith( "!\n" + list ), {}, rules );
   EXPECT_EQ( listOf( moved, "M 10" ).text, listOf( rules, "M 10" ).text );
   const CompiledRules changed = compileFrrRules( textWith( list + "bgp community-list standard C seq 6 permit 1:2\n" ), {}, rules );
   EXPECT_EQ( listOf( changed, "M 10" ).text, listOf( changed, "M 20" ).text );
   EXPECT_FALSE( listOf( changed, "M 10" ) == listOf( rules, "M 10" ) );
   EXPECT_TRUE( listOf( compileFrrRules( textWith( list ) ), "M 10" ) == listOf( rules, "M 10" ) );
}

TEST( FrrRules, answersAsTheDaemon ) {
   const struct {
      const char *name, *lines, *answer;
   } rows[] = {
      { "an empty sequence", "route-map IN permit 10\n", "permit metric 1 by IN 10" },
      { "no match", "route-map IN permit 10\n match metric 2\n", "deny" },
      { "a deny", "route-map IN deny 10\nroute-map IN permit 20\n", "deny by IN 10" },
      { "a callee denies", "route-map SUB deny 5\nroute-map IN permit 10\n call SUB\nroute-map IN permit 20\n", "deny by IN 10" },
      { "a callee does not match", "route-map SUB permit 5\n match metric 2\nroute-map IN permit 10\n call SUB\nroute-map IN permit 20\n",
        "deny by IN 10" },
      { "a callee permits", "route-map SUB permit 5\nroute-map IN permit 10\n call SUB\nroute-map IN deny 20\n",
        "permit metric 1 by IN 10, SUB 5" },
      { "an undefined callee is skipped", "route-map IN permit 10\n call SUB\n", "permit metric 1 by IN 10" },
      { "a deny ignores its call", "route-map SUB deny 5\nroute-map IN deny 10\n call SUB\nroute-map IN permit 20\n", "deny by IN 10" },
      { "a callee of a callee denies",
        "route-map LOW deny 5\nroute-map SUB permit 5\n call LOW\nroute-map IN permit 10\n call SUB\nroute-map IN permit 20\n",
        "deny by IN 10" },
      { "next, and the next does not match", "route-map IN permit 10\n on-match next\nroute-map IN permit 20\n match metric 2\n", "deny" },
      { "next, and the next matches", "route-map IN permit 10\n on-match next\nroute-map IN permit 20\n",
        "permit metric 1 by IN 10, IN 20" },
      { "next of the last", "route-map IN permit 10\n on-match next\n", "permit metric 1 by IN 10" },
      { "goto a number that does not exist", "route-map IN permit 10\n on-match goto 15\nroute-map IN deny 12\nroute-map IN permit 20\n",
        "permit metric 1 by IN 10, IN 20" },
      { "goto behind the last", "route-map IN permit 10\n on-match goto 30\nroute-map IN deny 20\n", "permit metric 1 by IN 10" },
      { "a match sees what was set",
        "route-map IN permit 10\n set metric 77\n on-match next\nroute-map IN deny 20\n match metric 77\nroute-map IN permit 30\n",
        "deny by IN 20" },
      { "the sets of the caller are first", "route-map NET permit 5\n set metric 5\nroute-map IN permit 10\n set metric 1\n call NET\n",
        "permit metric 5 by IN 10, NET 5" },
      { "the caller's next sequence sees what the callee set",
        "route-map NET permit 5\n set metric 5\nroute-map IN permit 10\n call NET\n on-match next\nroute-map IN permit 20\n match metric "
        "5\n",
        "permit metric 5 by IN 10, NET 5, IN 20" },
      { "a callee that continues and ends without a match",
        "route-map SUB permit 5\n on-match next\nroute-map SUB permit 6\n match metric 9\nroute-map IN permit 10\n call SUB\n"
        "route-map IN permit 20\n",
        "deny by IN 10" },
      { "a denial of one callee does not reach the next evaluation of it",
        "route-map SUB permit 5\n match metric 5\nroute-map IN permit 10\n match metric 2\n call SUB\nroute-map IN permit 20\n set metric "
        "5\n"
        " on-match next\nroute-map IN permit 30\n call SUB\n",
        "permit metric 5 by IN 20, IN 30, SUB 5" },
   };
   for( const auto & row : rows ) EXPECT_EQ( answerOf( row.lines ), row.answer ) << row.name;
}

// ---- random policies, edited at random, against the naive evaluator

// Makes the line one of FRR's, of a kind that depends on its number.
void toLineOfFrr( uint32_t number, AccessListLine & line ) {
   using Compares = AccessListLine::Compares;
   const Ferule::Bits128 mask = line.source.mask(), address = line.source.address().bits();
   const bool isPrefix = mask == Ferule::Bits128::leadingOnes( line.source.leadingOnesOfMask() );
   const auto upper = []( const Ferule::Bits128 & bits ) { return Ferule::IpAddr( static_cast<uint32_t>( bits.high >> 32 ) ); };
   line.compares = number % 10 != 0 || !isPrefix ? Compares::address : number % 20 == 0 ? Compares::exact : Compares::covering;
   if( line.action == MatchPermit::permit ) line.source = { upper( address & mask ), mask };   // no bits under the wildcard
   if( number % 15 == 0 )
      line.netmask = Ferule::IpAddrWithFullMask{ upper( Ferule::Bits128::leadingOnes( 16 ) ), Ferule::IpAddr( 0xffff0000 ) };
}

// Takes away what only the native dialect has.
PolicyText inDialectOfFrr( PolicyText text ) {
   text.dialect = Dialect::frr;
   text.tagSets.clear();
   for( auto & [ name, list ] : text.ipv4AccessLists )
      for( auto & [ number, line ] : list.lines ) toLineOfFrr( number, line );
   for( auto & [ name, map ] : text.routeMaps )
      for( auto & [ number, sequence ] : map.sequences ) {
         if( sequence.call ) sequence.call->invert = false;
         for( const auto option : { MatchOption::matchTagSet, MatchOption::matchIsisInstance, MatchOption::matchOspfInstance } )
            sequence.match.erase( option );
         for( auto & [ option, clause ] : sequence.match ) {
            clause.invert = false;
            if( option == MatchOption::matchCommunity ) clause.number = number / 10 % 3;   // a ListComparison
         }
      }
   return text;
}

TEST( FrrRules, randomPoliciesAnswerAsTheModel ) {
   size_t permitted = 0, compared = 0;
   for( uint32_t seed = 1; seed <= 60; ++seed ) {
      RandomPolicy random( seed );
      PolicyText text;
      LivePolicy policy( Dialect::frr );
      for( int step = 0; step < 60; ++step ) {
         random.change( text );
         if( step % 4 != 0 ) continue;
         policy.apply( inDialectOfFrr( text ) );
         ASSERT_TRUE( policy.verify().empty() ) << seed;
         std::vector<TableRoute> routes;
         for( int i = 0; i < 12; ++i ) routes.push_back( random.route() );
         for( const auto & [ name, map ] : policy.text().routeMaps ) {
            if( !FrrModel( policy.text() ).hasAnswer( name ) ) continue;
            ASSERT_EQ( differenceToModel( policy, name, routes ), "" ) << "seed " << seed << ", step " << step << ", " << name << "\n"
                                                                       << writeText( policy.text() );
            for( const auto & route : routes ) permitted += FrrModel( policy.text() ).evaluate( name, route ).permitted;
            compared += routes.size();
         }
      }
   }
   EXPECT_GT( permitted, compared / 10 );
   EXPECT_GT( compared - permitted, compared / 10 );
}

}   // namespace

}   // namespace Agent
