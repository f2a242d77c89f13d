#include "analysis/LeftOut.h"

#include <algorithm>
#include <set>
#include <string>

#include <fmt/format.h>

namespace Agent {

namespace {

using Names = std::set<std::string_view>;

// Also of callees, and of what the route maps among them name.
Names namesReached( const References & references, const std::vector<std::string> & from ) {
   Names names( from.begin(), from.end() ), routeMaps = names;
   std::vector<std::string_view> next( from.begin(), from.end() );
   while( !next.empty() ) {
      const auto caller = next.back();
      next.pop_back();
      auto at = std::ranges::lower_bound( references.all(), caller, {}, &Reference::routeMap );
      for( ; at != references.all().end() && at->routeMap == caller; ++at ) {
         names.insert( at->to.name );
         if( at->isCall() && routeMaps.insert( at->to.name ).second ) next.push_back( at->to.name );
      }
   }
   return names;
}

std::vector<const LeftOut *> linesAbout( const PolicyText & text, const Names & names ) {
   std::vector<const LeftOut *> lines;
   for( const auto & line : text.leftOut )
      if( std::ranges::any_of( line.names, [ & ]( const std::string & name ) { return names.contains( name ); } ) )
         lines.push_back( &line );
   return lines;
}

}   // namespace

std::vector<const LeftOut *> leftOutOf( const PolicyText & text, const std::vector<std::string> & names ) {
   if( text.leftOut.empty() ) return {};
   return linesAbout( text, namesReached( References( text ), names ) );
}

std::vector<const LeftOut *> leftOutAbout( const PolicyText & text, std::string_view name ) {
   return linesAbout( text, { name } );
}

std::vector<std::string> placesOf( const PolicyText & text, const std::vector<const LeftOut *> & lines ) {
   std::vector<std::string> places;
   places.reserve( lines.size() );
   for( const auto * line : lines )
      places.push_back( fmt::format( "{}:{}", text.files[ line->error.place.file ], line->error.place.line ) );
   return places;
}

}   // namespace Agent
