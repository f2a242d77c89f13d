/// @file tests/examples/ProgramOutput.h
#pragma once

#include <cstdio>
#include <string>

#include <gtest/gtest.h>

/// What a program prints, on either stream; it is expected to end well.
inline std::string programOutput( const std::string & path ) {
   std::string output;
   FILE * program = popen( ( "'" + path + "' 2>&1" ).c_str(), "r" );
   if( !program ) {
      ADD_FAILURE() << "cannot start " << path;
      return output;
   }
   for( int c; ( c = std::fgetc( program ) ) != EOF; ) output += static_cast<char>( c );
   EXPECT_EQ( 0, pclose( program ) ) << path;
   return output;
}
