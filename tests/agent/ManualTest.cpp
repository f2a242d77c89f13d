// The man page, the operators' README and both completions match the program.
#include <gtest/gtest.h>
#include <re2/re2.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/agent/HelpText.h"
#include "tests/agent/Shell.h"

namespace Agent {
namespace {

constexpr char kManual[] = "agent/share/routepolicy.1";
constexpr char kReadme[] = "agent/README.md";
constexpr char kFrontPage[] = "README.md";

std::string contentOf( const std::string & file ) {
   std::ifstream from( file, std::ios::binary );
   EXPECT_TRUE( from ) << file << ": the working directory is to be the repository's root";
   std::ostringstream content;
   content << from.rdbuf();
   return content.str();
}

std::string replaced( std::string text, const std::string & what, const std::string & by ) {
   for( size_t at = 0; ( at = text.find( what, at ) ) != std::string::npos; at += by.size() ) text.replace( at, what.size(), by );
   return text;
}

// As a reader sees it, as far as names go: a hyphen is written with a backslash.
std::string manual() {
   return replaced( contentOf( kManual ), "\\-", "-" );
}

// `word` with nothing in front and behind that would make it another.
bool names( const std::string & text, const std::string & word ) {
   for( size_t at = text.find( word ); at != std::string::npos; at = text.find( word, at + 1 ) ) {
      const auto isPart = []( char c ) { return std::isalnum( static_cast<unsigned char>( c ) ) || c == '-'; };
      const bool begins = at == 0 || !isPart( text[ at - 1 ] );
      const size_t behind = at + word.size();
      if( begins && ( behind == text.size() || !isPart( text[ behind ] ) ) ) return true;
   }
   return false;
}

TEST( Manual, theHelpListsWhatThisGoesBy ) {
   EXPECT_EQ( commandsOfHelp().size(), 7u );
   EXPECT_TRUE( optionsOfHelp( "explain" ).contains( "--as-path" ) );
   EXPECT_TRUE( optionsOfHelp( "eval" ).contains( "-m" ) );
   EXPECT_TRUE( optionsOfHelp().contains( "--version" ) );
}

TEST( Manual, everyCommandAndEveryOptionIsNamed ) {
   const std::pair<const char *, std::string> texts[] = { { kManual, manual() },
                                                          { kReadme, contentOf( kReadme ) },
                                                          { "zsh", contentOf( "agent/share/_routepolicy" ) } };
   for( const auto & [ file, text ] : texts ) {
      for( const auto & option : optionsOfHelp() ) EXPECT_TRUE( names( text, option ) ) << file << " does not name " << option;
      for( const auto & command : commandsOfHelp() ) {
         EXPECT_TRUE( names( text, command ) ) << file << " does not name " << command;
         for( const auto & option : optionsOfHelp( command ) )
            EXPECT_TRUE( names( text, option ) ) << file << " does not name " << option << " of " << command;
      }
   }
}

TEST( Manual, noUnknownOptionIsNamed ) {
   std::set<std::string> there = optionsOfHelp();
   for( const auto & command : commandsOfHelp() ) there.merge( optionsOfHelp( command ) );
   const RE2 pattern( "(?:^|[^A-Za-z0-9-])(--[a-z][a-z-]+)" );
   for( const auto & text : { manual(), contentOf( kReadme ) } ) {
      re2::StringPiece rest( text );
      for( std::string option; RE2::FindAndConsume( &rest, pattern, &option ); ) EXPECT_TRUE( there.contains( option ) ) << option;
   }
}

/// "$ COMMAND", which stands in a README, and what stands below it.
struct Shown {
   std::string command;
   std::string output;
};

std::vector<Shown> shownIn( const std::string & file ) {
   constexpr std::string_view kPrompt = "$ ";
   std::vector<Shown> all;
   bool inText = false;   // a block of commands and what they print, or of what a file may hold
   bool belowAny = false;
   for( const auto & line : linesOf( contentOf( file ) ) ) {
      if( line.starts_with( "```" ) ) {
         inText = line == "```text";
         belowAny = false;
      } else if( inText && line.starts_with( kPrompt ) ) {
         all.push_back( { line.substr( kPrompt.size() ), "" } );
         belowAny = true;
      } else if( belowAny ) {
         all.back().output += line + '\n';
      }
   }
   return all;
}

// "..." in a line of its own stands for lines that are left out.
bool fits( std::vector<std::string> shown, const std::vector<std::string> & printed ) {
   while( !shown.empty() && shown.back().empty() ) shown.pop_back();   // a blank line parts two commands
   const auto gap = std::find( shown.begin(), shown.end(), "..." );
   if( gap == shown.end() ) return shown == printed;
   const size_t head = static_cast<size_t>( gap - shown.begin() );
   const size_t tail = shown.size() - head - 1;
   return head + tail <= printed.size() && std::equal( shown.begin(), gap, printed.begin() ) &&
      std::equal( gap + 1, shown.end(), printed.end() - static_cast<ptrdiff_t>( tail ) );
}

TEST( Manual, whatTheReadmesShowIsWhatTheProgramPrints ) {
   const std::string folder = std::filesystem::path( ROUTEPOLICY_PROGRAM ).parent_path();
   const std::pair<const char *, size_t> readmes[] = { { kReadme, 10 }, { kFrontPage, 6 } };
   for( const auto & [ file, least ] : readmes ) {
      const auto all = shownIn( file );
      EXPECT_GE( all.size(), least ) << file;
      for( const auto & shown : all ) {
         const std::string printed = outputOfShell( "PATH=" + quoted( folder ) + ":$PATH\n" + shown.command );
         EXPECT_TRUE( fits( linesOf( shown.output ), linesOf( printed ) ) ) << file << ": " << shown.command << " prints\n" << printed;
      }
   }
}

}   // namespace
}   // namespace Agent
