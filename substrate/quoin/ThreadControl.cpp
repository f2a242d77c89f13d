#include "substrate/quoin/ThreadControl.h"

namespace Quoin {

std::atomic<bool> ThreadControl::forced_{ false };

}   // namespace Quoin
