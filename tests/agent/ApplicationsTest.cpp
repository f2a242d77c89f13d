#include "text/Applications.h"

#include <map>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Agent {
namespace {

using testing::ElementsAre;

std::vector<Application> applicationsIn( std::string_view line ) {
   std::vector<Application> applications;
   addApplications( LineCursor( line, 3, 7 ), applications );
   return applications;
}

// "KIND NAME at COLUMN".
std::vector<std::string> told( std::string_view line ) {
   static const std::map<Application::Kind, std::string> kKinds = { { Application::Kind::routeMap, "route-map" },
                                                                    { Application::Kind::prefixList, "prefix-list" },
                                                                    { Application::Kind::accessList, "access-list" },
                                                                    { Application::Kind::asPathList, "as-path" } };
   std::vector<std::string> result;
   for( const auto & a : applicationsIn( line ) ) {
      EXPECT_EQ( a.place.file, 3u );
      EXPECT_EQ( a.place.line, 7u );
      result.push_back( kKinds.at( a.kind ) + ' ' + a.name + " at " + std::to_string( a.place.column ) );
   }
   return result;
}

TEST( Applications, everyFormOfALine ) {
   struct Row {
      const char * line;
      std::vector<std::string> applications;
   };
   const Row rows[] = {
      { "neighbor 192.0.2.1 route-map EDGE-IN in", { "route-map EDGE-IN at 30" } },
      { "  neighbor 192.0.2.1 route-map EDGE-IN in", { "route-map EDGE-IN at 32" } },
      { " neighbor 2001:db8::1 prefix-list X in", { "prefix-list X at 35" } },
      { " neighbor X unsuppress-map A", { "route-map A at 28" } },
      { " neighbor X advertise-map A exist-map B", { "route-map A at 27", "route-map B at 39" } },
      { " neighbor X advertise-map A non-exist-map B", { "route-map A at 27", "route-map B at 43" } },
      { " neighbor X default-originate route-map A", { "route-map A at 41" } },
      { " neighbor X filter-list 7 out", { "as-path 7 at 25" } },
      { " neighbor X distribute-list 7 out", { "access-list 7 at 29" } },
      { " aggregate-address 10.0.0.0/8 route-map A suppress-map B", { "route-map A at 41", "route-map B at 56" } },
      { " table-map T", { "route-map T at 12" } },
      { "table-map T", { "route-map T at 11" } },
      { " network 10.0.0.0/8 route-map N", { "route-map N at 31" } },
      { " redistribute ospf route-map O", { "route-map O at 30" } },
      { " redistribute ospf metric 5 route-map O", { "route-map O at 39" } },
      { " default-information originate route-map D", { "route-map D at 42" } },
      { " distribute-list 7 in", { "access-list 7 at 18" } },
      { " distribute-list prefix P in eth0", { "prefix-list P at 25" } },
      { " distribute-list prefix-list P in", { "prefix-list P at 30" } },
      { " distribute-list route-map R in", { "route-map R at 28" } },
      { " area 0.0.0.1 filter-list prefix P in", { "prefix-list P at 34" } },
      { " distribute-list gateway P in", { "prefix-list P at 26" } },
      { "ip protocol bgp route-map PB", { "route-map PB at 27" } },
      { "ipv6 protocol any route-map PB", { "route-map PB at 29" } },
      { " ip policy route-map R", { "route-map R at 22" } },
      { " route-map NESTED in", { "route-map NESTED at 12" } },
      { " prefix-list NESTED in", { "prefix-list NESTED at 14" } },
      { "\tneighbor\tX  route-map\tA\tin\t", { "route-map A at 24" } },
      { " neighbor X route-map route-map in", { "route-map route-map at 23" } },
      { " route-map vpn import R", { "route-map R at 23" } },
      { " route-map vpn export R", { "route-map R at 23" } },
      { " route-map vpn in", { "route-map vpn at 12" } },
      { " neighbor X route-map vpn import", { "route-map vpn at 23" } },
      { " aggregate-address 10.0.0.0/8 attribute-map A", { "route-map A at 45" } },
      // Nothing is applied.
      { "", {} },
      { " ", {} },
      { "no", {} },
      { "hostname edge1", {} },
      { " no neighbor 192.0.2.1 route-map EDGE-IN in", {} },
      { "no ip protocol bgp route-map PB", {} },
      { " neighbor X route-map", {} },
      { " distribute-list", {} },
      { " distribute-list prefix", {} },
      { " neighbor X description was route-map OLD in", {} },
      { " description see prefix-list OLD", {} },
      { "banner motd route-map X", {} },
      { "alias exec rm show route-map X", {} },
      { " remark filter-list X", {} },
      { " neighbor X route-maps A", {} },
      { " access-class 10 in", {} },   // filters of packets may have lists of their own
      { " ip access-group AG in", {} },
      { " ntp access-group peer 10", {} },
      { " neighbor X capability orf prefix-list both", {} },
      { " neighbor X password route-map A", {} },
      { "log to filter-list A", {} },
      { "debug route-map detail", {} },
      { "no debug route-map detail", {} },
      { " neighbor X community-list C", {} },
      { "bgp route-map delay-timer 5", {} },
      { " match ip address prefix-list X", {} },
      { "set something route-map X", {} },
      // A list or a sequence, mistyped or where none can be.
      { " ip prefix-list X permit any", {} },
      { "IP prefix-list X seq 5 permit any", {} },
      { "prefix-list X", {} },
      { "ipv4 prefix-list X", {} },
      { " prefix-list X deny any", {} },
      { " prefix-list X seq 5", {} },
      { " route-map X permit 10", {} },
      { "some prefix-list X description a b", {} },
   };
   for( const auto & row : rows ) EXPECT_EQ( told( row.line ), row.applications ) << row.line;
}

TEST( Applications, aLineBehindNoHasTheFormAllTheSame ) {
   std::vector<Application> applications;
   EXPECT_TRUE( addApplications( LineCursor( "no neighbor A route-map B in" ), applications ) );
   EXPECT_TRUE( addApplications( LineCursor( "bgp route-map delay-timer 5" ), applications ) );
   EXPECT_FALSE( addApplications( LineCursor( "no neighbor A route-map" ), applications ) );
   EXPECT_FALSE( addApplications( LineCursor( "prefix-list A permit any" ), applications ) );
   EXPECT_TRUE( applications.empty() );
}

TEST( Applications, theTextOfTheLineIsPrintable ) {
   const std::string big( 1000, 'x' );
   struct Row {
      const char * name;
      std::string line;
      std::string text;
   };
   const Row rows[] = {
      { "without the blanks around it", "  neighbor X  route-map A in \t\r", "neighbor X  route-map A in" },
      { "tabs", "\tneighbor\tX\troute-map A", "neighbor X route-map A" },
      { "terminal codes", "neighbor \x1b[2J route-map A", "neighbor \\x1b[2J route-map A" },
      { "not UTF-8", "neighbor \xff route-map A", "neighbor \\xff route-map A" },
      { "as long as can be read", "route-x route-map A " + big, "route-x route-map A " + big.substr( 0, 236 ) + "..." },
      { "just as long", "route-x route-map A " + big.substr( 0, 236 ), "route-x route-map A " + big.substr( 0, 236 ) },
   };
   for( const auto & row : rows ) {
      const auto applications = applicationsIn( row.line );
      ASSERT_EQ( applications.size(), 1u ) << row.name;
      EXPECT_EQ( applications[ 0 ].line, row.text ) << row.name;
      EXPECT_EQ( applications[ 0 ].name, "A" ) << row.name;
   }
   EXPECT_EQ( applicationsIn( "neighbor X route-map " + big )[ 0 ].name, big );   // a name is not shortened
}

TEST( Applications, otherWordsAreThoseOfALineEachOnce ) {
   std::unordered_set<std::string> words = { "a" };
   const std::string longest( 64, 'x' );
   addOtherWords( LineCursor( "" ), words );
   addOtherWords( LineCursor( " no a  b\t" + longest + " b " + longest + "y\r" ), words );
   EXPECT_THAT( words, testing::UnorderedElementsAre( "no", "a", "b", longest ) );
}

TEST( Applications, areAddedToWhatThereIs ) {
   std::vector<Application> applications;
   for( const char * line : { "a route-map A", "b", "c route-map C" } ) addApplications( LineCursor( line ), applications );
   ASSERT_EQ( applications.size(), 2u );
   EXPECT_EQ( applications[ 1 ].line, "c route-map C" );
}

}   // namespace
}   // namespace Agent
