#include "substrate/quoin/String.h"

#include <ostream>

namespace Quoin {

std::ostream & operator<<( std::ostream & os, const String & s ) {
   return os << s.text_;
}

}   // namespace Quoin
