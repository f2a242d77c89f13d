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
