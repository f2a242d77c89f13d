#include "substrate/quoin/Seal.h"

namespace Quoin {

// Alone in its cache line: every evaluation reads it.
alignas( 64 ) std::atomic<uint64_t> Seal::broken_ = 0;

}   // namespace Quoin
