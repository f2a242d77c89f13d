/// @file agent/live/AsPathList.h
#pragma once

#include <cstdint>
#include <string_view>

#include "live/ExpressionLines.h"
#include "live/RouteKeys.h"
#include "substrate/lists/ListStatus.h"
#include "table/TableRoute.h"
#include "text/PolicyText.h"

namespace Agent {

/// A compiled AS path list: the lowest line whose expression matches the text of the route's AS path decides; if none, the list denies.
/// Threading: read-only once published.
class AsPathList final : public Routing::RouteMap::AsPathListStatus {
 public:
   AsPathList( const Quoin::String & name, const AsPathListText & text, Dialect dialect );
   /// The next generation, to be edited. Its lines are those of `from`, and share the memory.
   AsPathList( const Quoin::String & name, const AsPathList & from ) : AsPathListStatus( name ), lines_( from.lines_ ) {}

   bool permits( const TableRoute & route ) const { return permits( route.asPath ); }
   bool permits( std::string_view asPath ) const { return lines_.permits( asPath ); }

   /// Tells which routes it can permit, if few words of AS paths say it. Returns whether it did.
   bool tellKeys( Routing::Policy::MatchKeys & keys ) const {
      const auto * const words = lines_.words();
      return words && Agent::tellKeys( keys, *words, []( const auto & word ) { return asPathWordKey( word.first ); } );
   }

   /// Adds a line; the number is free.
   void lineIs( uint32_t number, const AsPathListLine & line ) { lines_.put( number, line.action, line.expression ); }
   /// Removes this line.
   void lineDel( uint32_t number, const AsPathListLine & line ) { lines_.erase( number, line.expression ); }

 private:
   ExpressionLines lines_;
};

}   // namespace Agent
