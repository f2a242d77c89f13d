#include "substrate/routemap/RmPrecedence.h"

#include <ostream>
#include <string>

namespace Routing::RouteMap {

std::ostream & operator<<( std::ostream & os, RmPrecedence p ) {
   return os << std::to_string( p.value_ );
}

}   // namespace Routing::RouteMap
