#include "compile/ContinueSeqMap.h"

namespace Routing::Policy {

uint32_t ContinueSeqMap::continueSeq( uint32_t seqno ) const {
   auto * member = members_.find( seqno );
   return member ? ( *member )->target() : 0;
}

void ContinueSeqMap::continueSeqIs( uint32_t seqno, uint32_t target ) {
   if( auto * member = members_.find( seqno ) )
      ( *member )->targetIs( target );
   else
      members_.put( seqno, Quoin::makeNode<PlinthContinueSeq>( seqno, target ) );
}

}   // namespace Routing::Policy
