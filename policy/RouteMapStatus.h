/// @file policy/RouteMapStatus.h
/// A compiled route map: one generation, with its sequences by number. Compilation publishes it through a RouteMapSymbol; lists, calling
/// sequences and evaluation read it.
/// Ownership: symbols, lists, callers and logs share it. It shares its sequences.
/// Threading: compilation writes it before publication; afterwards it is read-only, for any number of threads.
/// Invariant: after updateFeatures(), `features` is the union over the sequences as they were when last stored, until
/// updateFeaturesOnSeqStatusChange is turned off.
#pragma once

#include "policy/RouteMapPlan.h"
#include "policy/RouteMapSeqStatus.h"
#include "policy/UndefinedPolicyReference.h"
#include "substrate/plinth/TreeMap.h"
#include "substrate/quoin/AtomicPtr.h"

namespace Routing::Policy {

/// One generation of a compiled route map.
class ROUTEPOLICY_API RouteMapStatus final : public Zeugma::BaseNotifyingType {
 public:
   enum class Field : Quoin::FieldId { seqStatus, features, updateFeaturesOnSeqStatusChange, undefined, undefinedReferences };
   using Sequences = RouteMapPlan::Sequences;

   explicit RouteMapStatus( const Quoin::String & name ) : name_( name ) { undefinedReferences_.value.setAllUndefined(); }
   ~RouteMapStatus() override;

   /// A new route map with this name and the other attributes of `src`. A null `src` gives the defaults. The features are computed once, at
   /// the end.
   static Quoin::Ptr<RouteMapStatus> newFrom( const Quoin::Ptr<const RouteMapStatus> & src, const Quoin::String & name );
   /// As newFrom(), but the features are those of `src`, and updateFeaturesOnSeqStatusChange is off: the caller changes sequences, and then
   /// writes both. The copy shares the blocks of sequences with `src`; a write copies one block.
   static Quoin::Ptr<RouteMapStatus> successorOf( const Quoin::Ptr<const RouteMapStatus> & src, const Quoin::String & name );
   /// Copies all attributes but the name.
   void clone( const Zeugma::BaseNotifyingType & source ) override;

   /// A new route map of the same name with new sequences. They share the matchers, setters and callees of the original. Continues,
   /// route maps for aggregates and the record of undefined references are not copied.
   Quoin::Ptr<RouteMapStatus> deepCopy() const;

   const Quoin::String & name() const noexcept { return name_; }

   /// The sequences in ascending order of number.
   const Sequences & seqStatus() const noexcept { return seqStatus_; }
   /// Null if no sequence has this number.
   Quoin::Ptr<const RouteMapSeqStatus> seqStatus( uint32_t seqno ) const { return Plinth::memberOf( seqStatus_, seqno ); }
   /// Stores a sequence under its own number, in place of an existing one. While updateFeaturesOnSeqStatusChange is set, each change
   /// computes the features over all sequences. A caller that stores many sequences turns it off, and calls updateFeatures() at the end.
   /// Errors: MutatorArgNullPointerException on null.
   void seqStatusIs( const Quoin::Ptr<const RouteMapSeqStatus> & seq );
   void seqStatusDel( uint32_t seqno );
   void seqStatusDelAll();
   /// The reaction to a change of the sequences: computes the features, if updateFeaturesOnSeqStatusChange is set.
   void handleSeqStatus();
   /// Computes `features` over the sequences, and sets updateFeaturesOnSeqStatusChange.
   void updateFeatures();

   /// Makes the plan of the route map, and those of the route maps that it calls, unless they exist. Compilation and RouteMapStatusList call
   /// it; evaluation works without a plan, only slower. Cost: what differs from the plan of the generation that this one was copied from.
   /// Without the memory for one of these plans, none is made.
   /// Threading: any. In a process with several threads, a plan is made once: an outdated plan is not replaced, because another thread may
   /// evaluate by it.
   void makePlan() const noexcept;
   /// The plan; null if it was not made, or if it is outdated. A plan is outdated once a sequence, a called route map or a list that any plan
   /// of the process has read is changed in place. Compilation never does that: it publishes new objects.
   [[gnu::always_inline]] const RouteMapPlan * plan() const noexcept {
      const auto * const plan = plan_.get();
      return plan && plan->isCurrent() ? plan : nullptr;
   }

   /// Prints the attributes and the sequences.
   void dumpState( const Zeugma::DumpContextPtr & ctx, unsigned indent ) const;

   /// The attributes of a route that the route map reads.
   PLINTH_ATTR( features, featuresIs, Field::features, RouteMapFeatures );
   /// The kinds of undefined references of the route map and its callees. A new route map has all bits set.
   PLINTH_ATTR( undefinedReferences, undefinedReferencesIs, Field::undefinedReferences, UndefinedPolicyReferenceBitfield );

   /// Whether the route map is referred to but not defined.
   bool undefined() const noexcept { return undefined_; }
   void undefinedIs( bool undefined );
   /// Whether each change of the sequences computes the features.
   bool updateFeaturesOnSeqStatusChange() const noexcept { return updateFeaturesOnSeqStatusChange_; }
   void updateFeaturesOnSeqStatusChangeIs( bool update );

 private:
   void dropPlan() noexcept;   // it would keep what is removed

   bool updateFeaturesOnSeqStatusChange_ : 1 = true;
   bool undefined_ : 1 = false;
   Quoin::String name_;
   Sequences seqStatus_;
   mutable Quoin::AtomicPtr<const RouteMapPlan> plan_;
   mutable Quoin::AtomicPtr<const RouteMapPlan> base_;   // the plan of the generation that this one was copied from
};

}   // namespace Routing::Policy
