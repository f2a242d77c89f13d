/// @file tests/agent/Golden.h
/// Compares texts that people read with the files in tests/agent/golden, so that each wording stands in one place. A file consists of named
/// cases. A case holds a text, or an input with its output:
///
///    === an undefined list
///    route-map A permit 10
///     match ip address prefix-list P
///    ---
///    p:2:31: undefined: A 10 matches ip address prefix-list P: ip prefix-list P is undefined
///
/// or a transcript, in which each line "| INPUT" is followed by its output.
/// ROUTEPOLICY_UPDATE_GOLDEN=1 in the environment rewrites the outputs instead of comparing them; review the change with `git diff`.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace Agent {

/// One file of cases. Threading: one thread; tests that write one file do not run at the same time.
class GoldenFile {
 public:
   struct Case {
      std::string name;
      std::optional<std::string> input;
      std::string output;
   };

   explicit GoldenFile( const std::string & name ) : path_( "tests/agent/golden/" + name ) {
      std::ifstream file( path_, std::ios::binary );
      EXPECT_TRUE( file || isUpdate() ) << path_ << ": the working directory must be the top of the repository";
      for( std::string line; std::getline( file, line ); ) {
         if( line.starts_with( kHead ) ) {
            cases.push_back( { line.substr( kHead.size() ), {}, {} } );
         } else if( cases.empty() ) {
            ADD_FAILURE() << path_ << ": text before the first case: " << line;
         } else if( line == kBetween && !cases.back().input ) {
            cases.back().input = std::exchange( cases.back().output, {} );
         } else {
            cases.back().output += line + '\n';
         }
      }
   }

   static bool isUpdate() {
      const char * const update = std::getenv( "ROUTEPOLICY_UPDATE_GOLDEN" );
      return update && *update;
   }

   Case & at( const std::string & name ) {
      for( auto & c : cases )
         if( c.name == name ) return c;
      EXPECT_TRUE( isUpdate() ) << path_ << ": no case \"" << name << '"';
      return cases.emplace_back( Case{ name, {}, {} } );
   }

   void expect( Case & golden, const std::string & text ) const {
      if( isUpdate() )
         golden.output = text;
      else
         EXPECT_EQ( golden.output, text ) << path_ << ": \"" << golden.name << "\": the file differs from the program's output";
   }

   /// Writes the file back if this is an update.
   void finish() const {
      if( !isUpdate() ) return;
      std::ofstream file( path_, std::ios::binary );
      for( const auto & c : cases ) {
         file << kHead << c.name << '\n';
         if( c.input ) file << *c.input << kBetween << '\n';
         file << c.output;
      }
   }

   std::vector<Case> cases;

 private:
   static constexpr std::string_view kHead = "=== ", kBetween = "---";
   std::string path_;
};

/// One text, which ends with a line end.
inline void expectGolden( const std::string & file, const std::string & name, const std::string & text ) {
   EXPECT_TRUE( text.empty() || text.ends_with( '\n' ) ) << name;
   GoldenFile golden( file );
   golden.expect( golden.at( name ), text );
   golden.finish();
}

/// All cases of a file: `outputOf( input )` gives the output.
template <class OutputOf>
void expectGoldenCases( const std::string & file, OutputOf outputOf ) {
   GoldenFile golden( file );
   EXPECT_FALSE( golden.cases.empty() ) << file;
   for( auto & c : golden.cases ) {
      SCOPED_TRACE( file + ": " + c.name );
      EXPECT_TRUE( c.input ) << "no \"---\"";
      golden.expect( c, outputOf( c.input.value_or( "" ) ) );
   }
   golden.finish();
}

/// One transcript: `outputOf( input )` gives the lines below "| INPUT".
template <class OutputOf>
void expectGoldenTranscript( const std::string & file, const std::string & name, OutputOf outputOf ) {
   constexpr std::string_view kInput = "| ";
   GoldenFile golden( file );
   auto & transcript = golden.at( name );
   std::istringstream lines( transcript.output );
   std::string text;
   for( std::string line; std::getline( lines, line ); )
      if( line.starts_with( kInput ) ) text += line + '\n' + outputOf( line.substr( kInput.size() ) );
   EXPECT_FALSE( text.empty() ) << file << ": " << name;
   golden.expect( transcript, text );
   golden.finish();
}

/// Each text of a list in a line of its own.
inline std::string linesOfAll( const std::vector<std::string> & all ) {
   std::string text;
   for( const auto & line : all ) text += line + '\n';
   return text;
}

}   // namespace Agent
