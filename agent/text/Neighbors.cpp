#include "text/Neighbors.h"

#include "text/Operands.h"
#include "text/ParseWhole.h"

namespace Agent {

using Ferule::AddressFamily;

Neighbor * BgpRouter::find( const std::string & name ) {
   const auto at = neighbors.find( name );
   return at == neighbors.end() ? nullptr : &at->second;
}

namespace {

// "65546", or "1.10", which is the same AS. Any other text is kept.
std::string plainAs( const std::string & as ) {
   const size_t dot = as.find( '.' );
   if( dot == as.npos ) return as;
   const auto high = parseWhole<uint16_t>( std::string_view( as ).substr( 0, dot ) );
   const auto low = parseWhole<uint16_t>( std::string_view( as ).substr( dot + 1 ) );
   return high && low ? std::to_string( uint32_t( *high ) << 16 | *low ) : as;
}

}   // namespace

bool BgpRouter::isExternal( const Neighbor & neighbor ) const {
   const Neighbor * const group = find( neighbor.group );
   const std::string & remote = neighbor.remoteAs.empty() && group ? group->remoteAs : neighbor.remoteAs;
   return remote != "internal" && plainAs( remote ) != plainAs( as );
}

bool BgpRouter::isActive( const Neighbor & neighbor, AddressFamily af ) const {
   const NeighborFamily & own = neighbor.family( af );
   const Neighbor * const group = find( neighbor.group );
   if( own.active || !group ) return own.active.value_or( own.activeByDefault );
   return group->family( af ).active.value_or( own.activeByDefault );
}

NeighborFilters BgpRouter::filters( const Neighbor & neighbor, AddressFamily af, Direction direction ) const {
   NeighborFilters result = neighbor.family( af ).of( direction );
   const Neighbor * const group = find( neighbor.group );
   if( !group ) return result;
   for( const auto & form : kFilterForms )
      if( auto & name = result.*form.name; name.empty() ) name = group->family( af ).of( direction ).*form.name;
   return result;
}

std::string neighborName( std::string_view text ) {
   const auto address = parseAddress( text );
   return address ? std::string( address->toStrep().view() ) : std::string( text );
}

}   // namespace Agent
