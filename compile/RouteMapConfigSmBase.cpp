#include "compile/RouteMapConfigSmBase.h"

namespace Routing::Policy {

using Routing::RouteMap::Map;
using Routing::RouteMap::MapEntry;

RouteMapConfigSmBase::RouteMapConfigSmBase( const Quoin::Ptr<const Map> & routeMap ) : routeMap_( routeMap ) {
   routeMapReactor_.notifierIs( routeMap );
}

RouteMapConfigSmBase::~RouteMapConfigSmBase() = default;

Quoin::Ptr<const MapEntry> RouteMapConfigSmBase::seqConfig( uint32_t seqno ) const {
   if( !routeMap_ ) return nullptr;
   const auto & entries = routeMap_->mapEntry();
   if( !found_.entry || found_.seqno != seqno || found_.version != entries.version() )
      found_ = { entries.find( seqno ), seqno, entries.version() };
   return found_.entry ? Quoin::Ptr<const MapEntry>( *found_.entry ) : nullptr;
}

void RouteMapConfigSmBase::handleInitialized() {
   continueSeqMap_ = Quoin::makeNode<ContinueSeqMap>( routeMap_ ? routeMap_->name() : Quoin::String() );
   handleRouteMapSeq();
   handleVersion();
}

void RouteMapConfigSmBase::handleRouteMapSeq() {
   if( !routeMap_ ) return;
   for( auto i = routeMap_->mapEntry().first(); i; i.next() ) handleRouteMapSeq( i.key() );
}

void RouteMapConfigSmBase::handleChangeMissed() {
   handleRouteMapSeq();
   handleVersion();
}

void RouteMapConfigSmBase::handleRouteMap( const Quoin::Change & change ) {
   switch( Map::Field( change.field ) ) {
      case Map::Field::mapEntry: return handleRouteMapSeq( Plinth::keyOf<uint32_t>( change ) );
      case Map::Field::version: return handleVersion();
   }
}

}   // namespace Routing::Policy
