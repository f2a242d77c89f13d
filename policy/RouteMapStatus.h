/// @file policy/RouteMapStatus.h
/// A compiled route map: sequences by number, and what they have in common.
/// Ownership: symbols, lists, parents, snapshots and logs share it; it shares its sequences.
/// Threading: compilation writes it before it is published; from then on it is read only, by any number of threads.
/// Invariant: from updateFeatures() on, `features` is the union over the sequences as they were last stored; switching
/// updateFeaturesOnSeqStatusChange off ends that until the next call.
#pragma once

#include "policy/RouteMapSeqStatus.h"
#include "policy/UndefinedPolicyReference.h"

namespace Routing::Policy {

class ROUTEPOLICY_API RouteMapStatus final : public Zeugma::BaseNotifyingType {
 public:
   enum class Field : Quoin::FieldId { seqStatus, features, updateFeaturesOnSeqStatusChange, undefined, undefinedReferences };
   using Sequences = Plinth::RbTreeMap<uint32_t, Quoin::Ptr<const RouteMapSeqStatus>>;

   explicit RouteMapStatus( const Quoin::String & name ) : name_( name ) { undefinedReferences_.value.setAllUndefined(); }
   ~RouteMapStatus() override;

   /// A new route map of that name with the other attributes of `src`, the defaults of a null; features are computed once, at the end.
   static Quoin::Ptr<RouteMapStatus> newFrom( const Quoin::Ptr<const RouteMapStatus> & src, const Quoin::String & name );
   void clone( const Zeugma::BaseNotifyingType & source ) override;

   /// A new route map of the same name with new sequences that share matchers, setters and sub route maps with these. It has no
   /// continues and no maps for aggregates, and knows nothing yet of what is undefined.
   Quoin::Ptr<RouteMapStatus> deepCopy() const;

   const Quoin::String & name() const noexcept { return name_; }

   /// The sequences in ascending order of number.
   const Sequences & seqStatus() const noexcept { return seqStatus_; }
   /// Null when there is none of that number.
   Quoin::Ptr<const RouteMapSeqStatus> seqStatus( uint32_t seqno ) const { return Plinth::memberOf( seqStatus_, seqno ); }
   /// Stores under the sequence's own number, replacing what is there. While updateFeaturesOnSeqStatusChange is set, each real change computes
   /// features over all sequences; who stores many turns it off and calls updateFeatures() at the end.
   /// Errors: MutatorArgNullPointerException on null.
   void seqStatusIs( const Quoin::Ptr<const RouteMapSeqStatus> & seq );
   void seqStatusDel( uint32_t seqno );
   void seqStatusDelAll();
   /// What a change of the sequences sets off.
   void handleSeqStatus();
   /// Computes `features` over the sequences, and turns updateFeaturesOnSeqStatusChange on.
   void updateFeatures();

   void dumpState( const Zeugma::DumpContextPtr & ctx, unsigned indent ) const;

   /// What the route map reads of a route.
   PLINTH_ATTR( features, featuresIs, Field::features, RouteMapFeatures );
   /// What it refers to, through calls too, although it does not exist. A new route map says so of everything.
   PLINTH_ATTR( undefinedReferences, undefinedReferencesIs, Field::undefinedReferences, UndefinedPolicyReferenceBitfield );

   /// The route map is referred to but not defined.
   bool undefined() const noexcept { return undefined_; }
   void undefinedIs( bool undefined );
   /// Off while many sequences are stored.
   bool updateFeaturesOnSeqStatusChange() const noexcept { return updateFeaturesOnSeqStatusChange_; }
   void updateFeaturesOnSeqStatusChangeIs( bool update );

 private:
   bool updateFeaturesOnSeqStatusChange_ : 1 = true;
   bool undefined_ : 1 = false;
   Quoin::String name_;
   Sequences seqStatus_;
};

}   // namespace Routing::Policy
