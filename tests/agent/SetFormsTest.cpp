// The set clauses that only the dialect of FRR has, and its lists of large and extended communities.
#include "text/SetForms.h"

#include <set>

#include <gtest/gtest.h>

#include "text/LineLoader.h"
#include "text/TextWriter.h"

namespace Agent {
namespace {

struct Loaded {
   PolicyText text;
   std::string error;   // the first one
   bool isSkipped = false;
};

Loaded load( const std::string & lines, Dialect dialect = Dialect::frr ) {
   LineLoader loader( dialect );
   loader.load( "p", lines );
   return { loader.text(), loader.errors().empty() ? "" : loader.toString( loader.errors().front() ), loader.text().skippedStanzas != 0 };
}

Loaded loadClause( const std::string & clause, Dialect dialect = Dialect::frr ) {
   return load( "route-map M permit 10\n " + clause + "\n", dialect );
}

// Each as it is written.
const char * const kClauses[] = {
   "set metric 5",
   "set metric +5",
   "set metric -5",
   "set metric rtt",
   "set metric +rtt",
   "set metric -rtt",
   "set metric igp",
   "set metric aigp",
   "set distance 0",
   "set tag 5",
   "set local-preference 5",
   "set local-preference +0",
   "set local-preference -5",
   "set community 64500:1 no-export additive",
   "set community none",
   "set min-metric 0",
   "set max-metric 4294967295",
   "set origin egp",
   "set origin igp",
   "set origin incomplete",
   "set as-path prepend 64500 4200000000 64500",
   "set as-path prepend last-as 10",
   "set as-path exclude 64500 64501",
   "set as-path exclude all",
   "set as-path exclude as-path-access-list L",
   "set as-path replace any",
   "set as-path replace 64500",
   "set as-path replace 64500 64501",
   "set as-path replace as-path-access-list L",
   "set as-path replace as-path-access-list L 64501",
   "set comm-list L delete",
   "set large-community 64500:1:2 64500:1:3 additive",
   "set large-community none",
   "set large-comm-list 100 delete",
   "set extcommunity rt 64500:4200000000 192.0.2.1:5 4200000000:5",
   "set extcommunity soo 64500:1",
   "set extcommunity nt 192.0.2.1:0",
   "set extcommunity color 5 10:5",
   "set extcommunity none",
   "set extended-comm-list L delete",
   "set ip next-hop 192.0.2.1",
   "set ip next-hop peer-address",
   "set ip next-hop unchanged",
   "set ipv6 next-hop global 2001:db8::1",
   "set weight 4294967295",
   "set atomic-aggregate",
   "set aggregator as 4200000000 192.0.2.1",
   "set originator-id 192.0.2.1",
   "set label-index 1048560",
   "set aigp-metric igp-metric",
   "set aigp-metric 5",
   "set extcommunity bandwidth 100",
   "set extcommunity bandwidth cumulative",
   "set extcommunity bandwidth num-multipaths non-transitive",
   "set ipv6 next-hop local fe80::1",
   "set ipv6 next-hop peer-address",
   "set ipv6 next-hop prefer-global",
   "set ipv4 vpn next-hop 192.0.2.1",
   "set ipv6 vpn next-hop 2001:db8::1",
   "set table 5",
   "set sr-te color 5",
   "set src 192.0.2.1",
   "set src 2001:db8::1",
   "set metric-type type-1",
   "set forwarding-address 2001:db8::1",
   "set evpn gateway-ip ipv4 192.0.2.1",
   "set evpn gateway-ip ipv6 2001:db8::1",
   "set l3vpn next-hop encapsulation gre",
   "match large-community L",
   "match large-community L exact-match",
   "match extcommunity 7 any",
};

TEST( SetForms, everyClauseIsWrittenAsItIsRead ) {
   std::set<SetKind> kinds;
   for( const std::string clause : kClauses ) {
      const Loaded loaded = loadClause( clause );
      EXPECT_EQ( loaded.error, "" ) << clause;
      EXPECT_EQ( writeText( loaded.text ), "route-map M permit 10\n " + clause + "\n" );
      for( const auto & set : loaded.text.routeMaps.at( "M" ).sequences.at( 10 ).set ) kinds.insert( set.kind );
      // "no" with the clause removes it; FRR has no operand of a table there, and one AS to prepend.
      const std::string back = clause.starts_with( "set table" ) ? "set table"
         : clause.starts_with( "set as-path prepend 64500" )     ? "set as-path prepend 64500"
                                                                 : clause;
      EXPECT_EQ( writeText( load( "route-map M permit 10\n " + clause + "\n no " + back + "\n" ).text ), "route-map M permit 10\n" );
   }
   EXPECT_EQ( kinds.size(), setForms().size() ) << "a kind has no example";
}

TEST( SetForms, onlyTheDialectOfFrrHasThem ) {
   for( const std::string clause : kClauses ) {
      const auto loaded = loadClause( clause, Dialect::native );
      const bool isShared = loadClause( clause, Dialect::native ).error.empty();
      static const std::set<std::string> kShared = { "set metric 5", "set tag 5", "set local-preference 5", "set community none",
                                                     "set community 64500:1 no-export additive" };
      EXPECT_EQ( isShared, kShared.contains( clause ) ) << clause << loaded.error;
   }
}

TEST( SetForms, otherSpellingsAreRead ) {
   const std::pair<const char *, const char *> rows[] = {
      { "set community additive 64500:1", "set community 64500:1 additive" },
      { "set community 64500:1 internet", "set community 0:0 64500:1" },
      { "set community internet additive", "set community 0:0 additive" },
      { "set tag untagged", "set tag 0" },
      { "set as-path prepend 1.10", "set as-path prepend 65546" },
      { "set extcommunity rt 64500:2 64500:1 64500:2", "set extcommunity rt 64500:1 64500:2" },
      { "set extcommunity color 00:5", "set extcommunity color 5" },
      { "set large-community 2:2:2 1:1:1 2:2:2", "set large-community 1:1:1 2:2:2" },
   };
   for( const auto & [ said, written ] : rows )
      EXPECT_EQ( writeText( loadClause( said ).text ), "route-map M permit 10\n " + std::string( written ) + "\n" );
}

TEST( SetForms, whatBgpdRefusesIsAnError ) {
   for( const char * clause : { "set metric +0",
                                "set metric -0",
                                "set metric 4294967296",
                                "set metric +",
                                "set metric rtt 5",
                                "set local-preference 5x",
                                "set local-preference 4294967296",
                                "set distance 256",
                                "set label-index 1048561",
                                "set weight 4294967296",
                                "set origin any",
                                "set as-path prepend",
                                "set as-path prepend 0",
                                "set as-path prepend last-as 11",
                                "set as-path exclude x",
                                "set as-path",
                                "set comm-list L",
                                "set comm-list L remove",
                                "set large-community 9:9",
                                "set large-community additive 9:9:9",
                                "set extcommunity rt 192.0.2.1:70000",
                                "set extcommunity rt 4200000000:70000",
                                "set extcommunity rt 5",
                                "set extcommunity rt",
                                "set extcommunity any 1:1",
                                "set extcommunity bandwidth 0",
                                "set ip next-hop 0.0.0.0",
                                "set ip next-hop 224.0.0.1",
                                "set ip next-hop 255.255.255.255",
                                "set ip next-hop 2001:db8::1",
                                "set ipv6 next-hop global ::",
                                "set ipv6 next-hop global ff02::1",
                                "set aggregator as 0 192.0.2.1",
                                "set aggregator 5 192.0.2.1",
                                "set atomic-aggregate 5",
                                "set metric-type type-3",
                                "set src x",
                                "match large-community L exact",
                                "match extcommunity" } )
      EXPECT_NE( loadClause( clause ).error, "" ) << clause;
}

TEST( SetForms, anErrorNamesTheWordsThatMayFollow ) {
   EXPECT_EQ( loadClause( "set as-path append 1" ).error, "p:2:14: expected \"prepend\", \"exclude\" or \"replace\", found \"append\"" );
   EXPECT_EQ( loadClause( "set ipv6 next-hop" ).error,
              "p:2:19: expected \"global\", \"local\", \"peer-address\" or \"prefer-global\", found the end of the line" );
}

TEST( SetForms, theLaterClauseOfAKindReplacesTheEarlierAndIsTheLast ) {
   EXPECT_EQ( writeText( load( "route-map M permit 10\n set metric +5\n set ip next-hop 192.0.2.1\n set weight 5\n set metric 7\n"
                               " set ip next-hop unchanged\n" )
                            .text ),
              "route-map M permit 10\n set weight 5\n set metric 7\n set ip next-hop unchanged\n" );
}

TEST( SetForms, clausesThatNameListsSayWhichKind ) {
   const std::pair<const char *, ThingKind> rows[] = {
      { "set comm-list L delete", ThingKind::communityList },
      { "set large-comm-list L delete", ThingKind::largeCommunityList },
      { "set extended-comm-list L delete", ThingKind::extCommunityList },
      { "set as-path exclude as-path-access-list L", ThingKind::asPathList },
      { "set as-path replace as-path-access-list L 64501", ThingKind::asPathList },
   };
   for( const auto & [ clause, kind ] : rows )
      EXPECT_EQ( thingNamedBy( *loadClause( clause ).text.routeMaps.at( "M" ).sequences.at( 10 ).set.begin() ), kind ) << clause;
   EXPECT_EQ( thingNamedBy( SetClause{ .kind = SetKind::asPathExclude, .ases = { 1 } } ), std::nullopt );
   EXPECT_EQ( thingNamedBy( SetClause{ .kind = SetKind::metric, .word = "rtt" } ), std::nullopt );
}

TEST( CommunityLists, ofLargeAndExtendedCommunitiesAreWrittenAsTheyAreRead ) {
   const std::string lines = "bgp large-community-list expanded E seq 5 permit ^64500:.*:1$\n"
                             "bgp large-community-list standard L seq 5 permit 64500:1:2 64500:1:3\n"
                             "bgp large-community-list standard L seq 7 deny 64500:1:4\n"
                             "bgp extcommunity-list expanded E seq 5 deny RT:64500:.*\n"
                             "bgp extcommunity-list standard L seq 5 permit rt 64500:1 soo 192.0.2.1:1\n";
   const Loaded loaded = load( lines );
   EXPECT_EQ( loaded.error, "" );
   EXPECT_EQ( writeText( loaded.text ), lines );
   EXPECT_EQ( writeText( load( lines + "no bgp large-community-list standard L deny 64500:1:4\n" ).text ).find( "seq 7" ),
              std::string::npos );
   // The native dialect does not read them.
   EXPECT_EQ( load( lines, Dialect::native ).text, PolicyText() );
   EXPECT_TRUE( load( lines, Dialect::native ).isSkipped );
}

TEST( CommunityLists, aNumberTellsTheKindOfList ) {
   const Loaded loaded = load( "bgp large-community-list 99 permit 64500:1:2\nbgp extcommunity-list 100 permit RT:.*\n"
                               "bgp community-list 500 permit .*\nbgp community-list 1 permit 64500:1\n" );
   EXPECT_EQ( loaded.error, "" );
   EXPECT_EQ( writeText( loaded.text ),
              "bgp community-list standard 1 seq 5 permit 64500:1\nbgp community-list expanded 500 seq 5 permit .*\n"
              "bgp large-community-list 99 seq 5 permit 64500:1:2\n"
              "bgp extcommunity-list expanded 100 seq 5 permit RT:.*\n" );
   for( const char * line : { "bgp large-community-list 0 permit 1:1:1", "bgp large-community-list 501 permit 1:1:1",
                              "bgp large-community-list standard L permit 1:1", "bgp extcommunity-list standard L permit 64500:1",
                              "bgp extcommunity-list standard L permit rt" } )
      EXPECT_NE( load( line ).error, "" ) << line;
   EXPECT_NE( load( "bgp community-list 1 permit 64500:1", Dialect::native ).error, "" );
}

}   // namespace
}   // namespace Agent
