#include "examples/evaluate_table/Report.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "examples/evaluate_table/TableReader.h"

namespace EvaluateTable {
namespace {

struct ReportTest : testing::Test, RouteTable::TableHandler {
   TableEvaluation evaluation{ makeEdgePolicy() };
   Report report;

   void handleRoute( const RouteTable::TableRoute & route ) override { evaluation.evaluate( route ); }
   void handleBroken( const RouteTable::Broken & ) override {}
   void read( const std::string & name, std::string_view table ) {
      RouteTable::MemorySource source( table );
      report.tables.push_back( { name, readTable( source, *this ) } );
   }
   void explain() {
      for( const auto & route : { evaluation.telltalePermit(), evaluation.telltaleDeny() } )
         if( route ) report.explanations.push_back( evaluation.explain( *route ) );
   }
   void expectLine( const std::string & line ) {
      const std::string text = "\n" + textOf( report, evaluation );
      EXPECT_NE( text.find( "\n" + line + "\n" ), std::string::npos ) << "\"" << line << "\" in\n" << text;
   }
};

TEST_F( ReportTest, linesStandInColumns ) {
   read( "customers", "198.18.16.0/20 64500\n2001:db8:100::/40 64501\n10.0.0.0/8 64500\n\n10.0.0.1/8\n" );
   read( "dump",
         "TABLE_DUMP2|1|B|192.0.2.9|64496|198.51.100.0/24|64496|IGP|192.0.2.9|0|70||NAG||\nBGP4MP|1|W|192.0.2.9|64496|198.51.100.0/24\n" );
   explain();
   expectLine( "   table      form               stored  routes  broken  passed over" );
   expectLine( "   customers  a prefix per line  plain        3       1            0" );
   expectLine( "   dump       bgpdump -m         plain        1       0            1" );
   expectLine( "   routes  read  permitted  denied" );
   expectLine( "   IPv4       3          2       1" );
   expectLine( "   IPv6       1          1       0" );
   expectLine( "   both       4          3       1" );
   expectLine( "    40  permit  that BOGONS does not permit                               1  distance 180" );
   expectLine( "   prefix             next hop   tag      distance       metric  by" );
   expectLine( "   198.18.16.0/20     -          64500   200 -> 20   none -> 10  CUSTOMERS 10, 30, 60" );
   expectLine( "   2001:db8:100::/40  -          64501   200 -> 20  none -> 100  CUSTOMERS 20, 30" );
   expectLine( "   198.51.100.0/24    192.0.2.9  64496  200 -> 180           70  40" );
   expectLine( "Why 198.18.16.0/20 is permitted: the evaluation log, as text" );
   expectLine( "Why 10.0.0.0/8 is denied: the evaluation log, as text" );
   expectLine( "   Route Map Name: EDGE-IN" );
   expectLine( "   " + report.explanations[ 1 ].json );
}

TEST_F( ReportTest, faultsAndStrangeNamesAreShown ) {
   read( "a\x1b[31m\n", "[ oops" );
   expectLine( "   a\\x1b[31m\\x0a: not read to its end: " + report.tables[ 0 ].summary.fault );
   EXPECT_FALSE( report.tables[ 0 ].summary.fault.empty() );
   EXPECT_EQ( nlohmann::json::parse( jsonOf( report, evaluation ) ).at( "tables" ).at( 0 ).at( "fault" ),
              report.tables[ 0 ].summary.fault );
}

TEST_F( ReportTest, nothingReadGivesZeros ) {
   expectLine( "   both       0          0       0" );
   const auto json = nlohmann::json::parse( jsonOf( report, evaluation ) );
   EXPECT_EQ( json.at( "routes" ).at( "ipv4" ).at( "read" ), 0 );
   EXPECT_TRUE( json.at( "changes" ).empty() );
   EXPECT_TRUE( json.at( "explanations" ).empty() );
}

TEST_F( ReportTest, jsonTellsTheSame ) {
   read( "customers", "198.18.16.0/20 64500\n10.0.0.0/8 64500\n" );
   explain();
   const auto json = nlohmann::json::parse( jsonOf( report, evaluation ) );
   EXPECT_EQ( json.at( "tables" ).at( 0 ),
              ( nlohmann::json{ { "name", "customers" },
                                { "form", "a prefix per line" },
                                { "compression", "plain" },
                                { "routes", 2 },
                                { "broken", 0 },
                                { "passedOver", 0 } } ) );
   EXPECT_EQ( json.at( "routes" ).at( "ipv4" ), ( nlohmann::json{ { "read", 2 }, { "permitted", 1 }, { "denied", 1 } } ) );
   EXPECT_EQ( json.at( "sequences" ).at( 4 ), ( nlohmann::json{ { "seqno", 50 }, { "action", "deny" }, { "routes", 1 } } ) );
   EXPECT_EQ( json.at( "changes" ).at( 0 ).at( "metric" ), ( nlohmann::json{ { "before", nullptr }, { "after", 10 } } ) );
   EXPECT_EQ( json.at( "changes" ).at( 0 ).at( "distance" ), ( nlohmann::json{ { "before", 200 }, { "after", 20 } } ) );
   ASSERT_EQ( json.at( "explanations" ).size(), 2u );
   EXPECT_EQ( json.at( "explanations" ).at( 1 ).at( "prefix" ), "10.0.0.0/8" );
   EXPECT_EQ( json.at( "explanations" ).at( 1 ).at( "permitted" ), false );
   EXPECT_EQ( json.at( "explanations" ).at( 1 ).at( "log" ), nlohmann::json::parse( report.explanations[ 1 ].json ) );
}

}   // namespace
}   // namespace EvaluateTable
