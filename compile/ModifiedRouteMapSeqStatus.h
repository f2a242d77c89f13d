/// @file compile/ModifiedRouteMapSeqStatus.h
/// One sequence of the next generation of a route map, and the list in which that generation is put together.
/// Threading: the activity thread.
#pragma once

#include <ostream>

#include "compile/DescendingSeqnoKey.h"
#include "compile/SeqUndefinedReferencesOptionTracker.h"
#include "compile/SequenceChange.h"
#include "policy/RouteMapSeqStatus.h"
#include "policy/UndefinedPolicyReference.h"
#include "substrate/plinth/TreeMap.h"
#include "substrate/quoin/NotifyingNode.h"

namespace Routing::Policy {

/// Which bits of an UndefinedPolicyReferenceBitfield have been found anew. A plain value of one byte.
struct UndefinedPolicyReferenceBitMask {
   enum Bit : uint8_t { subRouteMapSet = 1, prefixListSet = 2, commListSet = 4, aggRoleAttrMapSet = 8 };
   uint8_t value = 0;
   constexpr bool has( Bit bit ) const noexcept { return value & bit; }
   friend constexpr UndefinedPolicyReferenceBitMask operator|( UndefinedPolicyReferenceBitMask a,
                                                               UndefinedPolicyReferenceBitMask b ) noexcept {
      return { static_cast<uint8_t>( a.value | b.value ) };
   }
   friend constexpr bool operator==( UndefinedPolicyReferenceBitMask, UndefinedPolicyReferenceBitMask ) = default;
   static bool isEq( const void * a, const void * b ) noexcept { return Quoin::isEqOf<UndefinedPolicyReferenceBitMask>( a, b ); }
   constexpr uint32_t hash() const noexcept { return value; }
};
/// The number.
ROUTEPOLICY_API std::ostream & operator<<( std::ostream & os, UndefinedPolicyReferenceBitMask mask );

/// A plain value. Without a status, and with a key, it is a tombstone: the sequence leaves the route map.
class ROUTEPOLICY_API ModifiedRouteMapSeqStatus {
 public:
   ModifiedRouteMapSeqStatus() = default;
   explicit ModifiedRouteMapSeqStatus( DescendingSeqnoKey key, Quoin::Ptr<RouteMapSeqStatus> seqStatus = nullptr,
                                       Quoin::Ptr<SeqUndefinedReferencesOptionTracker> undefinedRefsTracker = nullptr )
         : seqStatus_( std::move( seqStatus ) ), undefinedRefsTracker_( std::move( undefinedRefsTracker ) ), key_( key ) {}

   /// The clone that is written to; nobody else has it yet.
   PLINTH_VALUE( seqStatus, seqStatusIs, {}, Quoin::Ptr<RouteMapSeqStatus> );
   /// The sequence's own, which goes on from one generation to the next.
   PLINTH_VALUE( undefinedRefsTracker, undefinedRefsTrackerIs, {}, Quoin::Ptr<SeqUndefinedReferencesOptionTracker> );
   PLINTH_VALUE( key, keyIs, {}, DescendingSeqnoKey );
   /// What the sequence itself leaves undefined, in the bits of the mask.
   PLINTH_VALUE( undefinedReferences, undefinedReferencesIs, {}, UndefinedPolicyReferenceBitfield );
   PLINTH_VALUE( referenceUpdateMask, referenceUpdateMaskIs, {}, UndefinedPolicyReferenceBitMask );

 public:
   // Each of these finds one bit anew. Those of lists go by what the tracker says of all the sequence's clauses together; a
   // tombstone has none, and must not come here.
   void setSubRouteMapUndefined( bool undefined );
   void setAggRoleAttrMapUndefined( bool undefined );
   void setPrefixListUndefined( MatchOption option, bool undefined );
   void setCommListUndefinedFromMatcher( MatchOption option, bool undefined );
   void setCommListUndefinedFromSetter( SetOption option, bool undefined );
   /// By what the tracker says already.
   void setCommListUndefined();

   bool undefinedReferenceRequiresUpdate() const noexcept { return referenceUpdateMask_.value != 0; }

   // A clause that goes leaves nothing undefined. Options that refer to no list of these kinds change nothing.
   void maybeSetUndefinedRefFlagFromMatcher( const Quoin::Ptr<const MatcherChange> & matcherChange );
   void maybeSetUndefinedRefFlagFromSetter( const Quoin::Ptr<const SetterChange> & setterChange );

   /// Whether there is anything in it. A tombstone of sequence 0 is like none at all.
   explicit operator bool() const { return *this != ModifiedRouteMapSeqStatus(); }
   friend bool operator==( const ModifiedRouteMapSeqStatus &, const ModifiedRouteMapSeqStatus & ) = default;
   static bool isEq( const void * a, const void * b ) { return Quoin::isEqOf<ModifiedRouteMapSeqStatus>( a, b ); }
   /// By the key alone.
   uint32_t hash() const noexcept { return key_.hash(); }

 private:
   SeqUndefinedReferencesOptionTracker & tracker() const;
   void found( UndefinedPolicyReferenceBitfield::Bit bit, bool undefined ) noexcept;
};

ROUTEPOLICY_API std::ostream & operator<<( std::ostream & os, const ModifiedRouteMapSeqStatus & entry );

/// The sequences that the next generation changes, the highest number first: a sequence finds those that it may continue to done.
/// Iteration has tombstones too.
class ROUTEPOLICY_API ModifiedRouteMapSeqStatusList final : public Quoin::NotifyingNode {
 public:
   enum class Field : Quoin::FieldId { seqStatus };
   using Entries = Plinth::TreeMap<DescendingSeqnoKey, ModifiedRouteMapSeqStatus>;
   ~ModifiedRouteMapSeqStatusList() override;

   const Entries & seqStatus() const noexcept { return entries_; }
   /// An empty entry where there is none.
   ModifiedRouteMapSeqStatus seqStatus( DescendingSeqnoKey key ) const { return Plinth::memberOf( entries_, key ); }
   /// The entry itself; null where there is none, or an empty one. Good until the next write.
   const ModifiedRouteMapSeqStatus * seqStatusGet( DescendingSeqnoKey key ) const {
      const auto * entry = entries_.find( key );
      return entry && *entry ? entry : nullptr;
   }
   /// By the entry's own key.
   void seqStatusIs( const ModifiedRouteMapSeqStatus & entry );
   /// Gives what is taken out, an empty entry where there was none.
   ModifiedRouteMapSeqStatus seqStatusDel( DescendingSeqnoKey key );
   void seqStatusDelAll();

 private:
   Entries entries_;
};

}   // namespace Routing::Policy
