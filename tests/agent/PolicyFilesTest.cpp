#include "command/PolicyFiles.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>

#include "tests/agent/CommandFixture.h"

namespace Agent {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

constexpr char kPolicy[] = "route-map IN permit 10\n";
constexpr char kOther[] = "! a router without a policy\nhostname edge\ninterface eth0\n ip address 192.0.2.1/24\n";

CommandOutput loaded( std::string_view content ) {
   return outputOf( content, []( const std::string & file, Console & console ) {
      loadFiles( { file }, Dialect::native, false, console );
      return kExitOk;
   } );
}

// The policy's own messages are others' matter: it is free of errors.
CommandOutput inForce( std::string_view content, const std::function<void( const LivePolicy & )> & then ) {
   return outputOf( content, [ & ]( const std::string & file, Console & console ) {
      then( *livePolicyOf( loadFiles( { file }, Dialect::native, false, console ), console, false ) );
      return kExitOk;
   } );
}

TEST( PolicyFiles, aFileWithoutALineOfAPolicyIsRefused ) {
   const struct {
      const char * what;
      std::string_view content;
      const char * error;
   } rows[] = {
      { "another stanza", kOther, "FILE: contains no line of a policy (tables are given with --in)" },
      { "a table", "10.0.0.0/8 64500\n", "FILE: contains no line of a policy (tables are given with --in)" },
      { "any bytes", std::string_view( "\x01\x8b\x08\0\xff", 5 ), "FILE: contains no line of a policy (tables are given with --in)" },
      { "a policy", kPolicy, "" },
      { "one among other stanzas", "hostname edge\nroute-map IN permit 10\n", "" },
      { "a policy with an error, which is reported elsewhere", "route-map IN permit\n", "" },
      { "nothing", "", "" },
      { "comments", "! none yet\n\n", "" },
      { "a policy that takes all off again", "tag-set A 5\nno tag-set A\n", "" },
   };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.what );
      const auto output = loaded( row.content );
      EXPECT_EQ( output.error, row.error );
      EXPECT_EQ( output.messages, "" );
   }
}

TEST( PolicyFiles, oneOfSeveralFilesMustContainALineOfAPolicy ) {
   const auto output = []( std::string_view first, std::string_view second ) {
      const PolicyFile other( first );
      auto loaded = outputOf( second, [ & ]( const std::string & file, Console & console ) {
         loadFiles( { other.name(), file }, Dialect::native, false, console );
         return kExitOk;
      } );
      for( std::string * text : { &loaded.messages, &loaded.error } )
         for( size_t at; ( at = text->find( other.name() ) ) != std::string::npos; ) text->replace( at, other.name().size(), "OTHER" );
      return loaded;
   };
   const auto both = output( kOther, "hostname core\n" );
   EXPECT_EQ( both.error, "OTHER, FILE: contains no line of a policy (tables are given with --in)" );
   EXPECT_EQ( both.messages, "" );
   for( const std::string_view second : { kPolicy, "tag-set A 5\nno tag-set A\n", "rout-map A permit 10\ntag-set A x\n" } ) {
      const auto one = output( kOther, second );
      EXPECT_EQ( one.error, "" ) << second;
      EXPECT_EQ( one.messages, "OTHER: contains no line of a policy (tables are given with --in)\n" ) << second;
   }
}

/// A directory with files.
class Directory {
 public:
   Directory() {
      if( !::mkdtemp( path_.data() ) ) throw std::runtime_error( "mkdtemp" );
   }
   ~Directory() { std::filesystem::remove_all( path_ ); }
   const std::string & path() const { return path_; }
   void add( const std::string & name, std::string_view content ) const { std::ofstream( path_ + '/' + name ) << content; }
   // The names of the files that are read.
   std::vector<std::string> files() const {
      std::vector<std::string> names;
      for( const auto & file : policyFilesOf( { path_ } ) ) names.push_back( file == path_ ? "DIR" : file.substr( path_.size() + 1 ) );
      return names;
   }

 private:
   std::string path_ = "/tmp/policy.XXXXXX";
};

TEST( PolicyFiles, theFilesOfADirectory ) {
   const Directory directory;
   EXPECT_THAT( directory.files(), ElementsAre( "DIR" ) );   // which cannot be read
   directory.add( "zebra.conf", kOther );
   directory.add( "bgpd.conf", kPolicy );
   directory.add( "bgpd.conf.sav", "" );
   directory.add( "daemons", "bgpd=yes\n" );
   std::filesystem::create_directory( directory.path() + "/old.conf" );
   EXPECT_THAT( directory.files(), ElementsAre( "bgpd.conf", "zebra.conf" ) );
   directory.add( "frr.conf", kPolicy );
   EXPECT_THAT( directory.files(), ElementsAre( "frr.conf" ) );
   EXPECT_THAT( policyFilesOf( { "-", "edge.conf" } ), ElementsAre( "-", "edge.conf" ) );
}

TEST( PolicyFiles, aDirectoryIsOneConfiguration ) {
   const Directory directory;
   directory.add( "zebra.conf", kOther );
   directory.add( "bgpd.conf", kPolicy );
   const auto output = outputOf( "", [ & ]( const std::string &, Console & console ) {
      const LineLoader loader = loadFiles( { directory.path() }, Dialect::frr, false, console );
      EXPECT_EQ( loader.text().routeMaps.count( "IN" ), 1u );
      return kExitOk;
   } );
   EXPECT_EQ( output.error, "" );
   EXPECT_EQ( output.messages, "" );   // the file of another daemon is expected
}

TEST( PolicyFiles, aNeighborIsAPolicy ) {
   const auto read = []( Dialect dialect ) {
      return outputOf( "router bgp 65000\n neighbor 192.0.2.1 remote-as 65001\n",
                       [ & ]( const std::string & file, Console & console ) {
                          loadFiles( { file }, dialect, false, console );
                          return kExitOk;
                       } )
         .error;
   };
   EXPECT_EQ( read( Dialect::frr ), "" );
   EXPECT_EQ( read( Dialect::native ), "FILE: contains no line of a policy (tables are given with --in)" );
}

TEST( PolicyFiles, skippedLinesAreShownForAFileWithoutPolicy ) {
   const auto one = loaded( "hostname edge\nrout-map IN permit 10\n" );
   EXPECT_EQ( one.error, "FILE: contains no line of a policy (tables are given with --in)" );
   EXPECT_EQ( one.messages, "FILE:2:1: \"rout-map\" is skipped: lines of route maps begin with \"route-map\"\n" );
   std::string many;
   for( char c = 'a'; c < 'n'; ++c ) many += std::string( "route-map" ) + c + " IN permit 10\n";
   const auto cut = loaded( many );
   EXPECT_EQ( std::count( cut.messages.begin(), cut.messages.end(), '\n' ), 11 );
   EXPECT_TRUE( cut.messages.ends_with( "\nand 3 more\n" ) ) << cut.messages;
}

TEST( PolicyFiles, aFileBeyondTheLimitIsRefused ) {
   const auto read = []( std::string_view content, uint64_t limit ) {
      return outputOf( content,
                       [ & ]( const std::string & file, Console & ) {
                          EXPECT_EQ( contentOf( file, limit ), content );
                          return kExitOk;
                       } )
         .error;
   };
   const std::string large( 200'000, 'x' );
   EXPECT_EQ( read( large, large.size() ), "" );
   EXPECT_EQ( read( large, large.size() - 1 ), "FILE: longer than 199999 bytes" );
   EXPECT_EQ( read( "", 0 ), "" );
   EXPECT_EQ( read( "x", 0 ), "FILE: longer than 0 bytes" );
   try {
      contentOf( "/dev/zero", 1 << 20 );
      ADD_FAILURE() << "it has no end";
   } catch( const CommandError & e ) { EXPECT_EQ( e.message, "/dev/zero: longer than 1048576 bytes" ); }
}

TEST( PolicyFiles, skippedLinesAreCounted ) {
   const auto one = inForce( "rout-map IN permit 10\nroute-map IN permit 10\n", []( const LivePolicy & ) {} );
   EXPECT_EQ( one.messages, "1 line skipped although it looks like policy; see \"routepolicy check\"\n" );
   const auto two = inForce( "rout-map IN permit 10\nip prefixlist A permit any\nroute-map IN permit 10\n", []( const LivePolicy & ) {} );
   EXPECT_EQ( two.messages, "2 lines skipped although they look like policy; see \"routepolicy check\"\n" );
   const auto none = inForce( "hostname edge\nroute-map IN permit 10\n", []( const LivePolicy & ) {} );
   EXPECT_EQ( none.messages, "" );
}

TEST( PolicyFiles, theReasonWhyARouteMapIsNotInForce ) {
   const auto asked = []( std::string_view policy, const char * name ) {
      return inForce( policy, [ & ]( const LivePolicy & live ) { EXPECT_NE( routeMapOf( live, name ), nullptr ); } ).error;
   };
   constexpr char kRing[] = "route-map A permit 10\n call B\nroute-map B permit 10\n call A\nroute-map C permit 10\n";
   EXPECT_EQ( asked( kRing, "A" ), "route map A is not in force: its calls lead into a cycle; see \"routepolicy check\"" );
   EXPECT_EQ( asked( kRing, "C" ), "" );
   EXPECT_EQ( asked( kRing, "D" ), "unknown route map D; the policy has A, B, C" );
   EXPECT_EQ( asked( "", "D" ), "unknown route map D; the policy has none" );

   std::string deep;
   for( int i = 0; i < 1001; ++i ) deep += "route-map M" + std::to_string( i ) + " permit 10\n call M" + std::to_string( i + 1 ) + '\n';
   deep += "route-map M1001 permit 10\n";
   EXPECT_EQ( asked( deep, "M1" ), "" );
   EXPECT_EQ( asked( deep, "M0" ), "route map M0 is not in force: its calls go deeper than 1000; see \"routepolicy check\"" );
}

}   // namespace
}   // namespace Agent
