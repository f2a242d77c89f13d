/// @file compile/ModifiedRouteMapSeqStatus.h
/// The next generation of a route map while the machine builds it: a list of its changed sequences. RouteMapConfigSymbolSm writes the list,
/// and publishes a RouteMapStatus from it.
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

/// The bits of an UndefinedPolicyReferenceBitfield that were computed again. A plain value of one byte.
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
/// Prints the value as a number.
ROUTEPOLICY_API std::ostream & operator<<( std::ostream & os, UndefinedPolicyReferenceBitMask mask );

/// One changed sequence of the next generation. A plain value. An entry with a key and without a status is a tombstone: it deletes the
/// sequence.
class ROUTEPOLICY_API ModifiedRouteMapSeqStatus {
 public:
   ModifiedRouteMapSeqStatus() = default;
   explicit ModifiedRouteMapSeqStatus( DescendingSeqnoKey key, Quoin::Ptr<RouteMapSeqStatus> seqStatus = nullptr,
                                       Quoin::Ptr<SeqUndefinedReferencesOptionTracker> undefinedRefsTracker = nullptr )
         : seqStatus_( std::move( seqStatus ) ), undefinedRefsTracker_( std::move( undefinedRefsTracker ) ), key_( key ) {}

   /// The copy of the sequence that is being written. It is not yet published.
   PLINTH_VALUE( seqStatus, seqStatusIs, {}, Quoin::Ptr<RouteMapSeqStatus> );
   /// The tracker of the sequence. All generations of the sequence share it.
   PLINTH_VALUE( undefinedRefsTracker, undefinedRefsTrackerIs, {}, Quoin::Ptr<SeqUndefinedReferencesOptionTracker> );
   PLINTH_VALUE( key, keyIs, {}, DescendingSeqnoKey );
   /// The undefined references of the sequence itself. Only the bits of the mask are valid.
   PLINTH_VALUE( undefinedReferences, undefinedReferencesIs, {}, UndefinedPolicyReferenceBitfield );
   PLINTH_VALUE( referenceUpdateMask, referenceUpdateMaskIs, {}, UndefinedPolicyReferenceBitMask );

 public:
   // Each function computes one bit again. The bits for lists come from the tracker, for the whole sequence. A tombstone has no tracker: a
   // call for lists ends the process.
   void setSubRouteMapUndefined( bool undefined ) { found( UndefinedPolicyReferenceBitfield::subRouteMapUndefined, undefined ); }
   void setAggRoleAttrMapUndefined( bool undefined ) { found( UndefinedPolicyReferenceBitfield::aggRoleAttrMapUndefined, undefined ); }
   void setPrefixListUndefined( MatchOption option, bool undefined );
   void setCommListUndefinedFromMatcher( MatchOption option, bool undefined );
   void setCommListUndefinedFromSetter( SetOption option, bool undefined );
   /// Computes the bit from the tracker, without a change of a clause.
   void setCommListUndefined();

   bool undefinedReferenceRequiresUpdate() const noexcept { return referenceUpdateMask_.value != 0; }

   // A deleted clause refers to nothing. Options without a list of these kinds change nothing.
   void maybeSetUndefinedRefFlagFromMatcher( const Quoin::Ptr<const MatcherChange> & matcherChange );
   void maybeSetUndefinedRefFlagFromSetter( const Quoin::Ptr<const SetterChange> & setterChange );

   /// Whether the entry differs from an empty one. A tombstone of sequence 0 equals an empty entry.
   explicit operator bool() const { return *this != ModifiedRouteMapSeqStatus(); }
   friend bool operator==( const ModifiedRouteMapSeqStatus &, const ModifiedRouteMapSeqStatus & ) = default;
   static bool isEq( const void * a, const void * b ) { return Quoin::isEqOf<ModifiedRouteMapSeqStatus>( a, b ); }
   /// The hash of the key alone.
   uint32_t hash() const noexcept { return key_.hash(); }

 private:
   SeqUndefinedReferencesOptionTracker & tracker() const;
   void found( UndefinedPolicyReferenceBitfield::Bit bit, bool undefined ) noexcept;
};

ROUTEPOLICY_API std::ostream & operator<<( std::ostream & os, const ModifiedRouteMapSeqStatus & entry );

/// The sequences that the next generation changes, the highest number first: the targets of a continue are complete before the sequences
/// that continue to them. Iteration includes tombstones.
class ROUTEPOLICY_API ModifiedRouteMapSeqStatusList final : public Quoin::NotifyingNode {
 public:
   enum class Field : Quoin::FieldId { seqStatus };
   using Entries = Plinth::TreeMap<DescendingSeqnoKey, ModifiedRouteMapSeqStatus>;

   const Entries & seqStatus() const noexcept { return entries_; }
   /// The entry of a sequence; an empty entry if it does not exist.
   ModifiedRouteMapSeqStatus seqStatus( DescendingSeqnoKey key ) const { return Plinth::memberOf( entries_, key ); }
   /// The entry of a sequence; null if it does not exist or is empty. The next write invalidates the pointer.
   const ModifiedRouteMapSeqStatus * seqStatusGet( DescendingSeqnoKey key ) const {
      const auto * entry = entries_.find( key );
      return entry && *entry ? entry : nullptr;
   }
   /// Stores an entry under its own key.
   void seqStatusIs( const ModifiedRouteMapSeqStatus & entry );
   /// Deletes and returns the entry; an empty entry if it did not exist.
   ModifiedRouteMapSeqStatus seqStatusDel( DescendingSeqnoKey key );
   void seqStatusDelAll();

 private:
   Entries entries_;
};

}   // namespace Routing::Policy
