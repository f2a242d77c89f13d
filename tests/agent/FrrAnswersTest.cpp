// Lines at the edge of what FRR takes, against what bgpd made of them: which lines it refused, and what it had then.
#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/agent/FrrFixture.h"
#include "text/LineLoader.h"
#include "text/TextWriter.h"

namespace Agent {
namespace {

using Lines = std::vector<std::string>;

std::string joined( const Lines & lines ) {
   std::string text;
   for( const auto & line : lines ) text += line + '\n';
   return text;
}

LineLoader loaded( const Lines & lines ) {
   LineLoader loader( Dialect::frr );
   loader.load( "f", joined( lines ) );
   return loader;
}

// The numbers of the lines without effect: refused, or wrong.
std::set<uint32_t> refusedBy( const LineLoader & loader ) {
   std::set<uint32_t> numbers;
   for( const auto & error : loader.errors() ) numbers.insert( error.place.line );
   for( const auto & doubt : loader.text().doubts )
      if( doubt.kind == Doubt::Kind::refused ) numbers.insert( doubt.place.line );
   return numbers;
}

void expectAnswers( const char * name, size_t least ) {
   const auto fixture = nlohmann::json::parse( plainBytesOf( kFrrFolder / "lines.json.gz" ) );
   EXPECT_EQ( fixture.at( "daemon" ), "bgpd 8.4.4" );
   const auto & cases = fixture.at( name );
   EXPECT_GE( cases.size(), least );
   for( const auto & recorded : cases ) {
      const auto lines = recorded.at( "lines" ).get<Lines>();
      const LineLoader agent = loaded( lines );
      const LineLoader daemon = loaded( recorded.at( "shows" ).get<Lines>() );
      EXPECT_EQ( daemon.errors().size(), 0u ) << joined( lines );
      EXPECT_TRUE( agent.text() == daemon.text() ) << joined( lines ) << "becomes\n"
                                                   << writeText( agent.text() ) << "in bgpd\n"
                                                   << writeText( daemon.text() );
      EXPECT_EQ( refusedBy( agent ), recorded.at( "refused" ).get<std::set<uint32_t>>() ) << joined( lines );
   }
}

TEST( FrrAnswers, linesOfListsAreTakenBack ) {
   expectAnswers( "removal", 390 );
}

TEST( FrrAnswers, clausesAreTakenBack ) {
   expectAnswers( "clauses", 370 );
}

TEST( FrrAnswers, valuesAreTakenOrRefused ) {
   expectAnswers( "values", 500 );
}

TEST( FrrAnswers, aLineOfAnAccessListMayStandInOtherWords ) {
   expectAnswers( "spellings", 700 );
}

// FRR takes a line for an earlier one that has all its words.
TEST( FrrAnswers, aLineThatWouldBeTakenForAnotherIsWrittenBeforeIt ) {
   const std::pair<Lines, std::string> rows[] = {
      { { "access-list L permit 10.0.0.0/8 exact-match", "access-list L permit 10.0.0.1/8" },
        "access-list L seq 10 permit 10.0.0.0/8\naccess-list L seq 5 permit 10.0.0.0/8 exact-match\n" },
      { { "access-list L seq 9 permit host 1.2.3.4", "access-list L seq 8 deny any", "access-list L seq 7 permit ip host 1.2.3.4 any" },
        "access-list L seq 9 permit host 1.2.3.4\naccess-list L seq 7 permit ip host 1.2.3.4 any\naccess-list L seq 8 deny any\n" },
   };
   for( const auto & [ lines, written ] : rows ) {
      const LineLoader loader = loaded( lines );
      EXPECT_EQ( writeText( loader.text() ), written );
      EXPECT_EQ( loaded( { written } ).text(), loader.text() );
   }
}

TEST( FrrAnswers, severalBlanksAreOne ) {
   expectAnswers( "blanks", 13 );
}

TEST( FrrAnswers, aPrefixListMayHaveADescriptionOnly ) {
   expectAnswers( "described", 30 );
}

// bgpd -f ignores what stands behind "end", until "configure terminal"; vtysh reads on.
TEST( FrrAnswers, linesBehindEndAreTold ) {
   const struct {
      Lines lines;
      std::string told;   // the line of the doubt; empty for none
   } rows[] = {
      { { "ip prefix-list A permit any", "end", "ip prefix-list B permit any", "ip prefix-list C permit any" }, "3" },
      { { "route-map M permit 10", " match metric 5", " end", "!", "hostname x", "route-map N permit 10" }, "6" },
      { { "router bgp 65000", "end", "router bgp 65001", " neighbor 192.0.2.1 remote-as 1" }, "4" },
      { { "ip prefix-list A permit any", "end", "configure terminal", "ip prefix-list B permit any" }, "" },
      { { "ip prefix-list A permit any", "end x", "ip prefix-list B permit any" }, "" },
      { { "ip prefix-list A permit any", "end" }, "" },
   };
   for( const auto & row : rows ) {
      std::string told;
      for( const uint32_t line : refusedBy( loaded( row.lines ) ) ) told += std::to_string( line );
      EXPECT_EQ( told, row.told ) << joined( row.lines );
   }
   LineLoader files = loaded( { "ip prefix-list A permit any", "end" } );
   files.load( "g", "ip prefix-list B permit any\n" );
   EXPECT_EQ( refusedBy( files ).size(), 0u ) << "another file begins anew";
   EXPECT_EQ( files.text().ipv4PrefixLists.size(), 2u );
   const LineLoader loader = loaded( rows[ 0 ].lines );
   EXPECT_EQ( loader.text().ipv4PrefixLists.size(), 3u ) << "as vtysh does";
   EXPECT_EQ(
      loader.text().doubts.at( 0 ).text,
      "behind \"end\" in line 2: vtysh reads this line and the rest of the file, as here; a daemon that reads the file itself ignores "
      "them" );
}

}   // namespace
}   // namespace Agent
