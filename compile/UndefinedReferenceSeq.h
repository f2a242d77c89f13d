/// @file compile/UndefinedReferenceSeq.h
#pragma once

#include <array>

#include "compile/ModifiedRouteMapSeqStatus.h"
#include "policy/RouteMapStatus.h"

namespace Routing::Policy {

/// The undefined references of one route map, by sequence: direct references, and references through other route maps. The machine of the
/// route map writes it, and merges it into RouteMapStatus::undefinedReferences. The three maps do not contain a sequence without undefined
/// references.
/// Threading: the activity thread.
class ROUTEPOLICY_API UndefinedReferenceSeq final : public Quoin::Node {
 public:
   using References = Plinth::HashMap2018<uint32_t, UndefinedPolicyReferenceBitfield>;   // by sequence number

   // clang-format off
   // Writing 0 deletes.
#define UNDEFINED_REFERENCES( foo, fooIs, fooDel )                                                              \
 public:                                                                                                        \
   const References & foo() const noexcept { return foo##_; }                                                   \
   UndefinedPolicyReferenceBitfield foo( uint32_t seqno ) const { return Plinth::memberOf( foo##_, seqno ); }   \
                                                                                                                \
 private:                                                                                                       \
   References foo##_;                                                                                           \
                                                                                                                \
 public:                                                                                                        \
   void fooIs( uint32_t seqno, UndefinedPolicyReferenceBitfield undefined ) { put( foo##_, seqno, undefined ); }\
   void fooDel( uint32_t seqno ) { put( foo##_, seqno, {} ); }

   /// The undefined references of the sequence itself.
   UNDEFINED_REFERENCES( directSequenceReference, directSequenceReferenceIs, directSequenceReferenceDel );
   /// The undefined references of its callee.
   UNDEFINED_REFERENCES( subRouteMapReference, subRouteMapReferenceIs, subRouteMapReferenceDel );
   /// The undefined references of its aggregate role attribute map.
   UNDEFINED_REFERENCES( aggRoleAttrMapReference, aggRoleAttrMapReferenceIs, aggRoleAttrMapReferenceDel );
#undef UNDEFINED_REFERENCES
   // clang-format on

   /// Takes over the bits that an entry of the next generation has computed again. The other bits of the sequence stay.
   void updateDirectSequenceReference( uint32_t seqno, const ModifiedRouteMapSeqStatus & entry );

   /// Whether a called route map has no undefined references to inherit: it has no status, or no bit is set.
   bool shouldRemoveUndefinedReferenceForRouteMap( const Quoin::Ptr<const RouteMapStatus> & status ) const;
   void updateSubRouteMapReference( uint32_t seqno, const Quoin::Ptr<const RouteMapStatus> & status );
   void updateAggRoleAttrMapReference( uint32_t seqno, const Quoin::Ptr<const RouteMapStatus> & status );

   /// Deletes a sequence from all three maps.
   void removeSeq( uint32_t seqno );
   bool hasUndefinedReference() const noexcept;
   /// The union over all sequences and maps.
   UndefinedPolicyReferenceBitfield mergedUndefinedReferences() const;

 private:
   void put( References & references, uint32_t seqno, UndefinedPolicyReferenceBitfield undefined );

   std::array<uint32_t, 8> uses_{};   // how many members of the three maps have each bit
};

}   // namespace Routing::Policy
