/// @file substrate/quoin/Node.h
/// The base class of every reference-counted object. A Ptr (substrate/quoin/Ptr.h) holds one use of a node; the node is destroyed with
/// its last use. `Quoin` is object lifetime and notification.
/// Ownership: a new node has one use, which belongs to its creator; normally makeNode() puts that use into a Ptr.
/// Threading: the use count follows ThreadControl; each derived class documents its own data.
/// Invariant: the stack that a release needs does not grow with the length of the chain of nodes that it releases.
#pragma once

#include <cstdint>

#include "routepolicy_export.h"
#include "substrate/quoin/UseCount.h"

namespace Quoin {

class Publisher;

/// An object with a use count, a hook for its last release, and a word of flags.
class ROUTEPOLICY_API Node {
 public:
   Node( const Node & ) = delete;   // a node has identity; it is never copied
   Node & operator=( const Node & ) = delete;

   virtual ~Node();

   /// Hook: runs when the last use is dropped, before the object is destroyed. The object is still complete. The hook may create
   /// handles to the object; a handle that outlives the hook keeps the object, and the hook runs again when that handle is dropped.
   /// Threading: a use that is gained inside the hook, or while a ReleaseScope keeps the object, must stay on this thread until the
   /// hook has returned and the scope has ended.
   virtual void lastUserGone() const;

   /// The publisher of a notifying object; null for every other object. The list of subscribers is not part of the object's value:
   /// a const object can be watched too.
   virtual Publisher * publisher() const noexcept;

   /// Adds one use. Threading: as ThreadControl says.
   void incUse() const noexcept { uses_.inc(); }

   /// Drops one use. Dropping the last use runs lastUserGone() and destroys the object.
   void decUseImpl() const noexcept {
      if( uses_.dec() ) release();
   }

   /// Adds one use and returns true, unless the count is 0 already; then returns false. For tables that hold nodes weakly.
   bool incUseUnlessGone() const noexcept { return uses_.incUnlessGone(); }

   /// The present count of uses; only a snapshot when other threads hold the node.
   uint32_t useCount() const noexcept { return uses_.uses(); }

   /// The node's flag word, initially 0. A class may use the bits as it likes, except the three highest bits, which read as 0.
   uint32_t nodeFlag() const noexcept { return flags_ & kClassBits; }
   /// Sets the given bits.
   void nodeFlagSet( uint32_t bits ) noexcept { flags_ |= bits & kClassBits; }
   /// Clears the given bits.
   void nodeFlagClear( uint32_t bits ) noexcept { flags_ &= ~( bits & kClassBits ); }

 protected:
   Node() noexcept = default;

 private:
   friend class ReleaseScope;
   void release() const noexcept;
   bool goneBehindHook() const noexcept;
   void wait( uint32_t why ) const noexcept;
   static void destroyWaiting() noexcept;
   struct Depth;

   // Bits of the flag word that describe a release in progress.
   static constexpr uint32_t kWaits = 1u << 31;     // the node waits to be destroyed
   static constexpr uint32_t kHookDue = 1u << 30;   // the node waits, and lastUserGone() has not run yet
   static constexpr uint32_t kInHook = 1u << 29;    // lastUserGone() is running
   static constexpr uint32_t kClassBits = kInHook - 1;

   mutable UseCount uses_;
   mutable uint32_t flags_ = 0;
};

/// Delays the destruction of nodes. While a ReleaseScope is open on a thread, a node that loses its last use on that thread is not
/// destroyed; it is destroyed when the outermost scope ends, or when the release around that scope ends. A walk over shared objects
/// through raw pointers opens a scope, so that the functions it calls may drop those objects.
/// Cost: two updates of a thread-local counter. lastUserGone() is not delayed, except in a long chain of nodes that drop each other.
class ROUTEPOLICY_API ReleaseScope {
 public:
   ReleaseScope() noexcept;
   ~ReleaseScope();
   ReleaseScope( const ReleaseScope & ) = delete;
   ReleaseScope & operator=( const ReleaseScope & ) = delete;
};

}   // namespace Quoin
