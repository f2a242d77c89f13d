#include "substrate/quoin/Exception.h"

namespace Quoin {

RangeException::~RangeException() = default;

}   // namespace Quoin
