#include "substrate/acl/MatchPermit.h"

#include <ostream>

namespace Acl {

std::ostream & operator<<( std::ostream & os, MatchPermit p ) {
   return os << stringValue( p );
}

}   // namespace Acl
