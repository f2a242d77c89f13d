/// @file tests/agent/Shell.h
/// Runs what an operator types, or what the shell does for one who types.
#pragma once

#include <cstdio>
#include <memory>
#include <string>

namespace Agent {

/// A word that the shell does not look into.
inline std::string quoted( const std::string & word ) {
   std::string text = "'";
   for( const char c : word ) text += c == '\'' ? std::string( "'\\''" ) : std::string( 1, c );
   return text + "'";
}

/// What the command line prints, messages too.
inline std::string outputOfShell( const std::string & line ) {
   const std::string command = "{ " + line + "\n} 2>&1";
   const std::unique_ptr<FILE, int ( * )( FILE * )> pipe( popen( command.c_str(), "r" ), pclose );
   std::string output;
   char piece[ 4096 ];
   while( const size_t n = pipe ? std::fread( piece, 1, sizeof piece, pipe.get() ) : 0 ) output.append( piece, n );
   return output;
}

}   // namespace Agent
