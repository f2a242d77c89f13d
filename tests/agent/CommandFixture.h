/// @file tests/agent/CommandFixture.h
/// Runs a command of the agent on policies that a test has in memory.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <string>
#include <string_view>

#include "command/Commands.h"
#include "text/LineLoader.h"

namespace Agent {

/// A file for as long as this lives. In what a command says it is called FILE.
class PolicyFile {
 public:
   explicit PolicyFile( std::string_view content ) {
      std::string pattern = testing::TempDir() + "policyXXXXXX";
      const int file = mkstemp( pattern.data() );
      EXPECT_GE( file, 0 );
      close( file );
      name_ = pattern;
      std::ofstream( name_, std::ios::binary ) << content;
   }
   ~PolicyFile() { unlink( name_.c_str() ); }
   PolicyFile( const PolicyFile & ) = delete;
   PolicyFile & operator=( const PolicyFile & ) = delete;
   const std::string & name() const noexcept { return name_; }

   std::string withoutName( std::string text ) const {
      for( size_t at; ( at = text.find( name_ ) ) != std::string::npos; ) text.replace( at, name_.size(), "FILE" );
      return text;
   }

 private:
   std::string name_;
};

/// What came of a command.
struct CommandOutput {
   int status = -1;
   std::string out;
   std::string messages;
   std::string error;   // of the CommandError that ended it
};

/// `command( file, console )` gives the exit status.
template <class Command>
CommandOutput outputOf( std::string_view policy, Command command ) {
   const PolicyFile file( policy );
   CommandOutput output;
   testing::internal::CaptureStdout();
   testing::internal::CaptureStderr();
   try {
      Console console;
      output.status = command( file.name(), console );
   } catch( const CommandError & e ) { output.error = file.withoutName( e.message ); }
   output.out = file.withoutName( testing::internal::GetCapturedStdout() );
   output.messages = file.withoutName( testing::internal::GetCapturedStderr() );
   return output;
}

/// The text of a policy that has no errors, in a file called "p".
inline PolicyText textOf( std::string_view policy ) {
   LineLoader loader( Dialect::native );
   loader.load( "p", policy );
   for( const auto & error : loader.errors() ) ADD_FAILURE() << loader.toString( error );
   return loader.text();
}

}   // namespace Agent
