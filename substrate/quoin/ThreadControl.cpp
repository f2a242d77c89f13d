#include "substrate/quoin/ThreadControl.h"

namespace Quoin {

bool ThreadControl::forced_ = false;

}   // namespace Quoin
