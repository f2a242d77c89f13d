#include "compile/SequenceChange.h"

namespace Routing::Policy {

Quoin::Ptr<SequenceChange> sequenceChangeFactory( uint32_t seqno ) {
   return Quoin::makeNode<SequenceChange>( seqno );
}

}   // namespace Routing::Policy
