/// @file substrate/quoin/Node.h
/// The base of every counted object: who still uses it, and what happens when nobody does.
/// Ownership: a new node belongs to its maker (count one), normally a Ptr made by makeNode(); the last use to go destroys it.
/// Threading: counts follow ThreadControl; everything else about a node is its class's business.
/// Invariant: the stack that a release needs does not grow with the length of the chain that it releases.
#pragma once

#include <cstdint>

#include "routepolicy_export.h"
#include "substrate/quoin/ThreadControl.h"

namespace Quoin {

class Publisher;

class ROUTEPOLICY_API Node {
 public:
   Node( const Node & ) = delete;   // a node has identity; it is never copied
   Node & operator=( const Node & ) = delete;

   virtual ~Node();

   /// Runs when the last use has gone, before the object is destroyed; the object is whole. It may use the object through handles:
   /// one that is still held when it returns keeps the object, and the hook runs again when that one goes.
   /// Threading: a use gained in here, or while a ReleaseScope keeps the object, stays on this thread until then.
   virtual void lastUserGone() const;

   /// The publisher of a notifying object, null for every other. Whom an object tells of its changes is no part of it: one that may
   /// only be read may be watched.
   virtual Publisher * publisher() const noexcept;

   /// One more use. Threading: as ThreadControl says.
   void incUse() const noexcept {
      if( ThreadControl::threaded() )
         __atomic_fetch_add( &uses_, 1, __ATOMIC_RELAXED );
      else
         ++uses_;
   }

   /// Drops one use; the last one runs lastUserGone() and destroys the object.
   void decUseImpl() const noexcept {
      if( ThreadControl::threaded() ) {
         if( __atomic_fetch_sub( &uses_, 1, __ATOMIC_ACQ_REL ) == 1 ) release();
      } else if( --uses_ == 0 ) {
         release();
      }
   }

   /// One more use, unless the last one has gone already; for tables that hold nodes weakly. False then.
   bool incUseUnlessGone() const noexcept {
      uint32_t now = useCount();
      while( now != 0 && !__atomic_compare_exchange_n( &uses_, &now, now + 1, true, __ATOMIC_RELAXED, __ATOMIC_RELAXED ) ) {}
      return now != 0;
   }

   /// Present count of uses; a snapshot when other threads hold the node.
   uint32_t useCount() const noexcept { return __atomic_load_n( &uses_, __ATOMIC_RELAXED ); }

   /// The node's flag word: bits that a class may use as it likes, but for the three highest, which stay 0. Initially 0.
   uint32_t nodeFlag() const noexcept { return flags_ & kClassBits; }
   void nodeFlagSet( uint32_t bits ) noexcept { flags_ |= bits & kClassBits; }
   void nodeFlagClear( uint32_t bits ) noexcept { flags_ &= ~( bits & kClassBits ); }

 protected:
   Node() noexcept : uses_( 1 ), flags_( 0 ) {}

 private:
   friend class ReleaseScope;
   void release() const noexcept;
   bool goneBehindHook() const noexcept;
   void wait( uint32_t why ) const noexcept;
   static void destroyWaiting() noexcept;
   struct Depth;

   // Of a release under way, in the flag word.
   static constexpr uint32_t kWaits = 1u << 31;     // to be destroyed
   static constexpr uint32_t kHookDue = 1u << 30;   // and lastUserGone() has not run yet
   static constexpr uint32_t kInHook = 1u << 29;    // lastUserGone() runs
   static constexpr uint32_t kClassBits = kInHook - 1;

   mutable uint32_t uses_;   // by compiler built-ins: <atomic> would double what a user of this header compiles
   mutable uint32_t flags_;
};

/// While one stands on a thread, nodes whose last use goes on that thread stay whole; they are destroyed when the outermost
/// scope ends, or the release in whose midst it stands. A walk over shared objects through raw pointers opens one, so that what
/// it calls may drop them.
/// Cost: two thread-local increments. lastUserGone() is not delayed, but where many of them drop each other in a chain.
class ROUTEPOLICY_API ReleaseScope {
 public:
   ReleaseScope() noexcept;
   ~ReleaseScope();
   ReleaseScope( const ReleaseScope & ) = delete;
   ReleaseScope & operator=( const ReleaseScope & ) = delete;
};

}   // namespace Quoin
