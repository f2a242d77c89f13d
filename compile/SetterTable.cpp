#include "compile/SetterTable.h"

namespace Routing::Policy {

const Quoin::Ptr<SequenceSetters> & SetterTable::of( const Quoin::String & routeMap, uint32_t seqno ) {
   auto & setters = sequences_[ { routeMap, seqno } ];
   if( !setters ) setters = Quoin::makeNode<SequenceSetters>();
   return setters;
}

}   // namespace Routing::Policy
