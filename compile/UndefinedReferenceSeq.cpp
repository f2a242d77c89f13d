#include "compile/UndefinedReferenceSeq.h"

#include "substrate/plinth/Trace.h"

namespace Routing::Policy {

namespace {

const Plinth::TraceHandle trace( "UndefinedReferenceSeq" );

}   // namespace

void UndefinedReferenceSeq::put( References & references, uint32_t seqno, UndefinedPolicyReferenceBitfield undefined ) {
   const uint8_t old = Plinth::memberOf( references, seqno ).value;
   if( undefined.value == old ) return;
   for( size_t bit = 0; bit < uses_.size(); ++bit ) uses_[ bit ] += ( undefined.value >> bit & 1u ) - ( old >> bit & 1u );
   if( undefined.value != 0 )
      references.put( seqno, undefined );
   else
      references.erase( seqno );
}

void UndefinedReferenceSeq::updateDirectSequenceReference( uint32_t seqno, const ModifiedRouteMapSeqStatus & entry ) {
   const uint8_t existing = directSequenceReference( seqno ).value;
   const uint8_t update = entry.undefinedReferences().value;
   const uint8_t mask = entry.referenceUpdateMask().value;
   const auto now = static_cast<uint8_t>( ( existing & ~mask ) | update );
   PLINTH_TRACE( trace, level9 ) << "seqno=" << seqno << ", existingUndefinedRef=0x" << Plinth::Hex{ existing } << ", updateUndefinedRef=0x"
                                 << Plinth::Hex{ update } << ", mask=0x" << Plinth::Hex{ mask } << ", newUndefinedRef=0x"
                                 << Plinth::Hex{ now };
   directSequenceReferenceIs( seqno, { now } );
}

bool UndefinedReferenceSeq::shouldRemoveUndefinedReferenceForRouteMap( const Quoin::Ptr<const RouteMapStatus> & status ) const {
   return !status || status->undefinedReferences().value == 0;
}

void UndefinedReferenceSeq::updateSubRouteMapReference( uint32_t seqno, const Quoin::Ptr<const RouteMapStatus> & status ) {
   subRouteMapReferenceIs( seqno, status ? status->undefinedReferences() : UndefinedPolicyReferenceBitfield() );
}

void UndefinedReferenceSeq::updateAggRoleAttrMapReference( uint32_t seqno, const Quoin::Ptr<const RouteMapStatus> & status ) {
   aggRoleAttrMapReferenceIs( seqno, status ? status->undefinedReferences() : UndefinedPolicyReferenceBitfield() );
}

void UndefinedReferenceSeq::removeSeq( uint32_t seqno ) {
   directSequenceReferenceDel( seqno );
   subRouteMapReferenceDel( seqno );
   aggRoleAttrMapReferenceDel( seqno );
}

bool UndefinedReferenceSeq::hasUndefinedReference() const noexcept {
   return !directSequenceReference_.empty() || !subRouteMapReference_.empty() || !aggRoleAttrMapReference_.empty();
}

UndefinedPolicyReferenceBitfield UndefinedReferenceSeq::mergedUndefinedReferences() const {
   UndefinedPolicyReferenceBitfield merged;
   for( size_t bit = 0; bit < uses_.size(); ++bit )
      if( uses_[ bit ] != 0 ) merged.value |= static_cast<uint8_t>( 1u << bit );
   return merged;
}

}   // namespace Routing::Policy
