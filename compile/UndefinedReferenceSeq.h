/// @file compile/UndefinedReferenceSeq.h
#pragma once

#include "compile/ModifiedRouteMapSeqStatus.h"
#include "policy/RouteMapStatus.h"

namespace Routing::Policy {

/// Which sequences of one route map refer to what does not exist: themselves, or through the route maps that they refer to. A
/// sequence without such a reference is in none of the three maps, so those of a healthy route map are empty.
/// Threading: the activity thread.
class ROUTEPOLICY_API UndefinedReferenceSeq final : public Quoin::Node {
 public:
   using References = Plinth::HashMap2018<uint32_t, UndefinedPolicyReferenceBitfield>;   // by sequence number
   ~UndefinedReferenceSeq() override;

   // clang-format off
   // A writer that is given 0 deletes.
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
   void fooDel( uint32_t seqno ) { foo##_.erase( seqno ); }

   /// What the sequence itself leaves undefined.
   UNDEFINED_REFERENCES( directSequenceReference, directSequenceReferenceIs, directSequenceReferenceDel );
   /// What its sub route map leaves undefined, all in all.
   UNDEFINED_REFERENCES( subRouteMapReference, subRouteMapReferenceIs, subRouteMapReferenceDel );
   /// What its aggregate role attribute map leaves undefined, all in all.
   UNDEFINED_REFERENCES( aggRoleAttrMapReference, aggRoleAttrMapReferenceIs, aggRoleAttrMapReferenceDel );
#undef UNDEFINED_REFERENCES
   // clang-format on

   /// Takes in what an entry of the next generation has found anew; the sequence's other bits stay.
   void updateDirectSequenceReference( uint32_t seqno, const ModifiedRouteMapSeqStatus & entry );

   /// A route map without a status, or with nothing undefined, leaves nothing to inherit.
   bool shouldRemoveUndefinedReferenceForRouteMap( const Quoin::Ptr<const RouteMapStatus> & status ) const;
   void updateSubRouteMapReference( uint32_t seqno, const Quoin::Ptr<const RouteMapStatus> & status );
   void updateAggRoleAttrMapReference( uint32_t seqno, const Quoin::Ptr<const RouteMapStatus> & status );

   void removeSeq( uint32_t seqno );
   bool hasUndefinedReference() const noexcept;
   /// Of the whole route map.
   UndefinedPolicyReferenceBitfield mergedUndefinedReferences() const;

 private:
   static void put( References & references, uint32_t seqno, UndefinedPolicyReferenceBitfield undefined );
   void inherit( References & references, uint32_t seqno, const Quoin::Ptr<const RouteMapStatus> & status );
};

}   // namespace Routing::Policy
