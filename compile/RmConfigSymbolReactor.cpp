#include "compile/RmConfigSymbolReactor.h"

namespace Routing::Policy {

void RmConfigSymbolReactor::removePendingMatcherForSeq( uint32_t seqno, MatchOption option ) {
   if( const auto update = pendingUpdate( seqno ) ) update->matcherChangeDel( option );
}

void RmConfigSymbolReactor::removePendingSetterForSeq( uint32_t seqno, SetOption option ) {
   if( const auto update = pendingUpdate( seqno ) ) update->setterChangeDel( option );
}

Quoin::Ptr<RmConfigSymbolReactor> rmConfigSymbolReactorFactory( const Quoin::String & name ) {
   return Quoin::makeNode<RmConfigSymbolReactor>( name );
}

}   // namespace Routing::Policy
