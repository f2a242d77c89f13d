/// @file substrate/routing/RetiredTries.h
/// Destroys large tries, and other large objects, step by step. It receives them when they have lost their last user, and is driven by the
/// agent's clock.
#pragma once

#include <vector>

#include "substrate/plinth/Clock.h"
#include "substrate/routing/PatriciaTrieWithNodeData.h"

namespace Routing {

class Retirable;

/// Receives tries and other objects whose last use was dropped.
class ROUTEPOLICY_API RetirableHeir : public PatriciaTrieHeir {
 public:
   ~RetirableHeir() override;
   using PatriciaTrieHeir::take;
   /// May take a handle of the object; otherwise the object is destroyed at once. Threading: the thread that dropped the last use.
   virtual void take( const Quoin::Ptr<Retirable> & object ) noexcept = 0;
};

/// An object other than a trie that takes long to destroy.
class ROUTEPOLICY_API Retirable : public Quoin::Node {
 public:
   ~Retirable() override;
   /// Sets the object that receives this object when its last use is dropped. Initially null: it is then destroyed at once.
   void heirIs( const Quoin::Ptr<RetirableHeir> & heir ) { heir_ = heir; }
   /// Frees a part, which takes at most about 50 microseconds. Returns true when nothing is left that takes long. It is called when the
   /// object has no other user.
   virtual bool letGo() noexcept = 0;

 private:
   void lastUserGone() const final;
   mutable Quoin::Ptr<RetirableHeir> heir_;   // null after the heir has received the object
};

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

   /// The argument for PatriciaTrieWithNodeData::heirIs() and Retirable::heirIs().
   const Quoin::Ptr<RetirableHeir> & heir() const noexcept { return heir_; }
   /// The number of pending tries and objects.
   size_t count() const noexcept { return tries_.size() + objects_.size(); }

 private:
   class Heir;
   template <class Row, class T>
   void wait( Row & row, const T & object ) noexcept;
   bool letGo() noexcept;
   void handleTime() override;

   std::vector<Quoin::Ptr<PatriciaTrieWithNodeData>> tries_;
   std::vector<Quoin::Ptr<Retirable>> objects_;
   Quoin::Ptr<RetirableHeir> heir_;
};

}   // namespace Routing
