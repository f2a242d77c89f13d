/// @file substrate/lists/RetiredPrefixRows.h
/// Frees the blocks of released prefix lists step by step, because freeing millions of them at once would block the thread for long.
#pragma once

#include <cstddef>
#include <vector>

#include "routepolicy_export.h"
#include "substrate/lists/PrefixListRows.h"
#include "substrate/lists/RetiredBlocks.h"

namespace Routing::RouteMap {

/// The blocks that are released and not freed yet. Each later release and publication of any prefix list frees a part of them; they wait as
/// long as there is none, unless an agent calls letGo() when it is idle. Threading: any thread, because any thread may drop the last use of a
/// list; RetiredTries serves one thread and its clock.
class ROUTEPOLICY_API RetiredPrefixRows {
 public:
   /// Frees at most `atMost` blocks, and what the release of an older generation frees that only waited for them. Returns whether none is left; false, too, if another thread is freeing blocks at this moment.
   static bool letGo( size_t atMost = kAtOnce ) noexcept;

 private:
   friend class PrefixListRowsEditor;
   friend class PrefixRowLineage;
   static constexpr size_t kAtOnce = 2048;   // takes less than a millisecond
   // Tries of one list, of which the last is freed first. `heir` has what they share with it; one of its uses is taken over. May be null.
   static void take( std::vector<ReleasedPrefixRows> tries, const PrefixListRows * heir ) noexcept;
   static void take( RetiredBlocks blocks ) noexcept;
   // To be called when many blocks were freed. The heap may keep small freed blocks apart, and join all of them at the next large request,
   // which then takes as long as they are many. This is such a request, made while they are few.
   static void joinFreed() noexcept;
};

}   // namespace Routing::RouteMap
