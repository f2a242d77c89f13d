#include "compile/SequenceChangeSymbol.h"

namespace Routing::Policy {

Quoin::Ptr<SequenceChangeSymbol> sequenceChangeSymbolFactory( uint32_t seqno ) {
   return Quoin::makeNode<SequenceChangeSymbol>( seqno );
}
Quoin::Ptr<SubRouteMapChangeSymbol> subRouteMapChangeSymbolFactory( const Quoin::Ptr<const RouteMapSymbol> & symbol ) {
   return Quoin::makeNode<SubRouteMapChangeSymbol>( symbol );
}
Quoin::Ptr<AggRoleAttrMapChangeSymbol> aggRoleAttrMapChangeSymbolFactory( const Quoin::Ptr<const RouteMapSymbol> & symbol ) {
   return Quoin::makeNode<AggRoleAttrMapChangeSymbol>( symbol );
}

}   // namespace Routing::Policy
