#include "compile/SetClauses.h"

namespace Routing::Policy {

SequenceSetters::~SequenceSetters() = default;
SetClauses::~SetClauses() = default;

const Quoin::Ptr<SequenceSetters> & SetClauses::of( const Quoin::String & routeMap, uint32_t seqno ) {
   auto & setters = sequences_[ { routeMap, seqno } ];
   if( !setters ) setters = Quoin::makeNode<SequenceSetters>();
   return setters;
}

}   // namespace Routing::Policy
