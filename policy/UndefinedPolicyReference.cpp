#include "policy/UndefinedPolicyReference.h"

#include <ostream>

namespace Routing::Policy {

std::ostream & operator<<( std::ostream & os, UndefinedPolicyReferenceBitfield bits ) {
   return os << ( bits.value ? Quoin::bitsText( bits.value, UndefinedPolicyReferenceBitfield::nameOf ) : "none" );
}

}   // namespace Routing::Policy
