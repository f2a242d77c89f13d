/// @file substrate/routing/RetiredTries.h
#pragma once

#include <vector>

#include "substrate/plinth/Clock.h"
#include "substrate/routing/PatriciaTrieWithNodeData.h"

namespace Routing {

/// Takes tries apart in slices of time: freeing a million entries at once would hold the thread for long.
///    trie->heirIs( retiredTries->heir() );   // from then on, it comes here when its last user goes
/// Ownership: of whoever makes it; tries do not keep it. What is in here goes at once with it, and from then on every trie does.
/// Threading: the thread that made it. Where a trie's last user goes on another one, the trie goes there and at once.
class ROUTEPOLICY_API RetiredTries final : public Quoin::Node, private Plinth::Clock::NotifieeConst {
 public:
   /// Of a turn of the agent's loop: little beside what compiles a list in the same one.
   static constexpr Plinth::Clock::Seconds kQuantum{ 0.001 };
   /// Entries up to which a trie goes at once: in half a quantum or so.
   static constexpr size_t kSmall = 8192;

   /// Errors: MutatorArgNullPointerException on null.
   explicit RetiredTries( const Quoin::Ptr<Plinth::Clock> & clock );
   ~RetiredTries() override;

   const Quoin::Ptr<PatriciaTrieHeir> & heir() const noexcept { return heir_; }
   /// How many tries wait here.
   size_t count() const noexcept { return tries_.size(); }

 private:
   class Heir;
   void take( const Quoin::Ptr<PatriciaTrieWithNodeData> & trie ) noexcept;
   void handleTime() override;

   std::vector<Quoin::Ptr<PatriciaTrieWithNodeData>> tries_;
   Quoin::Ptr<PatriciaTrieHeir> heir_;
};

}   // namespace Routing
