#include "substrate/routemap/MatchRule.h"

#include <string>

#include "substrate/zeugma/HashMix.h"

namespace Routing::RouteMap {

namespace {

const char * invertText( bool invertResult ) {
   return invertResult ? " invert-result" : "";
}

}   // namespace

uint32_t MatchRule::hash() const noexcept {
   const uint32_t parts[] = { uint32_t( option ), invertResult };
   Zeugma::HashMix mix( listName.hash() );
   mix.mixBytes8( reinterpret_cast<const unsigned char *>( &numericValue ) );
   mix.mixBytes8( reinterpret_cast<const unsigned char *>( parts ) );
   return mix;
}

uint32_t SubRouteMap::hash() const noexcept {
   const uint32_t inverted = invertResult;
   Zeugma::HashMix mix( name.hash() );
   mix.mixBytes4( reinterpret_cast<const unsigned char *>( &inverted ) );
   return mix;
}

std::ostream & operator<<( std::ostream & os, const CommListSet & ) {
   return os << "{}";
}

std::ostream & operator<<( std::ostream & os, const MatchRule & rule ) {
   std::string text = stringValue( rule.option );
   if( !rule.listName.empty() ) text.append( " listName " ).append( rule.listName.view() );
   if( rule.numericValue ) text.append( " numericValue " ).append( std::to_string( rule.numericValue ) );
   return os << text.append( invertText( rule.invertResult ) );
}

std::ostream & operator<<( std::ostream & os, const SubRouteMap & call ) {
   return os << call.name + invertText( call.invertResult );
}

}   // namespace Routing::RouteMap
