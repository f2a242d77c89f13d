// Lines of FRR that take back other lines, and lines at the edge of what FRR takes.
#include <gmock/gmock.h>

#include "command/RouteEvaluator.h"
#include "live/LivePolicy.h"
#include "live/ValueTests.h"
#include "text/LineLoader.h"
#include "text/TextWriter.h"

namespace Agent {
namespace {

using testing::ElementsAre;
using testing::Key;

LineLoader loaded( const std::string & lines, Dialect dialect = Dialect::frr ) {
   LineLoader loader( dialect );
   loader.load( "p", lines );
   return loader;
}

TEST( FrrRemoval, takesAClauseBackWhateverItsOperand ) {
   const std::pair<const char *, const char *> rows[] = {
      { "match metric 10", "no match metric 11" },
      { "match as-path A", "no match as-path B" },
      { "set metric 7", "no set metric +8" },
      { "set community 1:1", "no set community 2:2 additive" },
      { "call S", "no call T" },
      { "on-match goto 30", "no on-match next" },
      { "match local-preference 5", "no match local-preference 6" },
   };
   for( const auto & [ clause, no ] : rows )
      EXPECT_EQ( writeText( loaded( std::string( "route-map M permit 10\n" ) + clause + "\n" + no + "\n" ).text() ),
                 "route-map M permit 10\n" )
         << no;
   const std::string native = "route-map M permit 10\n match metric 10\n";
   EXPECT_EQ( writeText( loaded( native + " no match metric 11\n", Dialect::native ).text() ), native );
}

TEST( FrrRemoval, takesAClauseBackWhateverItsWrongOperand ) {
   const std::pair<const char *, const char *> rows[] = {
      { "set community 1:1", "no set community foo" },
      { "set large-community 1:1:1", "no set large-community 1:1" },
      { "set metric 7", "no set metric RTT" },
      { "set local-preference 7", "no set local-preference x" },
      { "set ip next-hop 192.0.2.1", "no set ip next-hop 0.0.0.0" },
      { "set extcommunity rt 1:1", "no set extcommunity rt x" },
   };
   for( const auto & [ clause, no ] : rows ) {
      const auto loader = loaded( std::string( "route-map M permit 10\n" ) + clause + "\n" + no + "\n" );
      EXPECT_TRUE( loader.errors().empty() ) << no;
      EXPECT_EQ( writeText( loader.text() ), "route-map M permit 10\n" ) << no;
   }
}

TEST( FrrRemoval, ofAPrependTakesOneAs ) {
   const std::string prepends = "route-map M permit 10\n set as-path prepend 65000 65000\n";
   EXPECT_EQ( writeText( loaded( prepends + " no set as-path prepend 65000 65000\n" ).text() ), prepends );
   EXPECT_EQ( writeText( loaded( prepends + " no set as-path prepend 65000\n" ).text() ), "route-map M permit 10\n" );
}

TEST( FrrRemoval, ofTheOpenSequenceEndsIt ) {
   EXPECT_EQ( writeText( loaded( "route-map M permit 10\n set community 1:1\n no route-map M permit 10\n set metric 5\n" ).text() ), "" );
   EXPECT_EQ( writeText( loaded( "route-map M permit 10\n no route-map X\n set metric 5\n" ).text() ), "route-map M permit 10\n" )
      << "also of another route map";
}

TEST( FrrRemoval, aLineWithoutANumberStandsFiveAboveTheHighest ) {
   EXPECT_EQ( writeText( loaded( "ip prefix-list P seq 12 permit 10.0.0.0/8\nip prefix-list P permit 11.0.0.0/8\n"
                                 "access-list A seq 12 permit 10.0.0.0/8\naccess-list A permit 11.0.0.0/8\n"
                                 "bgp as-path access-list X seq 12 permit 1\nbgp as-path access-list X permit 2\n" )
                            .text() ),
              "ip prefix-list P seq 12 permit 10.0.0.0/8\nip prefix-list P seq 17 permit 11.0.0.0/8\n"
              "access-list A seq 12 permit 10.0.0.0/8\naccess-list A seq 17 permit 11.0.0.0/8\n"
              "bgp as-path access-list X seq 12 permit 1\nbgp as-path access-list X seq 15 permit 2\n" );
   EXPECT_EQ( loaded( "ip prefix-list P seq 4294967291 permit any\nip prefix-list P permit 10.0.0.0/8\n" ).errors().size(), 1u );
   EXPECT_EQ( loaded( "ip prefix-list P seq 4294967290 permit any\nip prefix-list P permit 10.0.0.0/8\n" ).errors().size(), 0u );
}

TEST( FrrRemoval, aNumberedListOfLargeCommunitiesIsWrittenWithoutItsKind ) {
   const std::string lines = "bgp large-community-list 1 seq 5 permit 65001:1:1\nbgp large-community-list 100 seq 5 permit 1:.*\n";
   EXPECT_EQ( writeText( loaded( lines ).text() ), lines );
}

TEST( FrrRemoval, aNeighborsLineWithAnotherDirectionHasNoEffect ) {
   for( const char * line : { "route-map R in x", "prefix-list P in out", "filter-list F IN", "distribute-list D" } ) {
      const auto text = loaded( std::string( "router bgp 1\n neighbor 192.0.2.1 remote-as 2\n neighbor 192.0.2.1 " ) + line + "\n" ).text();
      const auto & router = text.routers.at( "" );
      EXPECT_EQ( router.filters( *router.find( "192.0.2.1" ), AddressFamily::ipv4, Direction::in ), NeighborFilters() ) << line;
      ASSERT_EQ( text.doubts.size(), 1u ) << line;
      EXPECT_EQ( text.doubts[ 0 ].kind, Doubt::Kind::refused ) << line;
   }
}

TEST( FrrRemoval, takesASequenceBackWhateverItsAction ) {
   EXPECT_EQ( writeText( loaded( "route-map M deny 10\nno route-map M permit 10\nroute-map M permit 20\n" ).text() ),
              "route-map M permit 20\n" );
}

TEST( FrrRemoval, aSequenceThatIsADenyNowDoesNotContinue ) {
   const auto text = loaded( "route-map M permit 10\n on-match next\nroute-map M deny 10\n" ).text();
   EXPECT_EQ( loaded( writeText( text ) ).text(), text );
   EXPECT_TRUE( loaded( writeText( text ) ).errors().empty() );
}

TEST( FrrRemoval, sequencesEndAt65535 ) {
   EXPECT_TRUE( loaded( "route-map M permit 65535\n" ).errors().empty() );
   for( const char * lines :
        { "route-map M permit 65536\n", "route-map M permit 1073741825\n", "route-map M permit 1\n on-match goto 65536\n" } )
      EXPECT_EQ( loaded( lines ).errors().size(), 1u ) << lines;
   EXPECT_TRUE( loaded( "route-map M permit 65536\n", Dialect::native ).errors().empty() );
}

TEST( FrrRemoval, ofNeighborsAndGroups ) {
   const std::string router = "router bgp 65000\n neighbor G peer-group\n neighbor G remote-as 65001\n neighbor 192.0.2.1 peer-group G\n"
                              " neighbor 192.0.2.2 remote-as 65002\n neighbor 192.0.2.2 peer-group G\n";
   const auto neighbors = []( const std::string & lines ) { return loaded( lines ).text().routers.at( "" ).neighbors; };
   EXPECT_THAT( neighbors( router ), ElementsAre( Key( "192.0.2.1" ), Key( "192.0.2.2" ), Key( "G" ) ) );
   EXPECT_THAT( neighbors( router + " no neighbor 192.0.2.1 peer-group G\n" ), ElementsAre( Key( "192.0.2.2" ), Key( "G" ) ) );
   EXPECT_THAT( neighbors( router + " no neighbor G peer-group\n" ), ElementsAre( Key( "192.0.2.2" ) ) );
   EXPECT_EQ( neighbors( router + " no neighbor 192.0.2.2 interface eth0\n" ).size(), 3u ) << "the neighbor stays";
   EXPECT_THAT( neighbors( "router bgp 65000\ntimers bgp 3 9\nneighbor 192.0.2.1 remote-as 1\n" ), ElementsAre( Key( "192.0.2.1" ) ) )
      << "indentation means nothing";
   EXPECT_FALSE( loaded( "router bgp 1.10\n neighbor 192.0.2.1 remote-as 65546\n" )
                    .text()
                    .routers.at( "" )
                    .isExternal( neighbors( "router bgp 1.10\n neighbor 192.0.2.1 remote-as 65546\n" ).at( "192.0.2.1" ) ) );
}

// The value is known to the daemon only.
TEST( FrrRemoval, aListBehindAnUnknownValueHasNoAnswer ) {
   for( const char * clauses : { " set ip next-hop peer-address\n on-match next\nroute-map M permit 20\n match ip next-hop prefix-list P\n",
                                 " set extcommunity bandwidth 100\n on-match next\nroute-map M permit 20\n match extcommunity X\n" } ) {
      LivePolicy policy( Dialect::frr );
      policy.apply(
         loaded( std::string( "ip prefix-list P permit any\nbgp extcommunity-list expanded X permit .\nroute-map M permit 10\n" ) +
                 clauses )
            .text() );
      const RouteEvaluator evaluator( policy.routeMap( "M" ), Dialect::frr );
      TableRoute route;
      route.prefix = Ferule::IpGenPrefix( "10.0.0.0/8" );
      RouteAnswer answer;
      EXPECT_THROW( evaluator.evaluate( route, answer ), Unanswered ) << clauses;
   }
}

}   // namespace
}   // namespace Agent
