#include "compile/SequenceChange.h"

namespace Routing::Policy {

MatcherChange::~MatcherChange() = default;
SetterChange::~SetterChange() = default;
ContinueChange::~ContinueChange() = default;
SequenceChange::~SequenceChange() = default;

Quoin::Ptr<SequenceChange> sequenceChangeFactory( uint32_t seqno ) {
   return Quoin::makeNode<SequenceChange>( seqno );
}

}   // namespace Routing::Policy
