/// @file policy/PublishedPolicy.h
/// Hands the policy of one point of application from the activity thread, which compiles it, to the threads that evaluate routes. The
/// activity thread stores each generation; every other thread takes the current one through a Reader of its own.
///
///    PublishedPolicy published;                     // activity thread: published.policyIs( list ) after each change
///    PublishedPolicy::Reader reader( published );   // evaluation thread
///    const auto & policy = reader.policy();         // once for each batch of routes
///    for( const auto & route : batch ) eval.eval( &route, policy, &result );
///
/// Ownership: holds the current generation, and each older generation as long as a reader holds it. Readers hold generations through the
/// PublishedPolicy, without a use of their own.
/// Threading: the activity thread, except Reader. Several objects are independent: readers of two of them may see one change before the
/// other.
/// Invariant: while the object exists, readers never drop the last use of a policy. The activity thread does, so that no evaluation waits
/// while a large policy is freed.
#pragma once

#include <atomic>
#include <cstddef>
#include <list>
#include <mutex>
#include <utility>

#include "policy/RouteMapStatusList.h"
#include "routepolicy_export.h"

namespace Routing::Policy {

/// The current policy, and the older ones that readers still hold.
class ROUTEPOLICY_API PublishedPolicy final {
 public:
   using PolicyPtr = Quoin::Ptr<const RouteMapStatusList>;
   class Reader;

   /// The policy is null at first.
   PublishedPolicy();
   /// Readers may outlive it. They keep the current policy, and the last of them frees it.
   ~PublishedPolicy();
   PublishedPolicy( const PublishedPolicy & ) = delete;
   PublishedPolicy & operator=( const PublishedPolicy & ) = delete;

   /// The current policy.
   const PolicyPtr & policy() const noexcept { return state_->generations.back().policy; }
   /// Makes `policy` current; it must not be written any more. Then calls retiredDelAll(). Null is permitted; the readers then get null.
   /// Errors: std::bad_alloc; the current policy is the same as before.
   void policyIs( PolicyPtr policy );
   /// Drops the older generations that no reader holds. A reader that changes to a newer generation after the last policyIs() leaves the
   /// older one here: an agent calls this when it is idle, if it does not want to keep this memory until the next change. Returns the
   /// number of older generations that readers still hold.
   size_t retiredDelAll() noexcept;

 private:
   // Readers load these for each batch. What is written beside them would take their cache lines away.
   static constexpr size_t kCacheLine = 64;

   struct Generation {
      explicit Generation( PolicyPtr p ) noexcept : policy( std::move( p ) ) {}
      const PolicyPtr policy;
      alignas( kCacheLine ) size_t readers = 0;
   };
   using Generations = std::list<Generation>;

   // What the readers share. The mutex guards `current`, the numbers of readers, and each change of the list. Only the activity thread
   // changes `current` and the list.
   struct State final : Quoin::Node {
      State();
      ~State() override;
      Generation & readerIs( Generation * old ) noexcept;   // counts a reader of the current generation; `old`: what it held, or null
      void readerDel( Generation & old ) noexcept;
      std::mutex mutex;
      Generations generations;   // oldest first; the last is the current one
      alignas( kCacheLine ) std::atomic<const Generation *> current;
   };

   Quoin::Ptr<State> state_;
};

/// Takes the current policy for one thread. Creating, destroying and changing to a newer generation take a mutex for a few instructions, and
/// allocate nothing.
/// Threading: one thread uses it. The thread may differ from the one that created it.
class ROUTEPOLICY_API PublishedPolicy::Reader final {
 public:
   /// `published` must exist during this call only.
   explicit Reader( const PublishedPolicy & published ) noexcept;
   ~Reader();
   Reader( const Reader & ) = delete;
   Reader & operator=( const Reader & ) = delete;

   /// The current policy; null before the first policyIs(). The reference is valid until the next call on this reader, and its policy stays
   /// the same: take it once for each batch of routes. The generation stays in memory as long: a thread that pauses for long destroys its
   /// reader. A copy of the handle is possible, but then this thread may be the one that drops the last use.
   /// Cost: while the policy has not changed, one load of memory that nobody writes.
   const PolicyPtr & policy() noexcept {
      // This reader holds its generation, so a new one never has the same address.
      if( state_->current.load( std::memory_order_acquire ) != generation_ ) [[unlikely]]
         generation_ = &state_->readerIs( generation_ );
      return generation_->policy;
   }

 private:
   Quoin::Ptr<State> state_;
   Generation * generation_;
};

}   // namespace Routing::Policy
