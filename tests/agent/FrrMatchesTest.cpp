// The match clauses that only the dialect of FRR has: how they are read and written, and what they answer.

#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "command/RouteEvaluator.h"
#include "live/LivePolicy.h"
#include "live/ValueTests.h"
#include "table/PrefixLine.h"
#include "tests/agent/LiveFixture.h"
#include "text/LineLoader.h"
#include "text/MatchForms.h"
#include "text/TextWriter.h"
#include "text/ValueOptions.h"

namespace Agent {

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

LineLoader loaded( const std::string & lines, Dialect dialect = Dialect::frr ) {
   LineLoader loader( dialect );
   loader.load( "edge.conf", lines );
   return loader;
}

std::string mapWith( const std::string & clause ) {
   return "route-map IN permit 10\n " + clause + "\n";
}

// A line for each row that only the dialect of FRR has.
constexpr const char * kLines[] = {
   "match ip address prefix-len 24",
   "match ipv6 address prefix-len 48",
   "match ip next-hop prefix-len 32",
   "match ip next-hop type blackhole",
   "match ipv6 next-hop type blackhole",
   "match ip next-hop address 192.0.2.1",
   "match ipv6 next-hop address 2001:db8::1",
   "match ip route-source prefix-list P",
   "match ip route-source A",
   "match local-preference 4294967295",
   "match large-community L any",
   "match extcommunity 7",
   "match origin incomplete",
   "match probability 50",
   "match source-protocol vnc-direct",
   "match source-instance 255",
   "match peer 192.0.2.1",
   "match rpki notfound",
   "match rpki-extcommunity invalid",
   "match src-peer eth0",
   "match community-limit 65535",
   "match extcommunity-limit 0",
   "match source-vrf RED",
   "match vrl-source-vrf RED",
   "match evpn route-type prefix",
   "match evpn vni 100",
   "match evpn rd 192.0.2.1:7",
   "match evpn default-route",
   "match alias NAME",
   "match mac address MACS",
   "match ip multicast-source 192.0.2.1",
   "match ip multicast-group prefix-list GROUPS",
   "match multicast-interface eth0",
   "match multicast-iif eth0",
   "match script check",
};

TEST( FrrMatches, everyRowIsReadWrittenAndReadAgain ) {
   std::set<MatchOption> seen;
   for( const char * line : kLines ) {
      const auto first = loaded( mapWith( line ) );
      ASSERT_THAT( first.errors(), IsEmpty() ) << line;
      const auto & match = first.text().routeMaps.at( "IN" ).sequences.at( 10 ).match;
      ASSERT_EQ( match.size(), 1u ) << line;
      seen.insert( match.begin()->first );
      EXPECT_EQ( writeMatch( match.begin()->first, match.begin()->second ), line );
      const auto second = loaded( writeText( first.text() ) );
      EXPECT_EQ( second.text(), first.text() ) << line;
      EXPECT_EQ( loaded( mapWith( line ) + " no " + line + "\n" ).text().routeMaps.at( "IN" ).sequences.at( 10 ).match.size(), 0u ) << line;
      // The native dialect has none of these clauses; some are lists or addresses of another kind there.
      const auto native = loaded( mapWith( line ), Dialect::native );
      for( const auto & [ option, clause ] : native.text().routeMaps.at( "IN" ).sequences.at( 10 ).match )
         EXPECT_FALSE( isValueOption( option ) ) << line;
   }
   for( const auto & form : matchForms() ) EXPECT_EQ( form.only == Dialect::frr, seen.contains( form.option ) ) << form.words;
}

TEST( FrrMatches, theEndOfASequenceIsWrittenInTheWordsOfFrr ) {
   const std::string lines = "route-map IN permit 10\n on-match next\nroute-map IN permit 20\n on-match goto 30\nroute-map IN permit 30\n";
   const auto first = loaded( lines );
   EXPECT_EQ( writeText( first.text() ), lines );
   EXPECT_EQ( loaded( writeText( first.text() ) ).text(), first.text() );
}

TEST( FrrMatches, aWrongOperandIsAnError ) {
   const struct {
      const char *line, *reason;
   } rows[] = {
      { "match ip address prefix-len 33", "expected a length from 0 to 32" },
      { "match origin egpp", "expected \"igp\", \"egp\" or \"incomplete\"" },
      { "match rpki", "expected \"valid\", \"notfound\" or \"invalid\"" },
      { "match probability 101", "from 0 to 100" },
      { "match source-instance 256", "from 0 to 255" },
      { "match source-protocol egp", "expected \"connected\"" },
      { "match ip next-hop address 2001:db8::1", "expected an IPv4 address" },
      { "match ip next-hop type unicast", "" },
      { "match tag-set T", "\"match tag-set\" is a clause of --dialect native" },
      { "match ospf-instance 1", "is a clause of --dialect native" },
      { "match ip address prefix-list P invert", "\"invert\" is a word of --dialect native" },
      { "call SUB invert", "\"invert\" is a word of --dialect native" },
      { "continue", "expected a sequence number" },
   };
   for( const auto & row : rows ) {
      const auto loader = loaded( mapWith( row.line ) );
      ASSERT_EQ( loader.errors().size(), 1u ) << row.line;
      EXPECT_THAT( loader.errors()[ 0 ].reason, HasSubstr( row.reason ) ) << row.line;
   }
}

// "permit", "deny", or why the route has no answer.
std::string answerOf( const std::string & lines, const std::string & route, const Assumptions & assumptions = {} ) {
   const auto loader = loaded( lines );
   EXPECT_THAT( loader.errors(), IsEmpty() ) << lines;
   LivePolicy policy( Dialect::frr, assumptions );
   policy.apply( loader.text() );
   TableRoute read;
   EXPECT_EQ( parsePrefixLine( route, read ).kind, LineResult::Kind::route ) << route;
   RouteAnswer answer;
   try {
      RouteEvaluator( policy.routeMap( "IN" ), Dialect::frr ).evaluate( read, answer );
   } catch( const Unanswered & e ) { return e.what(); }
   return answer.permitted ? "permit" : "deny";
}

Assumptions of( const char * daemon ) {
   Assumptions assumptions;
   EXPECT_EQ( assumptions.daemonIs( daemon ), std::nullopt );
   return assumptions;
}

TEST( FrrMatches, aRouteAnswers ) {
   const struct {
      const char *clause, *fits, *not_;   // routes
      const char * daemon = "bgpd";
   } rows[] = {
      { "match ip address prefix-len 8", "10.0.0.0/8", "10.0.0.0/9", "zebra" },
      { "match ip address prefix-len 32", "10.0.0.0/32", "2001:db8::/32", "zebra" },
      { "match ipv6 address prefix-len 32", "2001:db8::/32", "10.0.0.0/32", "zebra" },
      { "match ip next-hop prefix-len 32", "10.0.0.0/8", "2001:db8::/32", "zebra" },
      { "match ip next-hop type blackhole", "10.0.0.0/8", "10.0.0.0/8 next-hop 192.0.2.1" },
      { "match ip next-hop type blackhole", "10.0.0.0/8", "2001:db8::/32" },
      { "match ipv6 next-hop type blackhole", "2001:db8::/32", "2001:db8::/32 next-hop 2001:db8::1" },
      { "match ip next-hop address 192.0.2.1", "10.0.0.0/8 next-hop 192.0.2.1", "10.0.0.0/8" },
      { "match ipv6 next-hop 2001:db8::1", "10.0.0.0/8 next-hop 2001:db8::1", "10.0.0.0/8 next-hop 192.0.2.1" },
      { "match local-preference 100", "10.0.0.0/8", "10.0.0.0/8 local-preference 0" },
      { "match local-preference 0", "10.0.0.0/8 local-preference 0", "10.0.0.0/8" },
      { "match origin egp", "10.0.0.0/8 origin egp", "10.0.0.0/8 origin igp" },
      { "match source-protocol babel", "10.0.0.0/8 protocol babel", "10.0.0.0/8" },
      { "match source-protocol bgp", "10.0.0.0/8 protocol bgp", "10.0.0.0/8 protocol ospf" },
      { "match source-instance 3", "10.0.0.0/8 ospf-instance 3", "10.0.0.0/8", "zebra" },
      { "match peer 192.0.2.1", "10.0.0.0/8 peer 192.0.2.1", "10.0.0.0/8 peer 192.0.2.2" },
      { "match src-peer 192.0.2.1", "10.0.0.0/8 peer 192.0.2.1", "10.0.0.0/8 peer 192.0.2.2" },
      { "match src-peer 2001:db8::1", "10.0.0.0/8 peer 2001:db8::1", "10.0.0.0/8 peer local" },
      { "match community-limit 1", "10.0.0.0/8 community 64500:1", "10.0.0.0/8 community 64500:1,64500:2" },
      { "match extcommunity-limit 0", "10.0.0.0/8", "10.0.0.0/8 extcommunity rt:64500:1" },
      { "match peer local", "10.0.0.0/8 peer local", "10.0.0.0/8 peer 192.0.2.2" },
      { "match rpki invalid", "10.0.0.0/8 rpki invalid", "10.0.0.0/8 rpki notfound" },
      { "match ip route-source A", "10.0.0.0/8 peer 192.0.2.1", "10.0.0.0/8 peer 198.51.100.1" },
      { "match ip route-source A", "10.0.0.0/8 peer 192.0.2.1", "10.0.0.0/8 peer local" },
      { "match ip route-source A", "10.0.0.0/8 peer 192.0.2.1", "2001:db8::/32 peer 192.0.2.1" },
      { "match ip route-source prefix-list P", "10.0.0.0/8 peer 192.0.2.1", "10.0.0.0/8 peer 198.51.100.1" },
   };
   const std::string lists =
      "access-list A permit 192.0.2.0/24\naccess-list A permit 0.0.0.0/32\nip prefix-list P permit 192.0.2.0/24 le 32\n";
   for( const auto & row : rows ) {
      for( const char * action : { "permit", "deny" } ) {
         const std::string lines = lists + "route-map IN " + action + " 10\n " + row.clause + "\nroute-map IN " +
            ( action == std::string( "permit" ) ? "deny" : "permit" ) + " 20\n";
         EXPECT_EQ( answerOf( lines, row.fits, of( row.daemon ) ), action ) << row.clause << ": " << row.fits;
         EXPECT_NE( answerOf( lines, row.not_, of( row.daemon ) ), action ) << row.clause << ": " << row.not_;
      }
   }
   for( const char * source : { "src-peer local", "src-peer eth0", "peer eth0" } )
      EXPECT_EQ( answerOf( mapWith( std::string( "match " ) + source ), "10.0.0.0/8 peer local" ), "deny" ) << source;
   EXPECT_EQ( answerOf( mapWith( "match src-peer local" ), "10.0.0.0/8 peer 192.0.2.1" ), "deny" );
   EXPECT_THAT( answerOf( mapWith( "match src-peer eth0" ), "10.0.0.0/8 peer 192.0.2.1" ), HasSubstr( "does not answer" ) );
   EXPECT_EQ( answerOf( mapWith( "match probability 0" ), "10.0.0.0/8" ), "deny" );
   EXPECT_EQ( answerOf( mapWith( "match probability 100" ), "10.0.0.0/8" ), "permit" );
   EXPECT_EQ( answerOf( mapWith( "match tag untagged" ), "10.0.0.0/8" ), "permit" );
   EXPECT_EQ( answerOf( mapWith( "match tag untagged" ), "10.0.0.0/8 tag 5" ), "deny" );
   // The name of a list that is undefined, not an address.
   EXPECT_EQ( answerOf( mapWith( "match ip next-hop 192.0.2.1" ), "10.0.0.0/8 next-hop 192.0.2.1" ), "deny" );
}

TEST( FrrMatches, anExtendedCommunityTellsTheStateOfRpki ) {
   StepText step;
   step.tests.push_back( { optionOf( ValueOption::rpkiExtCommunity ), number( uint64_t( RpkiState::invalid ) ), {}, false, {} } );
   TableRoute route;
   EXPECT_NE( failedTest( step, AgentRoute( route ) ), nullptr );
   route.extCommunities = { ExtCommunity( 0x4300000000000001 ), ExtCommunity( 0x0002fc0000000002 ) };
   EXPECT_NE( failedTest( step, AgentRoute( route ) ), nullptr );
   route.extCommunities.push_back( ExtCommunity( 0x4300000000000002 ) );
   EXPECT_EQ( failedTest( step, AgentRoute( route ) ), nullptr );
}

TEST( FrrMatches, aMatchSeesWhatWasSet ) {
   const std::string lines =
      "route-map IN permit 10\n set local-preference 7\n on-match next\nroute-map IN deny 20\n match local-preference 7\n";
   EXPECT_EQ( answerOf( lines, "10.0.0.0/8" ), "deny" );
}

Assumptions assuming( std::initializer_list<const char *> all ) {
   Assumptions assumptions;
   for( const char * one : all ) EXPECT_EQ( assumptions.add( one ), std::nullopt ) << one;
   return assumptions;
}

TEST( FrrMatches, aRouteWithoutTheFieldHasNoAnswer ) {
   EXPECT_EQ( answerOf( mapWith( "match rpki valid" ), "10.0.0.0/8" ),
              "edge.conf:2:13: IN 10: 10.0.0.0/8 does not answer \"match rpki valid\"; use --set-attribute rpki=VALUE, or "
              "--assume \"rpki valid=match\" or \"rpki valid=no-match\"" );
   EXPECT_EQ( answerOf( mapWith( "match source-vrf RED" ), "10.0.0.0/8" ),
              "edge.conf:2:19: IN 10: 10.0.0.0/8 does not answer \"match source-vrf RED\"; use --assume \"source-vrf RED=match\" "
              "or \"source-vrf RED=no-match\"" );
   for( const char * clause : { "match ip route-source A", "match peer eth0", "match peer 192.0.2.1", "match src-peer 192.0.2.1",
                                "match origin igp", "match probability 50", "match evpn vni 1", "match mac address M" } )
      EXPECT_THAT( answerOf( mapWith( clause ), "10.0.0.0/8" ), HasSubstr( "does not answer" ) ) << clause;
   // Nothing asks for it.
   EXPECT_EQ( answerOf( mapWith( "match rpki valid\n match metric 5" ), "10.0.0.0/8" ), "deny" );
   EXPECT_EQ( answerOf( mapWith( "match rpki valid\n match ip address prefix-list NONE" ), "10.0.0.0/8" ), "deny" );
   EXPECT_EQ( answerOf( "route-map IN permit 5\n" + mapWith( "match rpki valid" ), "10.0.0.0/8" ), "permit" );
}

TEST( FrrMatches, anAssumptionAnswersForARouteThatDoesNot ) {
   const auto rpki = mapWith( "match rpki valid" );
   EXPECT_EQ( answerOf( rpki, "10.0.0.0/8", assuming( { "rpki=match" } ) ), "permit" );
   EXPECT_EQ( answerOf( rpki, "10.0.0.0/8", assuming( { "rpki=no-match" } ) ), "deny" );
   EXPECT_EQ( answerOf( rpki, "10.0.0.0/8 rpki valid", assuming( { "rpki=no-match" } ) ), "permit" );
   EXPECT_EQ( answerOf( rpki, "10.0.0.0/8", assuming( { "rpki=no-match", "rpki valid=match" } ) ), "permit" );
   EXPECT_EQ( answerOf( rpki, "10.0.0.0/8", assuming( { "match rpki valid=match", "rpki=no-match" } ) ), "permit" );
   EXPECT_THAT( answerOf( rpki, "10.0.0.0/8", assuming( { "rpki invalid=match" } ) ), HasSubstr( "does not answer" ) );
   EXPECT_EQ( answerOf( mapWith( "match evpn vni 1" ), "10.0.0.0/8", assuming( { "evpn=match" } ) ), "permit" );
   for( const char * answer : { "match", "no-match" } )
      EXPECT_EQ( answerOf( mapWith( "match ip route-source A" ), "10.0.0.0/8",
                           assuming( { ( std::string( "ip route-source=" ) + answer ).c_str() } ) ),
                 answer == std::string( "match" ) ? "permit" : "deny" );
   // Unknown, like the list: the route's own peer is asked first.
   EXPECT_EQ( answerOf( mapWith( "match ip route-source A" ), "10.0.0.0/8 peer 192.0.2.1", assuming( { "ip route-source=match" } ) ),
              "deny" );
}

TEST( FrrMatches, anAssumptionThatFitsNoClauseIsAnError ) {
   Assumptions assumptions;
   EXPECT_EQ( assumptions.add( "rpki" ), "expected CLAUSE=match or CLAUSE=no-match, found \"rpki\"" );
   EXPECT_EQ( assumptions.add( "rpki=yes" ), "expected CLAUSE=match or CLAUSE=no-match, found \"rpki=yes\"" );
   for( const char * wrong : { "rpk=match", "=match", "metric=match", "rpki-extcommunity=match" } )
      EXPECT_THAT( assumptions.add( wrong ).value_or( "" ), HasSubstr( "no clause that can be assumed begins with it" ) ) << wrong;
}

// Nothing would say that such an assumption answers no clause.
TEST( FrrMatches, anAssumptionHasWordsThatAClauseCanHave ) {
   const struct {
      const char * assumption;
      const char * wrong;
   } rows[] = {
      { "rpki vaild=match", "\"rpki vaild\": expected \"valid\", \"notfound\" or \"invalid\", found \"vaild\"" },
      { "match rpki vaild=match", "\"rpki vaild\"" },
      { "rpki valid now=match", "\"rpki valid now\"" },
      { "origin ibgp=match", "\"origin ibgp\"" },
      { "probability 101=match", "\"probability 101\"" },
      { "evpn vni x=match", "\"evpn vni x\"" },
      { "evpn default-route x=match", "\"evpn default-route x\"" },
      { "source-vrf RED BLUE=match", "\"source-vrf RED BLUE\"" },
      { "peer 192.0.2.1 192.0.2.2=match", "\"peer 192.0.2.1 192.0.2.2\"" },
      { "rpki valid\n match rpki invalid=match", "\"rpki valid\\x0a match rpki invalid\"" },
   };
   for( const auto & row : rows ) {
      Assumptions assumptions;
      EXPECT_THAT( assumptions.add( row.assumption ).value_or( "" ), testing::StartsWith( row.wrong ) ) << row.assumption;
      EXPECT_TRUE( assumptions.empty() ) << row.assumption;
   }
   // Each clause that a policy can have, in any spelling that the policy can have; and its first words.
   for( const char * assumption : { "rpki=match",
                                    "rpki valid=match",
                                    "origin igp=match",
                                    "probability 50=match",
                                    "ip=match",
                                    "evpn=match",
                                    "evpn route-type=match",
                                    "evpn route-type 2=match",
                                    "evpn vni 100=match",
                                    "evpn rd 192.0.2.1:7=match",
                                    "evpn default-route=match",
                                    "peer local=match",
                                    "src-peer eth0=match",
                                    "ip route-source A=match",
                                    "ip route-source prefix-list=match",
                                    "ip route-source prefix-list P=match",
                                    "mac address M=match",
                                    "ip multicast-group prefix-list GROUPS=match",
                                    "script S=match",
                                    "alias A=match" } )
      EXPECT_EQ( Assumptions().add( assumption ), std::nullopt ) << assumption;
   EXPECT_EQ( answerOf( mapWith( "match peer 2001:db8::1" ), "10.0.0.0/8", assuming( { "peer 2001:DB8:0::1=match" } ) ), "permit" );
   EXPECT_EQ( answerOf( mapWith( "match rpki valid" ), "10.0.0.0/8", assuming( { "rpki   valid=match" } ) ), "permit" );
}

TEST( FrrMatches, assumptionsThatNoClauseUses ) {
   const auto loader = loaded( mapWith( "match rpki valid\n match evpn vni 1" ) );
   const auto unused = [ & ]( std::initializer_list<const char *> all ) { return assuming( all ).unusedIn( loader.text() ); };
   EXPECT_EQ( unused( { "rpki=match", "rpki valid=match", "evpn=match", "evpn vni 1=match" } ), std::vector<std::string>() );
   EXPECT_EQ( unused( { "rpki=match", "rpki invalid=match", "evpn vni 2=match", "peer=match" } ),
              ( std::vector<std::string>{ "evpn vni 2", "peer", "rpki invalid" } ) );
}

TEST( FrrMatches, aMapThatIsNotAskedMayLackAnswers ) {
   const std::string lines = mapWith( "match metric 0" ) + "route-map OTHER permit 10\n match rpki valid\n";
   EXPECT_EQ( answerOf( lines, "10.0.0.0/8" ), "permit" );
}

TEST( FrrMatches, aClauseOfAnotherDaemonHasNoAnswer ) {
   EXPECT_EQ(
      answerOf( mapWith( "match ip address prefix-len 8" ), "10.0.0.0/8" ),
      "edge.conf:2:30: IN 10: \"match ip address prefix-len 8\" is a clause of zebra; use --daemon zebra if it applies the route map" );
   EXPECT_EQ( answerOf( mapWith( "match ip address prefix-len 8" ), "10.0.0.0/8", of( "zebra" ) ), "permit" );
   EXPECT_EQ( answerOf( mapWith( "match source-protocol bgp" ), "10.0.0.0/8 protocol bgp" ), "permit" );
   EXPECT_EQ( answerOf( mapWith( "match ip address prefix-len 8\n match metric 5" ), "10.0.0.0/8" ), "deny" );
   // Whatever its list says: the daemon does not have the clause.
   for( const char * clause : { "match as-path NONE", "match community NONE", "match local-preference 100", "match rpki valid" } )
      EXPECT_THAT( answerOf( mapWith( clause ), "10.0.0.0/8", of( "ospfd" ) ), HasSubstr( "is a clause of bgpd; use --daemon bgpd" ) )
         << clause;
   EXPECT_EQ( Assumptions().daemonIs( "bgp" ),
              "expected one of bgpd, zebra, pimd, pim6d, ospfd, ospf6d, isisd, ripd, ripngd, eigrpd, babeld, found \"bgp\"" );
}

// ---- lines that FRR refuses

std::vector<std::string> doubtsOf( const LineLoader & loader ) {
   std::vector<std::string> doubts;
   for( const auto & doubt : loader.text().doubts ) {
      EXPECT_EQ( doubt.kind, Doubt::Kind::refused );
      doubts.push_back( std::to_string( doubt.place.line ) + ": " + doubt.text );
   }
   return doubts;
}

TEST( FrrMatches, aLineThatFrrRefusesHasNoEffect ) {
   const auto loader =
      loaded( "route-map IN permit 10\n call IN\n on-match goto 10\nroute-map IN deny 20\n on-match next\n continue 30\n" );
   EXPECT_THAT( loader.errors(), IsEmpty() );
   EXPECT_EQ( loader.text(), loaded( "route-map IN permit 10\nroute-map IN deny 20\n" ).text() );
   EXPECT_THAT( doubtsOf( loader ),
                ElementsAre( "2: FRR refuses \"call IN\": a route map cannot call itself; the line has no effect",
                             "3: FRR refuses \"on-match goto 10\": the target is not above the sequence; the line has no effect",
                             "5: FRR refuses \"on-match next\": a deny cannot continue; the line has no effect",
                             "6: FRR refuses \"continue 30\": a deny cannot continue; the line has no effect" ) );
   // A line that is in force stays, and the native dialect knows none of this.
   EXPECT_TRUE(
      loaded( "route-map IN permit 10\n on-match next\n on-match goto 5\n" ).text().routeMaps.at( "IN" ).sequences.at( 10 ).continueTo );
   EXPECT_THAT( loaded( "route-map IN deny 20\n on-match next\n", Dialect::native ).text().doubts, IsEmpty() );
   EXPECT_TRUE( loaded( mapWith( "call IN" ), Dialect::native ).text().routeMaps.at( "IN" ).sequences.at( 10 ).call );
}

}   // namespace

}   // namespace Agent
