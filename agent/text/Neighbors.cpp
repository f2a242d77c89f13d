#include "text/Neighbors.h"

#include "text/Operands.h"

namespace Agent {

using Ferule::AddressFamily;

Neighbor * BgpRouter::find( const std::string & name ) {
   const auto at = neighbors.find( name );
   return at == neighbors.end() ? nullptr : &at->second;
}

bool BgpRouter::isExternal( const Neighbor & neighbor ) const {
   const Neighbor * const group = find( neighbor.group );
   const std::string & remote = neighbor.remoteAs.empty() && group ? group->remoteAs : neighbor.remoteAs;
   return remote != "internal" && remote != as;
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
