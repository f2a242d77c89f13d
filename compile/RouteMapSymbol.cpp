#include "compile/RouteMapSymbol.h"

#include "substrate/plinth/Trace.h"
#include "substrate/quoin/DisplayPointer.h"
#include "substrate/trailmark/Trailmark.h"
#include "substrate/zeugma/HashMix.h"

namespace Routing::Policy {

namespace {

const Plinth::TraceHandle trace( "RouteMapSymbol" );
const Trailmark::MsgDesc updatedMsg( "{} updated to version {}" );

}   // namespace

void RouteMapSymbol::updateAndNotify( const Quoin::Ptr<const RouteMapStatus> & status ) {
   const Quoin::Ptr<RouteMapSymbol> self( this );   // a reaction may release the last reference
   if( status != rmStatus_ ) rmStatusIs( status );
   statusCurrentIs( true );
   if( notifier() ) notifier()->versionInc( 1 );
   const uint32_t version = notifierVersion();
   PLINTH_TRACE( trace, level8 ) << Quoin::DisplayPointer::toString( this ) << "Updated to version=" << version;
   Trailmark::defaultTrailmarkHandle().write( updatedMsg, name(), version );
}

Quoin::Ptr<RouteMapSymbol> RouteMapSymbol::dedup( const Quoin::Ptr<const RouteMapSymbolDedupTable> & table ) {
   return table->dedup( Quoin::Ptr<RouteMapSymbol>( this ) );
}

uint32_t RouteMapSymbol::hashOf( const Quoin::String & name ) noexcept {
   const uint32_t hash = name.hash();
   Zeugma::HashMix mix;
   mix.mixBytes4( reinterpret_cast<const unsigned char *>( &hash ) );
   return mix;
}

uint32_t RouteMapSymbol::hash() const {
   return hashOf( name() );
}

Quoin::Ptr<RouteMapSymbol> routeMapSymbolFactory( const Quoin::String & name ) {
   return Quoin::makeNode<RouteMapSymbol>( name );
}

Quoin::Ptr<AllRouteMapSymbol> allRouteMapSymbolFactory() {
   return Quoin::makeNode<AllRouteMapSymbol>();
}

}   // namespace Routing::Policy
