/// @file tests/agent/HelpText.h
/// What the program's own help lists: the measure of what else speaks of commands and options.
#pragma once

#include <algorithm>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "tests/agent/Program.h"

namespace Agent {

inline std::vector<std::string> linesOf( const std::string & text ) {
   std::vector<std::string> lines;
   std::istringstream from( text );
   for( std::string line; std::getline( from, line ); ) lines.push_back( line );
   return lines;
}

/// The first words of the indented lines below that heading.
inline std::vector<std::string> firstWordsBelow( const std::string & heading, const std::vector<std::string> & arguments ) {
   std::vector<std::string> words;
   bool below = false;
   for( const auto & line : linesOf( runProgram( arguments ).out ) ) {
      if( !line.starts_with( ' ' ) )
         below = line == heading;
      else if( below && line.find_first_not_of( ' ' ) == 2 )   // further in stands what goes on from the line before
         words.push_back( line.substr( 2, line.find( ' ', 2 ) - 2 ) );
   }
   return words;
}

inline std::vector<std::string> commandsOfHelp() {
   return firstWordsBelow( "Subcommands:", { "--help" } );
}

/// "--json", "-m", "--route-map" ...; of the program itself without a command.
inline std::set<std::string> optionsOfHelp( const std::string & command = {} ) {
   std::vector<std::string> arguments = { command, "--help" };
   if( command.empty() ) arguments.erase( arguments.begin() );
   std::set<std::string> options;
   for( const auto & names : firstWordsBelow( "Options:", arguments ) ) {   // "-m,--route-map"
      std::istringstream from( names );
      for( std::string name; std::getline( from, name, ',' ); ) options.insert( name );
   }
   return options;
}

}   // namespace Agent
