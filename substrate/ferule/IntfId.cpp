#include "substrate/ferule/IntfId.h"

#include <ostream>

namespace Ferule {

std::ostream & operator<<( std::ostream & os, const IntfId & intf ) {
   return os << intf.toStrep();
}

}   // namespace Ferule
