#include "text/LineLoader.h"

#include <algorithm>
#include <array>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "substrate/routemap/PrefixListBuilder.h"
#include "tests/agent/Golden.h"
#include "tests/agent/RandomText.h"
#include "text/SetForms.h"
#include "text/TextWriter.h"

namespace Agent {
namespace {

using namespace std::string_view_literals;
using testing::ElementsAre;

std::vector<std::string> errorsOf( const LineLoader & loader ) {
   std::vector<std::string> errors;
   for( const auto & error : loader.errors() ) errors.push_back( loader.toString( error ) );
   return errors;
}

/// What is loaded of lines without an error.
PolicyText loaded( std::string_view lines ) {
   LineLoader loader( Dialect::native );
   loader.load( "a.conf", lines );
   EXPECT_THAT( errorsOf( loader ), ElementsAre() ) << lines;
   return loader.text();
}

std::string written( std::string_view lines ) {
   return writeText( loaded( lines ) );
}

// Each file is about one subject: lines, and their canonical form.
TEST( LineLoader, canonicalForms ) {
   for( const char * subject : { "lists", "numbers", "removed", "route-maps" } )
      expectGoldenCases( std::string( "lines/" ) + subject + ".txt", []( const std::string & lines ) { return written( lines ); } );
}

// " /" stands for a line end.
std::string split( std::string lines ) {
   for( size_t at; ( at = lines.find( " /" ) ) != std::string::npos; ) lines.replace( at, 2, "\n" );
   return lines;
}

TEST( LineLoader, clauses ) {
   const std::string head = "route-map M permit 10\n";
   expectGoldenTranscript( "lines/clauses.txt", "clauses of a sequence", [ & ]( const std::string & clauses ) {
      const std::string text = written( head + split( clauses ) );
      EXPECT_TRUE( text.starts_with( head ) ) << text;
      return text.substr( head.size() );
   } );
}

TEST( LineLoader, linesRemovedFromAList ) {
   expectGoldenTranscript( "lines/removed-from-list.txt", "lines removed from a list", []( const std::string & lines ) {
      return written( "ip prefix-list A description d\nip prefix-list A permit 1.0.0.0/8\nip prefix-list A permit 2.0.0.0/8 le 9\n"
                      "ip prefix-list A permit 1.0.0.0/8 ge 9\n" +
                      split( lines ) );
   } );
}

// The errors of wrong lines, as "COLUMN: REASON". Such a line changes nothing.
void expectErrors( const char * name, const std::string & before ) {
   const PolicyText unchanged = loaded( before );
   const std::string place = "edge.conf:" + std::to_string( std::count( before.begin(), before.end(), '\n' ) + 1 ) + ":";
   expectGoldenTranscript( "wrong-lines.txt", name, [ & ]( const std::string & line ) {
      LineLoader loader( Dialect::native );
      loader.load( "edge.conf", before + line + "\n" );
      EXPECT_EQ( loader.text(), unchanged ) << line;
      std::string errors;
      for( const auto & error : errorsOf( loader ) ) {
         EXPECT_TRUE( error.starts_with( place ) ) << error;
         errors += error.substr( place.size() ) + '\n';
      }
      return errors;
   } );
}

TEST( LineLoader, wrongLinesOfLists ) {
   expectErrors( "lines of lists",
                 "ip prefix-list L seq 4294967295 permit any\nbgp community-list standard S permit 1:1\n"
                 "bgp community-list expanded E permit 1:1\n" );
}

TEST( LineLoader, wrongLinesOfRouteMaps ) {
   expectErrors( "lines of route maps", "route-map M permit 10\n match tag 1\n set metric 1\n call C\n" );
}

TEST( LineLoader, anyBytesAreShownAsTheyCanBePrinted ) {
   const std::string big( 1000, 'x' );
   struct Row {
      const char * name;
      std::string line;
      std::string error;
   };
   const Row rows[] = {
      { "zero byte", std::string( "ip prefix-list A permit 10.0.0.0/8\0"sv ), "35: expected printable text, found \"\\x00\"" },
      { "zero byte in a name", std::string( "ip prefix-list A\0B permit any"sv ), "17: expected printable text, found \"\\x00\"" },
      { "terminal codes", "tag-set \x1b[2J 5", "9: expected printable text, found \"\\x1b\"" },
      { "terminal codes in UTF-8", "tag-set T\xc2\x9b\x32J 5", "10: expected printable text, found \"\\xc2\\x9b\"" },
      { "delete", "route-map M\x7f permit 5", "12: expected printable text, found \"\\x7f\"" },
      { "not UTF-8", "tag-set T \xff\xfe", "11: expected a tag from 0 to 4294967295, found \"\\xff\\xfe\"" },
      { "a quote", "tag-set T \"5\"", "11: expected a tag from 0 to 4294967295, found \"\"5\"\"" },
      { "a long word", "tag-set T " + big, "11: expected a tag from 0 to 4294967295, found \"" + big.substr( 0, 64 ) + "...\"" },
      { "not UTF-8 in an expression", "bgp as-path access-list P permit \xff", "34: \"\\xff\" is not a regular expression: invalid UTF-8" },
   };
   for( const auto & row : rows ) {
      LineLoader loader( Dialect::native );
      loader.load( "a.conf", row.line );
      EXPECT_THAT( errorsOf( loader ), ElementsAre( "a.conf:1:" + row.error ) ) << row.name;
      EXPECT_EQ( loader.text(), PolicyText() ) << row.name;
   }
   EXPECT_EQ( written( "tag-set T\xff 5\n" ), "tag-set T\xff 5\n" );   // names are bytes
   EXPECT_EQ( loaded( "interface \x1b[2J\0\n"sv ).skippedStanzas, 1u );
}

TEST( LineLoader, allErrorsComeInOneRunInTheOrderOfTheText ) {
   LineLoader loader( Dialect::native );
   loader.load(
      "a.conf",
      "tag-set T x\nip prefix-list A permit any\n\nroute-map M permt 10\n match tag x\n match tag 5\n set weight 5\nend\ntag-set" );
   loader.load( "b.conf", "tag-set\ntag-set U 5\n" );
   expectGolden( "errors.txt", "all errors of two files", linesOfAll( errorsOf( loader ) ) );
   EXPECT_EQ( writeText( loader.text() ), "ip prefix-list A seq 5 permit any\ntag-set U 5\n" );
}

TEST( LineLoader, clausesOfAWrongSequenceGoNowhere ) {
   LineLoader loader( Dialect::native );
   loader.load(
      "a.conf",
      "route-map M permit 10\n match tag 1\nroute-map M permit x\n match tag 2\n continue 1\nroute-map M permit 20\n match tag 3\n" );
   EXPECT_EQ( loader.errors().size(), 1u );
   EXPECT_EQ( writeText( loader.text() ), "route-map M permit 10\n match tag 1\nroute-map M permit 20\n match tag 3\n" );
}

TEST( LineLoader, endsOfLines ) {
   const std::string_view canonical = "ip prefix-list A seq 5 permit 10.0.0.0/8\nroute-map M permit 10\n match tag 5\n";
   for( const auto lines : { "ip prefix-list A permit 10.0.0.0/8\r\n\r\nroute-map M permit 10\r\n match tag 5\r\n"sv,
                             "ip prefix-list A permit 10.0.0.0/8\nroute-map M permit 10\n match tag 5"sv,
                             "\n\n\nip prefix-list A permit 10.0.0.0/8 \t\r\r\nroute-map M permit 10\t\n\n \t \n\tmatch tag 5 \n\n"sv,
                             "\xef\xbb\xbfip prefix-list A permit 10.0.0.0/8\nroute-map M permit 10\n match tag 5"sv } )
      EXPECT_EQ( written( lines ), canonical ) << lines;

   EXPECT_EQ( loaded( "" ).lines, 0u );
   EXPECT_EQ( loaded( "\n" ).lines, 1u );
   EXPECT_EQ( loaded( "!\n!" ).lines, 2u );
   EXPECT_EQ( loaded( "!\n!\n" ).lines, 2u );
}

TEST( LineLoader, veryLongLines ) {
   const std::string name( 100000, 'n' ), words( 1000000, ' ' );
   EXPECT_EQ( written( "tag-set " + name + words + "5" ), "tag-set " + name + " 5\n" );
   std::string tags = "tag-set T";
   for( int i = 0; i < 100000; ++i ) tags += " " + std::to_string( i );
   EXPECT_EQ( loaded( tags ).tagSets.at( "T" ).tags.size(), 100000u );
   LineLoader loader( Dialect::native );
   loader.load( "a.conf", "tag-set T" + words + "x" );
   EXPECT_THAT( errorsOf( loader ), ElementsAre( "a.conf:1:1000010: expected a tag from 0 to 4294967295, found \"x\"" ) );
}

constexpr std::string_view kRouter = R"(! a router's configuration
version 9.1
hostname edge1
service integrated-config
log syslog informational
ip forwarding
no ipv6 forwarding
ip route 192.0.2.0/24 blackhole
ip community-list standard X permit 1:1
!
interface eth0
 description to the core
 ip address 10.0.0.1/24
 ip prefix-list NOT-HERE permit any
exit
!
router bgp 64500
 neighbor 10.0.0.2 remote-as 64501
 !
 address-family ipv4 unicast
  neighbor 10.0.0.2 route-map EDGE in
  route-map NOT-HERE permit 10
  match tag 5
 exit-address-family
exit
!
access-list 10 remark management
access-list 10 permit 10.0.0.0 0.0.0.255
ip prefix-list CUSTOMERS seq 5 permit 10.0.0.0/8 le 24
ip prefix-list CUSTOMERS seq 10 deny any
bgp as-path access-list 1 permit ^64501$
bgp community-list standard BACKUP permit 64500:90
!
route-map EDGE permit 10
 description customers
 match ip address prefix-list CUSTOMERS
 match community BACKUP
 set local-preference 50
 on-match next
exit
!
route-map EDGE deny 20
!
line vty
 access-class 10
end
)";

TEST( LineLoader, otherStanzasAreSkippedAndCounted ) {
   const PolicyText text = loaded( kRouter );
   EXPECT_EQ( writeText( text ),
              "ip prefix-list CUSTOMERS seq 5 permit 10.0.0.0/8 le 24\nip prefix-list CUSTOMERS seq 10 deny any\n"
              "access-list 10 remark management\naccess-list 10 seq 5 permit 10.0.0.0/24\n"
              "bgp community-list standard BACKUP seq 5 permit 64500:90\nbgp as-path access-list 1 seq 5 permit ^64501$\n"
              "route-map EDGE permit 10\n description customers\n match ip address prefix-list CUSTOMERS\n match community BACKUP\n"
              " set local-preference 50\n continue\nroute-map EDGE deny 20\n" );
   // version, hostname, service, log, ip forwarding, no ipv6 forwarding, ip route, ip community-list; interface, exit; router, exit; line, end.
   EXPECT_EQ( text.skippedStanzas, 14u );
   EXPECT_EQ( text.lines, uint64_t( std::count( kRouter.begin(), kRouter.end(), '\n' ) ) );
}

TEST( LineLoader, aStanzaIsALineAndWhatIsIndentedBehindIt ) {
   struct Row {
      const char * name;
      const char * lines;
      uint64_t stanzas;
   };
   const Row rows[] = {
      { "none", "!\n\n# interface\n", 0 },
      { "one with indented lines", "interface eth0\n a\n\n!\n b\n", 1 },
      { "lines that are not indented", "a\nb\nexit-address-family\n", 3 },
      { "an indented line at the beginning", " a\n b\n", 1 },
      { "indented behind a list", "tag-set T 5\n a\n b\ntag-set T 6\n c\n", 2 },
      { "words of ours, indented", "interface eth0\n ip prefix-list A permit any\n route-map M permit\n match\n", 1 },
      { "words of ours, indented in no stanza", " ip prefix-list A permit any\n route-map M permit 10\n  match tag 5\n", 0 },
      { "one word of two", "ip\nipv6\nbgp\nno\nno ip\nno bgp log\n", 6 },
      { "words that begin like ours", "ip prefix-lists A\nroute-maps\ntag-sets\nmatching\n", 4 },
      { "clauses without a sequence", "match tag 5\nset metric x\nno match tag\n", 3 },
      { "behind a route map", "route-map M permit 10\n match tag 5\nexit\n a\nb\n c\n", 2 },
      { "in another file", "a\n", 1 },
   };
   for( const auto & row : rows ) EXPECT_EQ( loaded( row.lines ).skippedStanzas, row.stanzas ) << row.name;
}

TEST( LineLoader, indentedLinesInNoStanzaAreReadAsTheyAre ) {
   const PolicyText text = loaded( "  ip prefix-list A permit any\n  ip prefix-list A deny 10.0.0.0/8\n  route-map M permit 10\n"
                                   "    match ip address prefix-list A\n  !\n" );
   EXPECT_EQ( writeText( text ),
              "ip prefix-list A seq 5 permit any\nip prefix-list A seq 10 deny 10.0.0.0/8\n"
              "route-map M permit 10\n match ip address prefix-list A\n" );
   EXPECT_EQ( text.skippedStanzas, 0u );
}

TEST( LineLoader, anIndentedLineOfAListEndsTheSequenceBeforeIt ) {
   const PolicyText text = loaded( "route-map M permit 10\n match tag 5\n ip prefix-list A permit any\n route-map M permit 20\n set tag 7\n"
                                   " ip prefix-list B permit any\n set tag 6\n" );
   EXPECT_EQ( writeText( text ),
              "ip prefix-list A seq 5 permit any\nip prefix-list B seq 5 permit any\n"
              "route-map M permit 10\n match tag 5\nroute-map M permit 20\n set tag 7\n" );
   ASSERT_EQ( text.doubts.size(), 1u );
   EXPECT_EQ( text.doubts[ 0 ].place.line, 7u ) << "a clause outside of any sequence";
}

TEST( LineLoader, filtersOfPacketsAndSwitchesAreOtherStanzas ) {
   const PolicyText text = loaded( "access-list 101 permit ip any any\naccess-list 101 seq 5 deny tcp any any eq 22\n"
                                   "no access-list 102 permit udp any any\nipv6 access-list F\n permit ipv6 any any\n"
                                   "ip access-list extended G\n permit ip any any\n"
                                   "ip prefix-list sequence-number\nno ip prefix-list sequence-number\n" );
   EXPECT_EQ( writeText( text ), "" );
   EXPECT_EQ( text.skippedStanzas, 7u );
   EXPECT_TRUE( text.doubts.empty() );
   EXPECT_EQ( writeText( loaded( "access-list ip permit 10.0.0.0/8\nip prefix-list sequence-number permit any\n" ) ),
              "ip prefix-list sequence-number seq 5 permit any\naccess-list ip seq 5 permit 10.0.0.0/8\n" );
}

TEST( LineLoader, severalFilesAreOneConfiguration ) {
   LineLoader loader( Dialect::native );
   loader.load( "lists.conf", "ip prefix-list A permit 10.0.0.0/8\nroute-map M permit 10" );
   loader.load( "more.conf", " match tag 5\nip prefix-list A permit any\n" );
   EXPECT_EQ( writeText( loader.text() ),
              "ip prefix-list A seq 5 permit 10.0.0.0/8\nip prefix-list A seq 10 permit any\nroute-map M permit 10\n" );
   EXPECT_EQ( loader.text().skippedStanzas, 1u );   // a sequence does not go on in another file
   EXPECT_EQ( loader.text().lines, 4u );
   EXPECT_THAT( loader.text().files, ElementsAre( "lists.conf", "more.conf" ) );
   EXPECT_EQ( loader.text().ipv4PrefixLists.at( "A" ).lines.at( 10 ).place.file, 1u );
   loader.load( "lists.conf", "" );   // other bytes: another file
   EXPECT_THAT( loader.text().files, ElementsAre( "lists.conf", "more.conf", "lists.conf" ) );
}

TEST( LineLoader, thingsKnowWhereTheyStand ) {
   LineLoader loader( Dialect::native );
   loader.load( "other.conf", "!\n" );
   loader.load( "a.conf",
                "ip prefix-list A description d\nip prefix-list A permit any\ntag-set T 5\nroute-map M permit 10\n"
                " match  ip address prefix-list  A\n match ip next-hop address 10.0.0.1\n call B\n continue 20\n on-match goto 30\n"
                "tag-set T 5\nip prefix-list A permit any\n" );
   ASSERT_THAT( errorsOf( loader ), ElementsAre() );
   const auto place = []( const Place & p ) { return std::array{ p.file, p.line, p.column }; };
   const PolicyText & text = loader.text();
   EXPECT_THAT( place( text.ipv4PrefixLists.at( "A" ).place ), ElementsAre( 1, 1, 1 ) );
   EXPECT_THAT( place( text.ipv4PrefixLists.at( "A" ).lines.at( 5 ).place ), ElementsAre( 1, 2, 1 ) );
   EXPECT_THAT( place( text.tagSets.at( "T" ).place ), ElementsAre( 1, 3, 1 ) );
   EXPECT_THAT( place( text.routeMaps.at( "M" ).place ), ElementsAre( 1, 4, 1 ) );
   const SequenceText & sequence = text.routeMaps.at( "M" ).sequences.at( 10 );
   EXPECT_THAT( place( sequence.place ), ElementsAre( 1, 4, 1 ) );
   EXPECT_THAT( place( sequence.match.at( MatchOption::matchIpPrefixList ).place ), ElementsAre( 1, 5, 33 ) );
   EXPECT_THAT( place( sequence.match.at( MatchOption::matchIpNexthop ).place ), ElementsAre( 1, 6, 28 ) );
   EXPECT_THAT( place( sequence.call->place ), ElementsAre( 1, 7, 7 ) );
   EXPECT_THAT( place( sequence.continueTo->place ), ElementsAre( 1, 9, 16 ) );
}

TEST( LineLoader, setClausesAndActionsKnowWhoSaidThemLast ) {
   const PolicyText text = loaded( "route-map M permit 10\n set metric 1\n set tag  1\n set local-preference 1\n set distance 1\n"
                                   " set community 1:1\n set metric 2\n set tag 1\n no set distance 2\nroute-map M permit 10\n"
                                   "route-map M deny 10\n" );
   const auto place = []( const Place & p ) { return std::array{ p.line, p.column }; };
   const SequenceText & sequence = text.routeMaps.at( "M" ).sequences.at( 10 );
   EXPECT_THAT( place( sequence.set.find( SetKind::metric )->place ), ElementsAre( 7, 13 ) );
   EXPECT_THAT( place( sequence.set.find( SetKind::tag )->place ), ElementsAre( 3, 11 ) );
   EXPECT_THAT( place( sequence.set.find( SetKind::localPreference )->place ), ElementsAre( 4, 23 ) );
   EXPECT_THAT( place( sequence.set.find( SetKind::distance )->place ), ElementsAre( 5, 15 ) );
   EXPECT_THAT( place( sequence.set.find( SetKind::community )->place ), ElementsAre( 6, 16 ) );
   EXPECT_THAT( place( sequence.place ), ElementsAre( 1, 1 ) );
   EXPECT_THAT( place( sequence.actionPlace ), ElementsAre( 11, 1 ) );
}

TEST( LineLoader, setClausesKeepTheOrderOfTheirLines ) {
   const auto kinds = []( const char * clauses ) {
      const PolicyText text = loaded( "route-map M permit 10\n" + std::string( clauses ) );
      std::string words;
      for( const auto & clause : text.routeMaps.at( "M" ).sequences.at( 10 ).set )
         words += std::string( words.empty() ? "" : " " ).append( setForm( clause.kind ).words );
      return words;
   };
   EXPECT_EQ( kinds( " set tag 1\n set metric 1\n set community 1:1\n" ), "tag metric community" );
   EXPECT_EQ( kinds( " set tag 1\n set metric 1\n set tag 1\n" ), "tag metric" ) << "the line changes nothing";
   EXPECT_EQ( kinds( " set tag 1\n set metric 1\n set tag 2\n" ), "metric tag" ) << "another value";
   EXPECT_EQ( kinds( " set tag 1\n set metric 1\n no set tag\n set tag 1\n" ), "metric tag" );
}

// "FILE:LINE:COLUMN NAME (LINE'S TEXT)".
std::vector<std::string> applicationsOf( const PolicyText & text ) {
   std::vector<std::string> applications;
   for( const auto & a : text.applications )
      applications.push_back( text.files[ a.place.file ] + ':' + std::to_string( a.place.line ) + ':' + std::to_string( a.place.column ) +
                              ' ' + a.name + " (" + a.line + ')' );
   return applications;
}

TEST( LineLoader, whatOtherStanzasApply ) {
   LineLoader loader( Dialect::native );
   loader.load( "a.conf", kRouter );
   const std::vector<std::string> once = { "a.conf:21:31 EDGE (neighbor 10.0.0.2 route-map EDGE in)" };
   EXPECT_EQ( applicationsOf( loader.text() ), once );
   loader.load( "a.conf", kRouter );
   EXPECT_EQ( applicationsOf( loader.text() ), once );   // what is read twice is applied once
   loader.load( "b.conf", "table-map X\nroute-map M permit 10\n match ip address prefix-list A\nexit\ntable-map Y\n" );
   EXPECT_THAT( applicationsOf( loader.text() ), ElementsAre( once[ 0 ], "b.conf:1:11 X (table-map X)", "b.conf:5:11 Y (table-map Y)" ) );

   LineLoader alike( Dialect::native );   // what another file says is no repetition
   for( const auto & [ file, lines ] : { std::pair( "a", "table-map X" ), std::pair( "b", "" ), std::pair( "b", "table-map X" ) } )
      alike.load( file, lines );
   EXPECT_THAT( applicationsOf( alike.text() ), ElementsAre( "a:1:11 X (table-map X)", "b:1:11 X (table-map X)" ) );
}

TEST( LineLoader, filesWithoutALineOfAPolicy ) {
   struct Row {
      const char * name;
      std::vector<std::pair<std::string, std::string>> files;
      std::vector<uint32_t> stray;
   };
   const Row rows[] = {
      { "none", {}, {} },
      { "an empty file", { { "a", "" } }, {} },
      { "blanks and comments", { { "a", "\n  \n! set\n# so\n\t!\n" } }, {} },
      { "a line of a policy", { { "a", "hostname x\ntag-set T 5\n" } }, {} },
      { "a line that takes off", { { "a", "no tag-set T 5\n" } }, {} },
      { "an error", { { "a", "hostname x\ntag-set T x\n" } }, {} },
      { "a clause that is an error", { { "a", "route-map M permit 10\n mtach" } }, {} },
      { "another stanza", { { "a", "hostname x\n" } }, { 0 } },
      { "an indented line", { { "a", " tag-set T 5\n" } }, {} },
      { "an indented line of another stanza", { { "a", "x\n tag-set T 5\n" } }, { 0 } },
      { "a table", { { "a", "10.0.0.0/8 64500\n11.0.0.0/8 64501\n" } }, { 0 } },
      { "some of several", { { "a", "x" }, { "b", "tag-set T 5" }, { "c", "!" }, { "d", "y" } }, { 0, 3 } },
      { "one that is read twice", { { "a", "x" }, { "b", "x" }, { "a", "x" } }, { 0, 1 } },
      { "two of one name", { { "a", "x" }, { "a", "tag-set T 5" }, { "a", "y" } }, { 0, 2 } },
      { "an application is no line of a policy", { { "a", "table-map X\n" } }, { 0 } },
   };
   for( const auto & row : rows ) {
      LineLoader loader( Dialect::native );
      for( const auto & [ file, lines ] : row.files ) loader.load( file, lines );
      EXPECT_EQ( loader.text().strayFiles, row.stray ) << row.name;
   }
}

// All that there is to know of what is loaded.
std::string everything( const LineLoader & loader ) {
   const PolicyText & text = loader.text();
   std::string all = writeText( text ) + std::to_string( text.lines ) + ' ' + std::to_string( text.skippedStanzas ) + '\n';
   for( const auto & file : text.files ) all += file + '\n';
   for( const uint32_t file : text.strayFiles ) all += std::to_string( file ) + '\n';
   for( const auto & application : applicationsOf( text ) ) all += application + '\n';
   for( const auto & doubt : text.doubts ) all += std::to_string( doubt.place.line ) + ' ' + doubt.text + '\n';
   for( const auto & word : std::set<std::string>( text.otherWords.begin(), text.otherWords.end() ) ) all += word + '\n';
   for( const auto & error : errorsOf( loader ) ) all += error + '\n';
   return all;
}

TEST( LineLoader, loadingTheSameFileTwiceChangesNothing ) {
   const struct {
      const char * name;
      std::string_view lines;
   } rows[] = {
      { "nothing", "" },
      { "a router's configuration", kRouter },
      { "a line that takes the place of one without a number",
        "ip prefix-list A permit 10.0.0.0/8\nip prefix-list A seq 5 permit 20.0.0.0/8\n" },
      { "a line that is taken off", "ip prefix-list A permit any\nip prefix-list A deny any\nno ip prefix-list A permit any\n" },
      { "errors and doubts", "tag-set T x\nrout-map M\nroute-map M permit 10\n match tag 5\n match tag 6\n" },
      { "a stray file", "10.0.0.0/8\n" },
   };
   for( const auto & row : rows ) {
      LineLoader loader( Dialect::native );
      loader.load( "a.conf", row.lines );
      const std::string once = everything( loader );
      loader.load( "a.conf", row.lines );
      EXPECT_EQ( everything( loader ), once ) << row.name;
      loader.load( "b.conf", "!\n" );
      const std::string both = everything( loader );
      for( const auto & [ file, lines ] : { std::pair( "a.conf", row.lines ), std::pair( "b.conf", "!\n"sv ) } ) loader.load( file, lines );
      EXPECT_EQ( everything( loader ), both ) << row.name;
   }
}

// The second has no part in it; a third, of another name, says it again.
TEST( LineLoader, writtenLinesChangeNothingUnderAnyName ) {
   forRandomCases( 5, []( Random & random ) {
      const PolicyText text = RandomText( random ).next();
      LineLoader loader( Dialect::native );
      for( const char * file : { "a.conf", "a.conf", "b.conf" } ) loader.load( file, writeText( text ) );
      EXPECT_EQ( loader.text(), text );
      EXPECT_THAT( loader.text().files, ElementsAre( "a.conf", "b.conf" ) );
      for( const auto & doubt : loader.text().doubts ) EXPECT_EQ( doubt.kind, Doubt::Kind::netmask ) << doubt.text;
   } );
}

TEST( LineLoader, anyByteMakesAnotherFile ) {
   const std::string lines = "ip prefix-list A permit 10.0.0.0/8\nip prefix-list A deny any\n";
   LineLoader loader( Dialect::native );
   loader.load( "a.conf", lines );
   for( size_t at = 0; at < lines.size(); ++at ) {
      std::string other = lines;
      other[ at ] = '#';
      loader.load( "a.conf", other );
      EXPECT_EQ( loader.text().files.size(), at + 2 );
   }
   loader.load( "a.conf", lines + '\n' );
   loader.load( "a.conf", lines + '\0' );
   EXPECT_EQ( loader.text().files.size(), lines.size() + 3 );
}

TEST( LineLoader, wordsOfOtherStanzas ) {
   EXPECT_THAT( loaded( "! a comment\nip prefix-list LIST permit any\nroute-map M permit 10\n description of it\nexit\n"
                        "ip route 10.0.0.0/8 eth0\ninterface eth0\n no shutdown\n" +
                        std::string( 65, 'x' ) + '\n' )
                   .otherWords,
                testing::UnorderedElementsAre( "ip", "route", "10.0.0.0/8", "eth0", "interface", "no", "shutdown" ) );
}

// The same policy by lines without numbers: numbered in fives, and again nothing new the second time.
TEST( LineLoader, linesWithoutNumbersKeepTheirOrder ) {
   forRandomCases( 5, []( Random & random ) {
      std::vector<std::string> contents;
      std::string lines, canonical;
      for( auto n = below( random, 40 ); n; --n ) {
         const std::string content = ( oneIn( random, 2 ) ? "permit " : "deny " ) + std::to_string( below( random, 9 ) ) + ".0.0.0/8" +
            ( oneIn( random, 2 ) ? " le 9" : "" );
         lines += "ip prefix-list A " + content + "\n";
         if( std::find( contents.begin(), contents.end(), content ) == contents.end() ) contents.push_back( content );
      }
      for( size_t i = 0; i < contents.size(); ++i )
         canonical += "ip prefix-list A seq " + std::to_string( 5 * i + 5 ) + " " + contents[ i ] + "\n";
      EXPECT_EQ( written( lines ), canonical );
      EXPECT_EQ( written( lines + lines ), canonical );
   } );
}

// A list under random edits against one of which every look-up is a scan.
TEST( LineLoader, anEditedListIsThatOfALinearScan ) {
   forRandomCases( 5, []( Random & random ) {
      std::map<uint32_t, std::string> model;
      const auto find = [ & ]( const std::string & content ) {
         return std::find_if( model.begin(), model.end(), [ & ]( const auto & line ) { return line.second == content; } );
      };
      std::string lines;
      for( auto n = below( random, 60 ); n; --n ) {
         const std::string content = "permit " + std::to_string( 1 + below( random, 4 ) ) + ".0.0.0/8";
         const auto number = static_cast<uint32_t>( 1 + below( random, 20 ) );
         const std::string numbered = "ip prefix-list A seq " + std::to_string( number );
         switch( below( random, 5 ) ) {
            case 0:
               lines += numbered + " " + content + "\n";
               model[ number ] = content;
               break;
            case 1:
               lines += "no " + numbered + "\n";
               model.erase( number );
               break;
            case 2:
               lines += "no ip prefix-list A " + content + "\n";
               if( const auto at = find( content ); at != model.end() ) model.erase( at );
               break;
            case 3:
               lines += "no " + numbered + " " + content + "\n";
               if( const auto at = model.find( number ); at != model.end() && at->second == content ) model.erase( at );
               break;
            case 4:
               lines += "ip prefix-list A " + content + "\n";
               if( find( content ) == model.end() ) model[ ( ( model.empty() ? 0 : model.rbegin()->first ) / 5 + 1 ) * 5 ] = content;
               break;
         }
      }
      std::string canonical;
      for( const auto & [ number, content ] : model )
         canonical += "ip prefix-list A seq " + std::to_string( number ) + " " + content + "\n";
      EXPECT_EQ( written( lines ), canonical ) << lines;
   } );
}

TEST( LineLoader, prefixLinesAreJustThoseThatTheLibrarysBuilderTakes ) {
   unsigned taken = 0, refused = 0;
   forRandomCases( 50, [ & ]( Random & random ) {
      const bool v6 = oneIn( random, 3 );
      const AddressFamily af = v6 ? AddressFamily::ipv6 : AddressFamily::ipv4;
      const auto length = static_cast<uint8_t>( below( random, v6 ? 129 : 33 ) );
      Routing::RouteMap::PrefixListEntry entry;
      entry.seqno = 5;
      entry.prefix = prefixOf( af, { random() & random(), 0 }, length );
      if( oneIn( random, 2 ) ) entry.prefix = entry.prefix.subnet();
      if( oneIn( random, 2 ) ) entry.ge = static_cast<uint32_t>( below( random, v6 ? 140 : 40 ) );
      if( oneIn( random, 2 ) ) entry.le = static_cast<uint32_t>( below( random, v6 ? 140 : 40 ) );
      Routing::RouteMap::PrefixListBuilder builder( "A", af );
      const bool can = !builder.entryIs( entry );
      LineLoader loader( Dialect::native );
      const std::string line = ( v6 ? "ipv6 prefix-list A seq " : "ip prefix-list A seq " ) + std::string( entry.toStrep().view() );
      loader.load( "a.conf", line );
      EXPECT_EQ( loader.errors().empty(), can ) << line;
      ++( can ? taken : refused );
   } );
   EXPECT_GT( taken, 0u );
   EXPECT_GT( refused, 0u );
}

// Words of the language and others, at random. The result is a text and errors.
TEST( LineLoader, randomLines ) {
   const std::vector<std::string> words = { "ip",       "ipv6",        "prefix-list", "access-list", "tag-set",  "bgp",  "community-list",
                                            "as-path",  "standard",    "expanded",    "route-map",   "no",       "seq",  "permit",
                                            "deny",     "any",         "host",        "10.0.0.0/8",  "10.0.0.1", "::/0", "ge",
                                            "le",       "5",           "10",          "24",          "A",        "B",    "match",
                                            "set",      "call",        "continue",    "on-match",    "next",     "goto", "address",
                                            "next-hop", "tag",         "metric",      "community",   "64500:1",  "none", "additive",
                                            "invert",   "description", "exit",        "_1_",         "(",        "!" };
   forRandomCases( 20, [ & ]( Random & random ) {
      std::string lines;
      for( auto n = below( random, 30 ); n; --n ) {
         if( oneIn( random, 3 ) ) lines += ' ';
         for( auto m = below( random, 8 ); m; --m ) lines += anyOf( random, words ) + ( oneIn( random, 20 ) ? "\t " : " " );
         lines += '\n';
      }
      LineLoader loader( Dialect::native );
      loader.load( "a.conf", lines );
      for( const auto & error : loader.errors() ) {
         EXPECT_GE( error.place.column, 1u );
         EXPECT_LE( error.place.line, loader.text().lines );
         EXPECT_FALSE( error.reason.empty() );
      }
      EXPECT_EQ( loaded( writeText( loader.text() ) ), loader.text() ) << lines;
   } );
}

}   // namespace
}   // namespace Agent
