// The edit of a few lines, against the files read afresh.
#include "text/LineEdits.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "analysis/Analysis.h"
#include "command/RouteEvaluator.h"
#include "live/LivePolicy.h"
#include "live/ValueTests.h"
#include "tests/agent/RandomPolicy.h"
#include "tests/model/RandomCases.h"
#include "text/LineLoader.h"
#include "text/Places.h"
#include "text/TextWriter.h"

namespace Agent {
namespace {

using Files = std::vector<SourceFile>;
using Lines = std::vector<std::string>;

std::string joined( const Lines & lines ) {
   std::string text;
   for( const auto & line : lines ) text += line + '\n';
   return text;
}

LineLoader loaded( const Files & files, Dialect dialect, bool lenient = false ) {
   LineLoader loader( dialect, lenient );
   for( const auto & file : files ) loader.load( file.name, file.bytes );
   return loader;
}

/// Everything in a text, with all places, and what an operator sees of it.
std::string dumpOf( PolicyText text ) {
   std::string dump = writeText( text );
   const auto add = [ & ]( const auto & lists ) {
      for( const auto & [ name, list ] : lists ) dump += fmt::format( "{} {} {}\n", name, list.description, list.anyOrder.value );
   };
   add( text.ipv4PrefixLists );
   add( text.ipv6PrefixLists );
   add( text.communityLists );
   add( text.largeCommunityLists );
   add( text.extCommunityLists );
   add( text.asPathLists );
   for( const auto & finding : findingsOf( text, References( text ) ) )
      dump += fmt::format( "{}: {}: {}\n", placeText( text, finding.place ), nameOf( finding.kind ), finding.text );
   for( const auto & [ vrf, router ] : text.routers )
      for( const auto & [ name, neighbor ] : router.neighbors )
         for( const auto & family : neighbor.families ) dump += fmt::format( "{} {}\n", name, family.filters[ 0 ].prefixList );
   for( const auto & application : text.applications ) dump += application.line + '\n';
   for( const auto & doubt : text.doubts ) dump += doubt.text + '\n';
   for( const auto & line : text.leftOut ) dump += line.error.reason + '\n';
   for( const uint32_t file : text.strayFiles ) dump += fmt::format( "stray {}\n", file );
   std::vector<std::string> words( text.otherWords.begin(), text.otherWords.end() );
   std::ranges::sort( words );
   dump += fmt::format( "{} lines, {} stanzas, {} words {}\n", text.lines, text.skippedStanzas, words.size(), joined( words ) );
   forEachPlace( text, [ & ]( const Place & place ) { dump += fmt::format( "{}:{}:{} ", place.file, place.line, place.column ); } );
   return dump;
}

/// Files of simple lines and of all others that may stand between these.
class RandomFiles {
 public:
   RandomFiles( Random & random, Dialect dialect ) : random_( random ), dialect_( dialect ) {
      for( auto n = 1 + below( random_, 2 ); n; --n ) {
         auto & lines = lines_.emplace_back();
         for( auto m = 5 + below( random_, 30 ); m; --m ) lines.push_back( line( 20 ) );
         if( oneIn( random_, 2 ) ) addRun( lines );
      }
   }
   Files files() const {
      Files files;
      for( size_t i = 0; i < lines_.size(); ++i ) files.push_back( { fmt::format( "f{}", i ), joined( lines_[ i ] ) } );
      if( !hasLastEnd_ && !files.back().bytes.empty() ) files.back().bytes.pop_back();
      return files;
   }
   void edit() {
      const uint64_t oddOneIn = oneIn( random_, 3 ) ? 4 : 60;
      for( auto n = 1 + below( random_, 3 ); n; --n ) {
         Lines & lines = lines_[ below( random_, lines_.size() ) ];
         const size_t at = below( random_, lines.size() + 1 ), from = below( random_, lines.size() + 1 );
         const auto place = lines.begin() + static_cast<std::ptrdiff_t>( at );
         if( oneIn( random_, 3 ) || at == lines.size() ) {
            lines.insert( place, oneIn( random_, 8 ) && from < lines.size() ? lines[ from ] : line( oddOneIn ) );
         } else if( oneIn( random_, 3 ) ) {
            lines.erase( place );
         } else if( from < lines.size() && oneIn( random_, 6 ) ) {
            std::swap( lines[ from ], lines[ at ] );
         } else {
            *place = line( oddOneIn );
         }
      }
      if( oneIn( random_, 20 ) ) hasLastEnd_ = !hasLastEnd_;
   }

 private:
   std::string anyWord( const std::vector<std::string> & row ) { return anyOf( random_, row ); }
   std::string prefix( bool ipv4 ) {
      if( !ipv4 ) return fmt::format( "2001:db8:{}::/{}", below( random_, 30 ), 48 + below( random_, 4 ) );
      return fmt::format( "10.{}.0.0/{}{}", below( random_, 60 ), 16 + below( random_, 2 ), oneIn( random_, 4 ) ? " le 24" : "" );
   }
   std::string number() { return std::to_string( below( random_, 60 ) ); }
   std::string word() { return anyWord( { "_", "^" } ) + number() + anyWord( { "_", "$", "" } ); }
   struct Words {
      std::string list;      // "ip prefix-list A"
      std::string content;   // "10.0.0.0/8"
   };
   Words words() {
      const bool isFrr = dialect_ == Dialect::frr;
      switch( below( random_, isFrr ? 10 : 8 ) ) {
         case 0:
         case 1: return { "ipv6 prefix-list " + anyWord( { "A", "B" } ), prefix( false ) };
         case 2: return { "bgp community-list standard " + anyWord( { "A", "C" } ), "1:" + number() + anyWord( { "", " 2:1" } ) };
         case 3: return { "bgp community-list expanded E", word() };
         case 4:
            return { anyWord( { "bgp as-path access-list P", isFrr ? "ip as-path access-list P" : "bgp as-path access-list P" } ), word() };
         case 8: return { "bgp large-community-list standard " + anyWord( { "A", "C" } ), "1:2:" + number() };
         case 9:
            return anyOf( random_,
                          std::vector<Words>{ { "bgp extcommunity-list standard C", "rt 1:" + number() },
                                              { "bgp community-list 7", "7:" + number() },
                                              { "ip community-list standard C", "1:" + number() } } );
         default: return { "ip prefix-list " + anyWord( { "A", "B" } ), prefix( true ) };
      }
   }
   // Neighboring lines of one list, often each with another number and content than all others.
   void addRun( Lines & lines ) {
      const std::string list = words().list;
      const bool isExpression = list.ends_with( " E" ) || list.ends_with( " P" );
      const uint64_t first = 1000 * ( 1 + below( random_, 3 ) );
      Lines run;
      for( uint64_t n = 0; n < 3 + below( random_, 20 ); ++n ) {
         std::string content = fmt::format( "9:{}", n );
         if( list.starts_with( "ip prefix-list" ) ) content = fmt::format( "11.{}.0.0/16", n );
         if( list.starts_with( "ipv6" ) ) content = fmt::format( "2001:db8:f{:02}::/48", n );
         if( list.starts_with( "bgp large" ) ) content += ":9";
         if( list.starts_with( "bgp ext" ) ) content = "rt " + content;
         if( isExpression ) content = fmt::format( "_9{}_", n );
         run.push_back( fmt::format( "{} seq {} permit {}", list, first + n, content ) );
      }
      lines.insert( lines.begin() + static_cast<std::ptrdiff_t>( below( random_, lines.size() + 1 ) ), run.begin(), run.end() );
   }
   // One in `oddOneIn` is not simple.
   std::string line( uint64_t oddOneIn ) {
      const auto [ list, value ] = words();
      const std::string seq = fmt::format( " seq {}", 1 + below( random_, 400 ) );
      const std::string content = anyWord( { " permit ", " deny " } ) + value;
      if( !oneIn( random_, oddOneIn ) ) return list + seq + content;
      switch( below( random_, 24 ) ) {
         case 0: return list + content;
         case 1: return "no " + list + anyWord( { "", seq, seq + content, content } );
         case 2: return list + " description " + anyWord( { "one", "two" } );
         case 3: return "no " + list + " description";
         case 4: return " " + list + seq + content;
         case 5: return list + seq + " permit 10.0.0.1/8";
         case 6: return dialect_ == Dialect::frr ? list + seq + " permit any" : "";
         case 7: return "!";
         case 8: return "! routepolicy: ignore shadowed";
         case 9: return "route-map M permit 10";
         case 10:
            return fmt::format( "route-map {} {} {}", anyWord( { "M", "N" } ), anyWord( { "permit", "deny" } ),
                                10 * ( 1 + below( random_, 3 ) ) );
         case 11: return " match ip address prefix-list " + anyWord( { "A", "B" } );
         case 12: return " match ipv6 address prefix-list " + anyWord( { "A", "B" } );
         case 13: return " set metric 5";
         case 14: return dialect_ == Dialect::frr ? " match probability 5" : " call N";
         case 15:
            return anyWord( { "router bgp 1", " neighbor 192.0.2.1 prefix-list A in", " neighbor 192.0.2.1 remote-as 2", "hostname x" } );
         case 16: return anyWord( { "end", "exit", "configure terminal", "ip prefixlist A permit 10.0.0.0/8" } );
         case 17: return "access-list 1 permit 10.0.0.0 0.255.255.255";
         case 18: return anyWord( { "", list, list + seq, "\t" + list + seq + content + "\r", list + seq + content + " bogus" } );
         case 19: return " match community " + anyWord( { "A", "C", "E" } );
         case 20: return " match as-path P";
         case 21:
            if( dialect_ != Dialect::frr ) return "";
            return anyWord( { " set comm-list A delete", " set comm-list C delete", " set comm-list E delete",
                              " set large-comm-list C delete", " set extended-comm-list C delete",
                              " set as-path exclude as-path-access-list P" } );
         case 22: return "bgp community-list expanded C" + seq + " permit 1:1";   // the kind of another list
         default: return list + seq + content + "\r";
      }
   }

   Random & random_;
   const Dialect dialect_;
   std::vector<Lines> lines_;
   bool hasLastEnd_ = true;
};

void expectSameRouteMap( const std::string & name, const LivePolicy & a, const LivePolicy & b, Dialect dialect ) {
   ASSERT_EQ( bool( a.routeMap( name ) ), bool( b.routeMap( name ) ) ) << name;
   if( !a.routeMap( name ) ) return;
   const RouteEvaluator evaluatorA( a.routeMap( name ), dialect ), evaluatorB( b.routeMap( name ), dialect );
   for( uint32_t i = 0; i < 60; ++i ) {
      TableRoute route;
      route.prefix = Ferule::IpGenPrefix( fmt::format( "10.{}.0.0/{}", i, 16 + i % 3 ) );
      route.communities = { 1 << 16 | i, 2 << 16 | 1 };
      route.largeCommunities = { { 1, 2, i } };
      route.extCommunities = { *extCommunityOf( "rt", fmt::format( "1:{}", i ) ) };
      route.asPath = fmt::format( "{} {}", i, i / 2 );
      const auto answerOf = [ & ]( const RouteEvaluator & evaluator ) {
         RouteAnswer answer;
         try {
            evaluator.evaluate( route, answer );
         } catch( const Unanswered & e ) { return std::pair( std::string( e.what() ), TableRoute() ); }
         return std::pair( fmt::format( "{} {}", answer.permitted, fmt::join( answer.sequences, " " ) ), answer.result.route );
      };
      ASSERT_EQ( answerOf( evaluatorA ), answerOf( evaluatorB ) );
   }
}

struct Counts {
   size_t edits = 0;
   size_t reads = 0;   // without large lists
   size_t loads = 0;
};

// `edited` takes edits where it can, `whole` each text.
void follow( Random & random, Dialect dialect, bool lenient, Counts & counts ) {
   RandomFiles files( random, dialect );
   LivePolicy edited( dialect ), whole( dialect );
   std::optional<LineEdits> lines;
   const size_t leastRun = 2 + below( random, 4 );
   for( int step = 0; step < 40; ++step, files.edit() ) {
      const LineLoader fresh = loaded( files.files(), dialect, lenient );
      const auto edit = lines ? lines->editTo( edited.text(), files.files() ) : std::nullopt;
      if( !fresh.errors().empty() ) {
         ASSERT_FALSE( edit ) << joined( { files.files()[ 0 ].bytes } );
         continue;
      }
      const ApplyReport expected = whole.apply( fresh.text() );
      const ApplyReport report = edit ? edited.applyEdit( *edit ) : edited.apply( fresh.text() );
      if( edit )
         lines->filesAre( *edit, files.files() );
      else
         lines.emplace( edited.text(), files.files(), lenient, leastRun );
      ++( !edit ? counts.loads : edit->read ? counts.reads : counts.edits );
      ASSERT_EQ( dumpOf( edited.text() ), dumpOf( fresh.text() ) ) << files.files()[ 0 ].bytes;
      ASSERT_TRUE( edited.text() == fresh.text() );
      ASSERT_EQ( report.edits, expected.edits );
      ASSERT_EQ( report.republished, expected.republished );
      for( const char * name : { "M", "N" } ) expectSameRouteMap( name, edited, whole, dialect );
      ASSERT_TRUE( edited.verify().empty() );
   }
}

TEST( LineEditsModel, anEditEndsWhereTheFilesReadAfreshDo ) {
   Counts counts;
   forRandomCases(
      2, [ & ]( Random & random ) { follow( random, oneIn( random, 2 ) ? Dialect::frr : Dialect::native, oneIn( random, 2 ), counts ); } );
   EXPECT_GT( counts.edits, counts.loads / 10 );
   EXPECT_GT( counts.reads, counts.loads / 10 );
}

// ---- what is an edit

struct EditCase {
   const char * what;
   std::vector<std::string> before;
   std::vector<std::string> after;
   bool isEdit = true;
};

void expectEdit( const EditCase & c, Dialect dialect, bool lenient = false ) {
   SCOPED_TRACE( c.what );
   const Files before{ { "f", joined( c.before ) } }, after{ { "f", joined( c.after ) } };
   PolicyText text = loaded( before, dialect, lenient ).takeText();
   const auto edit = LineEdits( text, before ).editTo( text, after );
   ASSERT_EQ( edit.has_value(), c.isEdit );
   if( !edit ) return;
   apply( *edit, text );
   EXPECT_EQ( dumpOf( text ), dumpOf( loaded( after, dialect, lenient ).takeText() ) );
}

constexpr char k4[] = "ip prefix-list A seq 4 permit 10.4.0.0/16";
constexpr char k5[] = "ip prefix-list A seq 5 permit 10.5.0.0/16";
constexpr char k6[] = "ip prefix-list A seq 6 permit 10.6.0.0/16";
constexpr char k7[] = "ip prefix-list A seq 7 permit 10.7.0.0/16";
constexpr char k7b[] = "ip prefix-list A seq 7 deny 10.77.0.0/16";
constexpr char kB[] = "ip prefix-list B seq 7 permit 10.7.0.0/16";
constexpr char kOne[] = "ip prefix-list A description one";
constexpr char kTwo[] = "ip prefix-list A description two";
constexpr char kMap[] = "route-map M permit 10";
constexpr char kMatch[] = " match ip address prefix-list A";

TEST( LineEdits, simpleLinesAreAnEdit ) {
   const EditCase cases[] = {
      { "nothing", { k5, k6 }, { k5, k6 } },
      { "a line", { k5, k7, kMap, kMatch }, { k5, k7b, kMap, kMatch } },
      { "the first line", { k7, k6, kMap }, { k7b, k6, kMap } },
      { "added", { k5, kMap, kMatch }, { k5, k7, kMap, kMatch } },
      { "removed", { k5, k7, k6, kMap, kMatch }, { k5, k6, kMap, kMatch } },
      { "moved", { k5, k6, k7, kMap }, { k5, k7, k6, kMap } },
      { "another list", { k5, k7, kB }, { k5, k7, "ip prefix-list B seq 7 deny 10.7.0.0/16" } },
      { "in two places", { k5, kMap, k6, kMap, k7 }, { "ip prefix-list A seq 5 deny 10.1.0.0/16", kMap, k6, kMap, k7b } },
      { "behind a route map", { k5, kMap, kMatch, k7 }, { k5, kMap, kMatch, k7b } },
      { "below a comment", { k6, "! routepolicy: ignore shadowed", k5 }, { k6, "! routepolicy: ignore shadowed", k7 } },
      { "behind a byte order mark", { "\xef\xbb\xbf" + std::string( k5 ), k6 }, { "\xef\xbb\xbf" + std::string( k5 ), k7 } },
      { "two contents exchanged",
        { k5, k6, k7 },
        { k5, "ip prefix-list A seq 6 permit 10.7.0.0/16", "ip prefix-list A seq 7 permit 10.6.0.0/16" } },
   };
   for( const auto & c : cases )
      for( const auto dialect : { Dialect::frr, Dialect::native } ) expectEdit( c, dialect );
}

TEST( LineEdits, linesOfCommunityAndAsPathListsAreAnEditToo ) {
   const char * const kLists[][ 2 ] = { { "bgp community-list standard C", "1:" },
                                        { "bgp community-list expanded C", "_1:" },
                                        { "bgp as-path access-list C", "_65" },
                                        { "bgp large-community-list standard C", "1:1:" },
                                        { "bgp extcommunity-list standard C", "rt 1:" },
                                        { "ip community-list 5", "1:" },
                                        { "ip as-path access-list C", "^" } };
   for( const auto & [ list, content ] : kLists ) {
      const auto line = [ list = list, content = content ]( int number, int value ) {
         return fmt::format( "{} seq {} permit {}{}", list, number, content, value );
      };
      const EditCase edit{ list, { line( 5, 5 ), line( 7, 7 ), kMap }, { line( 5, 5 ), line( 7, 8 ), line( 9, 7 ), kMap } };
      expectEdit( edit, Dialect::frr );
      const EditCase twice{ list, { line( 5, 5 ), line( 7, 7 ) }, { line( 5, 5 ), line( 7, 5 ) }, false };
      expectEdit( twice, Dialect::frr );
      const EditCase unnumbered{ list, { line( 5, 5 ), k5 }, { line( 5, 5 ), fmt::format( "{} permit {}8", list, content ), k5 }, false };
      expectEdit( unnumbered, Dialect::frr );
   }
}

// With contents that differ in a bit, and are elsewhere in the list with the other action.
TEST( LineEdits, anotherActionIsAnEdit ) {
   std::pair<std::string, Lines> lists[] = { { "bgp community-list standard C", { "1:2", "1:3" } },
                                             { "bgp community-list expanded C", { "_2_", "_3_" } },
                                             { "bgp large-community-list standard C", { "2:1:1", "3:1:1" } },
                                             { "bgp extcommunity-list standard C", { "rt 1:2", "rt 1:3" } },
                                             { "bgp as-path access-list C", { "_2_", "_3_" } },
                                             { "ip prefix-list C", {} },
                                             { "ipv6 prefix-list C", {} } };
   for( int i = 0; i < 16; ++i ) {
      lists[ 5 ].second.push_back( fmt::format( "10.{}.0.0/16 ge {}", i / 2, 18 + i % 2 ) );
      lists[ 6 ].second.push_back( fmt::format( "2001:db8:{}::/48 ge {}", i / 2, 50 + i % 2 ) );
   }
   for( const auto & [ list, contents ] : lists ) {
      const auto lines = [ &list = list, &contents = contents ]( size_t denied ) {
         Lines lines;
         for( size_t i = 0; i < contents.size(); ++i )
            lines.push_back( fmt::format( "{} seq {} {} {}", list, 5 * ( i + 1 ), i == denied ? "deny" : "permit", contents[ i ] ) );
         return lines;
      };
      for( size_t i = 0; i < contents.size(); ++i ) {
         expectEdit( { list.c_str(), lines( contents.size() ), lines( i ) }, Dialect::frr );
         expectEdit( { list.c_str(), lines( i ), lines( contents.size() ) }, Dialect::frr );
      }
   }
}

TEST( LineEdits, setClausesHaveTheEditedList ) {
   TableRoute route;
   route.communities = { 1 << 16 | 5, 1 << 16 | 6 };
   route.largeCommunities = { { 1, 1, 5 }, { 1, 1, 6 } };
   route.extCommunities = { *extCommunityOf( "rt", "1:5" ), *extCommunityOf( "rt", "1:6" ) };
   route.asPath = "5 6";
   const struct {
      const char * list;
      const char * content;
      const char * clause;
      void ( *change )( TableRoute & );   // what the clause does, with the edited list
   } rows[] = {
      { "bgp community-list standard C", "1:", " set comm-list C delete", []( TableRoute & r ) { r.communities.pop_back(); } },
      { "bgp large-community-list standard C", "1:1:", " set large-comm-list C delete",
        []( TableRoute & r ) { r.largeCommunities.pop_back(); } },
      { "bgp extcommunity-list standard C", "rt 1:", " set extended-comm-list C delete",
        []( TableRoute & r ) { r.extCommunities.pop_back(); } },
      { "bgp as-path access-list C", "^", " set as-path exclude as-path-access-list C", []( TableRoute & r ) { r.asPath = "5"; } },
   };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.list );
      const auto files = [ & ]( const char * value ) {
         return Files{ { "f", joined( { fmt::format( "{} seq 5 permit {}{}", row.list, row.content, value ), kMap, row.clause } ) } };
      };
      LivePolicy policy( Dialect::frr );
      policy.apply( loaded( files( "5" ), Dialect::frr ).takeText() );
      const auto edit = LineEdits( policy.text(), files( "5" ) ).editTo( policy.text(), files( "6" ) );
      ASSERT_TRUE( edit );
      policy.applyEdit( *edit );
      TableRoute expected = route;
      row.change( expected );
      RouteAnswer answer;
      RouteEvaluator( policy.routeMap( "M" ), Dialect::frr ).evaluate( route, answer );
      EXPECT_EQ( answer.result.route, expected );
   }
}

TEST( LineEdits, aListThatKeepsItsKindIsEdited ) {
   constexpr char kStandard[] = "bgp community-list standard C seq 5 permit 1:5",
                  kOther[] = "bgp community-list standard C seq 6 permit 1:6";
   constexpr char kExpanded[] = "bgp community-list expanded C seq 6 permit 1:6";
   for( const auto dialect : { Dialect::frr, Dialect::native } ) {
      expectEdit( { "the only line", { k5, kOther }, { k5, kExpanded }, false }, dialect );
      expectEdit( { "one of two", { kStandard, kOther }, { kStandard, kExpanded }, false }, dialect );
      expectEdit( { "one more", { k5, kStandard }, { k5, kExpanded, kStandard }, false }, dialect );
   }
}

TEST( LineEdits, otherLinesAreLoaded ) {
   const EditCase cases[] = {
      { "a new list", { k5 }, { k5, kB }, false },
      { "the last line of a list", { k5, kB }, { k5 }, false },
      { "without a number", { k5, k6 }, { k5, "ip prefix-list A permit 10.9.0.0/16" }, false },
      { "a list with a line without a number",
        { k5, "ip prefix-list A permit 10.9.0.0/16" },
        { k6, "ip prefix-list A permit 10.9.0.0/16" },
        false },
      { "a number that exists", { k5, k6 }, { k5, k6, "ip prefix-list A seq 5 deny 10.9.0.0/16" }, false },
      { "a number that a line of another place has", { k5, k6, k7 }, { k5, k7b, k7 }, false },
      { "a list with a line twice", { k5, k5, k6 }, { k5, k5, k7 }, false },
      { "a list with a removed line", { k5, k6, "no ip prefix-list A seq 5" }, { k5, k7, "no ip prefix-list A seq 5" }, false },
      { "above the removal of a list", { kB, "no ip prefix-list A", k5 }, { kB, k7, "no ip prefix-list A", k5 }, false },
      { "indented", { k5, k6 }, { k5, " ip prefix-list A seq 7 permit 10.7.0.0/16" }, false },
      { "a clause", { k5, kMap, kMatch }, { k5, kMap, " match ip address prefix-list B" }, false },
      { "inside a sequence", { k5, kMap, " set metric 5" }, { k5, kMap, k6, " set metric 5" }, false },
      { "wrong", { k5, k6 }, { k5, "ip prefix-list A seq 7 permit 10.7.0.0/99" }, false },
      { "a number twice, in two places", { k4, k5, kMap, k6, kMap }, { k4, k7, kMap, k7b, kMap }, false },
      { "a line with a byte order mark", { "\xef\xbb\xbf" + std::string( k5 ), k6 }, { "\xef\xbb\xbf" + std::string( k7 ), k6 }, false },
      { "below a line with a byte order mark", { "\xef\xbb\xbf" + std::string( k5 ) }, { "\xef\xbb\xbf" + std::string( k5 ), k7 }, false },
      { "below a skipped line", { k5, "ip prefixlist", k6 }, { k5, "ip prefixlist", k7, k6 }, false },
      { "all lines of a list with a description", { kOne, k5, kMap }, { kOne, kMap }, false },
      { "the first line of a list with a description", { kOne, kB, kMap }, { kOne, kB, k5, kMap }, false },
   };
   for( const auto & c : cases )
      for( const auto dialect : { Dialect::frr, Dialect::native } ) expectEdit( c, dialect );
}

Lines numberedLines( uint32_t count, const char * action ) {
   Lines lines;
   for( uint32_t n = 0; n < count; ++n )
      lines.push_back( fmt::format( "ip prefix-list A seq {} {} 10.{}.{}.0/24", 100'000 + n, action, n / 256, n % 256 ) );
   return lines;
}

TEST( LineEdits, manyLinesAreAnEditButNotAllOfALongFile ) {
   const auto expect = [ & ]( const char * what, uint32_t count, const std::vector<const char *> & end, bool isEdit ) {
      EditCase c{ what, numberedLines( count, "permit" ), numberedLines( count, "deny" ), isEdit };
      for( auto * lines : { &c.before, &c.after } ) lines->insert( lines->end(), end.begin(), end.end() );
      c.before.emplace_back( k5 );
      c.after.emplace_back( k7 );
      expectEdit( c, Dialect::native );
   };
   expect( "one hunk", 100, {}, true );
   expect( "an equal line behind many others", 100, { k6 }, true );
   expect( "an equal line behind many others, which is not simple", 100, { kMap }, false );
   expect( "more than a megabyte", 12'000, {}, false );
}

// ---- what is read without a large list

struct ReadCase {
   const char * what;
   Lines above{};    // the list
   Lines below{};    // it
   Lines within{};   // in its middle
   size_t unread = 99;
};

Lines fileOf( const ReadCase & c ) {
   Lines lines = c.above;
   const Lines list = numberedLines( 100, "permit" );
   lines.insert( lines.end(), list.begin(), list.end() );
   lines.insert( lines.end() - 50, c.within.begin(), c.within.end() );
   lines.insert( lines.end(), c.below.begin(), c.below.end() );
   return lines;
}

// From a file with the list alone, and back. `unread`: 0 if all is read.
void expectRead( const ReadCase & c, Dialect dialect, bool lenient = false ) {
   SCOPED_TRACE( c.what );
   const Files files[] = { { { "f", joined( fileOf( { "alone", { k5, kMap }, { kMap, kMatch } } ) ) } },
                           { { "f", joined( fileOf( c ) ) } } };
   PolicyText text = loaded( files[ 0 ], dialect, lenient ).takeText();
   LineEdits edits( text, files[ 0 ], lenient, 20 );
   for( const Files & next : { files[ 1 ], files[ 0 ] } ) {
      const auto edit = edits.editTo( text, next );
      ASSERT_EQ( edit && edit->read, c.unread != 0 );
      if( c.unread == 0 ) return;
      const size_t unread = edit->ipv4PrefixLists.at( "A" ).unread;
      const bool isBack = next.front().bytes == files[ 0 ].front().bytes;
      EXPECT_TRUE( unread == c.unread || ( isBack && unread == 98 ) ) << unread;   // a line below "end" has a doubt
      edits.filesAre( *edit, next );
      apply( *edit, text );
      EXPECT_EQ( dumpOf( text ), dumpOf( loaded( next, dialect, lenient ).takeText() ) );
   }
}

constexpr char kNumberless[] = "ip prefix-list A permit 10.200.0.0/16";
constexpr char kNumbered[] = "ip prefix-list A seq 8 permit 10.201.0.0/16";

TEST( LineEdits, aLargeListIsNotReadAgain ) {
   const ReadCase cases[] = {
      { "a clause", { k5, kMap }, { kMap, kMatch, " set metric 5" } },
      { "a comment above", { "! a", k5, kMap }, { kMap, kMatch } },
      { "a comment within", { k5, kMap }, { kMap, kMatch }, { "!" }, 98 },
      { "a new list", { kB, k5, kMap }, { kMap, kMatch } },
      { "a description", { kOne, k5, kMap }, { kTwo, kMap, kMatch } },
      { "a line of the list, too", { k5, kMap }, { kMap, " set metric 5", kNumbered } },
      { "a line of the list less", { "!" }, { kMap, kMatch } },
      { "a stanza that the list ends", { k5, "router bgp 1" }, { " neighbor 192.0.2.1 prefix-list A in", kMap } },
      { "a sequence in the list", { k5 }, { kMap }, { kMap, kMatch }, 98 },
      { "\"end\"", { k5, "end" }, { kMap } },
   };
   for( const auto & c : cases )
      for( const auto dialect : { Dialect::frr, Dialect::native } ) expectRead( c, dialect );
}

TEST( LineEdits, aLargeListIsReadIfTheOrderOfItsLinesMatters ) {
   const ReadCase cases[] = {
      { "a line without a number", { k5 }, { kNumberless, kMap }, {}, 0 },
      { "a removal above", { "no ip prefix-list A", k5 }, { kMap }, {}, 0 },
      { "a removal below", { k5 }, { kMap, "no ip prefix-list A seq 100003" }, {}, 0 },
      { "a number of the list", { k5 }, { kMap, "ip prefix-list A seq 100003 permit 10.9.0.0/16" }, {}, 0 },
      { "a line of the list once more", { k5 }, { kMap, "ip prefix-list A seq 100003 permit 10.0.3.0/24" }, {}, 0 },
      { "wrong", { k5 }, { kMap, " set metric x" }, {}, 0 },
   };
   for( const auto & c : cases )
      for( const auto dialect : { Dialect::frr, Dialect::native } ) expectRead( c, dialect );
   const ReadCase content{ "a content of the list", { k5 }, { kMap, "ip prefix-list A seq 7 permit 10.0.3.0/24" }, {}, 0 };
   expectRead( content, Dialect::frr );
   const ReadCase left{ "a line that is left out", { k5 }, { kMap, " set metric x" } };
   expectRead( left, Dialect::frr, true );
}

TEST( LineEdits, aLineWithADoubtIsReadAgain ) {
   Lines before = numberedLines( 60, "permit" );
   before[ 30 ] = "ip prefix-list A seq 100030 permit 10.0.30.1/24";
   Lines after = before;
   after.emplace_back( kMap );
   const Files files{ { "f", joined( before ) } }, next{ { "f", joined( after ) } };
   PolicyText text = loaded( files, Dialect::frr ).takeText();
   const auto edit = LineEdits( text, files, false, 20 ).editTo( text, next );
   ASSERT_TRUE( edit && edit->read );
   EXPECT_EQ( edit->ipv4PrefixLists.at( "A" ).unread, 57 );   // without the first line of each part, and the line itself
   apply( *edit, text );
   EXPECT_EQ( dumpOf( text ), dumpOf( loaded( next, Dialect::frr ).takeText() ) );
}

TEST( LineEdits, theNativeDialectKeepsDescriptionsAboveTheFirstLine ) {
   EditCase c{ "among descriptions", { kOne, kB, kTwo, k5 }, { kOne, kB, k7, kTwo, k5 }, false };
   expectEdit( c, Dialect::native );
   c.isEdit = true;
   expectEdit( c, Dialect::frr );
}

TEST( LineEdits, aLineBelowAWrongOneIsLoaded ) {
   const std::string wrong = std::string( k6 ) + " bogus", neighbor = " neighbor 192.0.2.1 prefix-list A in";
   const EditCase c{ "it ends the stanza", { k5, "router bgp 1", wrong, neighbor }, { k5, "router bgp 1", wrong, k7, neighbor }, false };
   expectEdit( c, Dialect::frr, true );
}

TEST( LineEdits, aLineBelowOneOfTheWrongKindIsLoaded ) {
   constexpr char kStandard[] = "bgp community-list standard C seq 5 permit 1:1";
   constexpr char kExpanded[] = "bgp community-list expanded C seq 6 permit _2_";   // of a list that is standard
   const Lines above{ kStandard, k5, "router bgp 1", " neighbor 192.0.2.1 remote-as 2" };
   const auto with = [ & ]( Lines lines ) {
      lines.insert( lines.begin(), above.begin(), above.end() );
      lines.emplace_back( " neighbor 192.0.2.1 prefix-list A in" );
      return lines;
   };
   expectEdit( { "below a line that is left out", with( { kExpanded } ), with( { kExpanded, k7 } ), false }, Dialect::frr, true );
   expectEdit( { "below another", with( { kExpanded, k6 } ), with( { kExpanded, k6, k7 } ) }, Dialect::frr, true );
   expectEdit( { "in place of it", with( { kExpanded } ), with( { k7 } ), false }, Dialect::frr, true );
}

// Which number a line without one gets, and whether there is one, depends on all lines of its list.
TEST( LineEdits, aListWithALineThatFoundNoNumberIsLoaded ) {
   constexpr char kNoNumber[] = "ip prefix-list A permit 10.7.0.0/16";
   expectEdit( { "a number becomes free",
                 { k5, "ip prefix-list A seq 4294967295 permit 10.6.0.0/16", kNoNumber },
                 { k5, "ip prefix-list A seq 10 permit 10.6.0.0/16", kNoNumber },
                 false },
               Dialect::frr, true );
}

TEST( LineEdits, aLineThatWasRemovedMayComeBack ) {
   const Files with{ { "f", joined( { k5, k6, k7 } ) } }, without{ { "f", joined( { k5, k7 } ) } };
   PolicyText text = loaded( with, Dialect::frr ).takeText();
   LineEdits edits( text, with );
   for( const Files * next : { &without, &with, &without } ) {
      const auto edit = edits.editTo( text, *next );
      ASSERT_TRUE( edit );
      apply( *edit, text );
      edits.filesAre( *edit, *next );
   }
   EXPECT_EQ( dumpOf( text ), dumpOf( loaded( without, Dialect::frr ).takeText() ) );
}

TEST( LineEdits, frrRefusesTheSameContentUnderAnotherNumber ) {
   const EditCase twice{ "the content of line 6", { k5, k6 }, { k5, k6, "ip prefix-list A seq 9 permit 10.5.0.0/16" }, false };
   expectEdit( twice, Dialect::frr );
   EditCase allowed = twice;
   allowed.isEdit = true;
   expectEdit( allowed, Dialect::native );
}

TEST( LineEdits, theFilesMustBeTheSame ) {
   const Files files{ { "a", std::string( k5 ) + "\n" }, { "b", std::string( kMap ) + "\n" } };
   const PolicyText text = loaded( files, Dialect::frr ).takeText();
   const LineEdits edits( text, files );
   EXPECT_TRUE( edits.editTo( text, files ) );
   EXPECT_FALSE( edits.editTo( text, { files[ 0 ] } ) );
   EXPECT_FALSE( edits.editTo( text, { files[ 1 ], files[ 0 ] } ) );
   const Files twice{ files[ 0 ], files[ 0 ] };
   const PolicyText once = loaded( twice, Dialect::frr ).takeText();
   EXPECT_FALSE( LineEdits( once, twice ).editTo( once, twice ) ) << "the second is not read";
}

}   // namespace
}   // namespace Agent
