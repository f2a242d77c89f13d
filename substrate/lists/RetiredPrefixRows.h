/// @file substrate/lists/RetiredPrefixRows.h
/// The end of large prefix lists: to free millions of blocks at once would stop a thread for long.
#pragma once

#include <cstddef>
#include <vector>

#include "routepolicy_export.h"
#include "substrate/lists/PrefixListRows.h"

namespace Routing::RouteMap {

/// Blocks that nobody uses any more, and that are too many to free at once. Every release and publication of rows frees a part of them;
/// an agent may call letGo() when it is idle. Threading: any thread.
class ROUTEPOLICY_API RetiredPrefixRows {
 public:
   /// Frees at most `atMost` blocks. Returns whether none is left. 10,000 blocks take less than a millisecond.
   static bool letGo( size_t atMost = kAtOnce ) noexcept;

 private:
   friend class PrefixRowLineage;
   static constexpr size_t kAtOnce = 4096;
   static void take( const PrefixRowNode & root ) noexcept;   // with all that is below it
   static void take( std::vector<PrefixListRows::Retired> blocks ) noexcept;
};

}   // namespace Routing::RouteMap
