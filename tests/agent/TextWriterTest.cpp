#include "text/TextWriter.h"

#include <algorithm>
#include <sstream>

#include <gtest/gtest.h>

#include "tests/agent/RandomText.h"
#include "text/LineLoader.h"

namespace Agent {
namespace {

PolicyText loaded( const std::string & lines ) {
   LineLoader loader( Dialect::native );
   loader.load( "a.conf", lines );
   for( const auto & error : loader.errors() ) ADD_FAILURE() << loader.toString( error );
   EXPECT_EQ( loader.text().skippedStanzas, 0u ) << lines;
   return loader.text();
}

// Every form there is, as it is written.
const char kCanonical[] = R"(ip prefix-list A description customers  of the edge
ip prefix-list A seq 5 permit 10.0.0.0/8
ip prefix-list A seq 10 deny 10.0.0.0/8 ge 9
ip prefix-list A seq 15 permit 10.0.0.0/8 le 24
ip prefix-list A seq 20 permit 10.0.0.0/8 ge 16 le 24
ip prefix-list A seq 25 permit 0.0.0.0/0
ip prefix-list A seq 30 permit 0.0.0.0/0 ge 0 le 32
ip prefix-list A seq 4294967295 deny any
ip prefix-list B seq 1 permit any
ipv6 prefix-list A seq 5 permit 2001:db8::/32 ge 48
ipv6 prefix-list A seq 10 deny any
access-list 10 remark management
access-list 10 seq 5 permit 10.0.0.0/8
access-list 10 seq 10 permit 10.1.2.3/8
access-list 10 seq 15 permit host 192.0.2.1
access-list 10 seq 20 deny 10.0.0.1 0.255.0.254
access-list 10 seq 25 permit 192.0.2.1/0
access-list 10 seq 30 deny any
ipv6 access-list V6 seq 5 permit 2001:db8::/32
ipv6 access-list V6 seq 10 permit host 2001:db8::1
ipv6 access-list V6 seq 15 deny any
tag-set T 0 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15
tag-set T 4294967295
bgp community-list expanded E seq 5 permit _64500:1_
bgp community-list standard S seq 5 permit 0:0 64500:1 graceful-shutdown blackhole no-export no-advertise local-AS no-peer
bgp community-list standard S seq 10 deny internet
bgp as-path access-list P seq 5 permit ^64500 [0-9]+$
route-map ALL permit 10
 description every clause there is
 match ip address A
 match ip address prefix-list A invert
 match interface eth0
 match metric 9223372036854775807
 match ip next-hop 192.0.2.1
 match ipv6 next-hop 2001:db8::1
 match ip next-hop prefix-list A
 match community S
 match as-path P
 match isis-instance 1
 match source-protocol static
 match tag 7
 match ipv6 address prefix-list A
 match ipv6 address V6
 match ipv6 next-hop prefix-list A
 match ospf-instance 4294967295
 match tag-set T
 set metric 100
 set distance 255
 set tag 7
 set local-preference 200
 set community 64500:1 no-export additive
 call OTHER invert
 continue
route-map ALL deny 20
 match ip next-hop A
 match ipv6 next-hop V6
 set community none
 call OTHER
 continue 30
route-map ALL permit 30
 set community 64500:1
)";

TEST( TextWriter, everyFormIsWrittenAsItIsRead ) {
   EXPECT_EQ( writeText( loaded( kCanonical ) ), kCanonical );
}

TEST( TextWriter, anEmptyTextIsWrittenAsNothing ) {
   EXPECT_EQ( writeText( {} ), "" );
}

TEST( TextWriter, thingsByThemselvesAreTheLinesOfTheWhole ) {
   const PolicyText text = loaded( kCanonical );
   std::string whole;
   for( const auto & [ name, list ] : text.ipv4PrefixLists ) whole += writePrefixList( AddressFamily::ipv4, name, list );
   for( const auto & [ name, list ] : text.ipv6PrefixLists ) whole += writePrefixList( AddressFamily::ipv6, name, list );
   for( const auto & [ name, list ] : text.ipv4AccessLists ) whole += writeAccessList( AddressFamily::ipv4, name, list );
   for( const auto & [ name, list ] : text.ipv6AccessLists ) whole += writeAccessList( AddressFamily::ipv6, name, list );
   for( const auto & [ name, set ] : text.tagSets ) whole += writeTagSet( name, set );
   for( const auto & [ name, list ] : text.communityLists ) whole += writeCommunityList( name, list );
   for( const auto & [ name, list ] : text.asPathLists ) whole += writeAsPathList( name, list );
   for( const auto & [ name, map ] : text.routeMaps ) {
      std::string sequences;
      for( const auto & [ number, sequence ] : map.sequences ) sequences += writeSequence( name, number, sequence, text.dialect );
      EXPECT_EQ( writeRouteMap( name, map, text.dialect ), sequences );
      whole += sequences;
   }
   EXPECT_EQ( whole, kCanonical );
}

TEST( TextWriter, loadingWhatItWritesGivesAnEqualText ) {
   forRandomCases( 10, []( Random & random ) {
      const PolicyText text = RandomText( random ).next();
      const std::string lines = writeText( text );
      const PolicyText again = loaded( lines );
      EXPECT_EQ( again, text ) << lines;
      EXPECT_EQ( writeText( again ), lines );
   } );
}

// Texts that differ are written differently: else the case above would hold of a writer that leaves things out on both ways.
TEST( TextWriter, textsThatDifferAreWrittenDifferently ) {
   forRandomCases( 10, []( Random & random ) {
      const PolicyText a = RandomText( random ).next(), b = RandomText( random ).next();
      EXPECT_EQ( a == b, writeText( a ) == writeText( b ) ) << writeText( a ) << "---\n" << writeText( b );
   } );
}

TEST( TextWriter, theOrderOfNumberedLinesAndOfListsDoesNotMatter ) {
   forRandomCases( 5, []( Random & random ) {
      const PolicyText text = RandomText( random ).next();
      // What is shuffled: a line of a list, or a sequence with its clauses.
      std::vector<std::string> blocks;
      std::istringstream lines( writeText( text ) );
      for( std::string line; std::getline( lines, line ); )
         if( line.starts_with( ' ' ) )
            blocks.back() += line + "\n";
         else
            blocks.push_back( line + "\n" );
      std::shuffle( blocks.begin(), blocks.end(), random );
      std::string shuffled;
      for( const auto & block : blocks ) shuffled += block;
      EXPECT_EQ( loaded( shuffled ), text ) << shuffled;
   } );
}

}   // namespace
}   // namespace Agent
