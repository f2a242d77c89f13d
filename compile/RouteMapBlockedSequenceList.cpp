#include "compile/RouteMapBlockedSequenceList.h"

namespace Routing::Policy {

void RouteMapBlockedSequenceList::sequenceIs( uint32_t seqno, bool blocked ) {
   Plinth::putMember( publisher_, Quoin::FieldId( Field::sequence ), "sequenceIs", sequence_, seqno, blocked );
}

void RouteMapBlockedSequenceList::sequenceDel( uint32_t seqno ) {
   Plinth::eraseMember( publisher_, Quoin::FieldId( Field::sequence ), sequence_, seqno );
}

void RouteMapBlockedSequenceList::sequenceDelAll() {
   const Quoin::ReleaseScope whole;   // a reaction may release the list
   for( auto i = sequence_.safeIterator(); i; i.next() ) sequenceDel( i.key() );
}

}   // namespace Routing::Policy
