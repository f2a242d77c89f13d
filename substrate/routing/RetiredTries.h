/// @file substrate/routing/RetiredTries.h
/// Destroys large tries step by step. It receives tries that have lost their last user, and is driven by the agent's clock.
#pragma once

#include <vector>

#include "substrate/plinth/Clock.h"
#include "substrate/routing/PatriciaTrieWithNodeData.h"

namespace Routing {

/// Destroys tries in slices of time, because freeing a million entries at once would block the thread for long.
///    trie->heirIs( retiredTries->heir() );   // the trie is moved here when its last use is dropped
/// Ownership: belongs to its creator; tries do not hold it. When it is destroyed, its pending tries are destroyed at once, and so is every
/// later trie.
/// Threading: the thread that created it. If the last use of a trie is dropped on another thread, the trie is destroyed there at once.
class ROUTEPOLICY_API RetiredTries final : public Quoin::Node, private Plinth::Clock::NotifieeConst {
 public:
   /// The time per turn of the agent's loop; short compared with the compilation of a large list.
   static constexpr Plinth::Clock::Seconds kQuantum{ 0.001 };
   /// A trie with up to so many entries is destroyed at once; this takes about half a quantum.
   static constexpr size_t kSmall = 8192;

   /// Errors: MutatorArgNullPointerException on null.
   explicit RetiredTries( const Quoin::Ptr<Plinth::Clock> & clock );
   ~RetiredTries() override;

   /// The argument for PatriciaTrieWithNodeData::heirIs().
   const Quoin::Ptr<PatriciaTrieHeir> & heir() const noexcept { return heir_; }
   /// The number of pending tries.
   size_t count() const noexcept { return tries_.size(); }

 private:
   class Heir;
   void take( const Quoin::Ptr<PatriciaTrieWithNodeData> & trie ) noexcept;
   void handleTime() override;

   std::vector<Quoin::Ptr<PatriciaTrieWithNodeData>> tries_;
   Quoin::Ptr<PatriciaTrieHeir> heir_;
};

}   // namespace Routing
