#include "substrate/quoin/Seal.h"

namespace Quoin {

Seal::Broken Seal::broken_;

}   // namespace Quoin
