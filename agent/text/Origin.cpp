#include "text/Origin.h"

#include "text/Spelling.h"

namespace Agent {

std::optional<Origin> originOf( std::string_view word ) {
   for( const Origin origin : { Origin::igp, Origin::egp, Origin::incomplete } )
      if( lowerCase( word ) == nameOf( origin ) ) return origin;
   return std::nullopt;
}

std::string_view nameOf( Origin origin ) noexcept {
   switch( origin ) {
      case Origin::igp: return "igp";
      case Origin::egp: return "egp";
      case Origin::incomplete: break;
   }
   return "incomplete";
}

}   // namespace Agent
