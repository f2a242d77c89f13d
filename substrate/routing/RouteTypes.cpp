#include "substrate/routing/RouteTypes.h"

#include <ostream>
#include <string>

namespace Routing {

std::ostream & operator<<( std::ostream & os, RouteProto p ) {
   return os << std::to_string( uint32_t( p ) );
}

}   // namespace Routing
