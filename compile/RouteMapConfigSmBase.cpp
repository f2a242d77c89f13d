#include "compile/RouteMapConfigSmBase.h"

namespace Routing::Policy {

using Routing::RouteMap::Map;
using Routing::RouteMap::MapEntry;

RouteMapConfigSmBase::RouteMapConfigSmBase( const Quoin::Ptr<const Map> & routeMap ) : routeMap_( routeMap ) {
   routeMapReactor_.notifierIs( routeMap );
}

RouteMapConfigSmBase::~RouteMapConfigSmBase() = default;

const MapEntry * RouteMapConfigSmBase::lookUp( uint32_t seqno ) const {
   const auto & entries = routeMap_->mapEntry();
   const auto * entry = entries.find( seqno );
   found_ = { entry ? entry->get() : nullptr, seqno, entries.version() };
   return found_.entry;
}

void RouteMapConfigSmBase::handleInitialized() {
   continueSeqMap_ = Quoin::makeNode<ContinueSeqMap>( routeMap_ ? routeMap_->name() : Quoin::String() );
   handleRouteMapSeq();
   handleVersion();
}

void RouteMapConfigSmBase::handleRouteMapSeq() {
   if( !routeMap_ ) return;
   const auto & entries = routeMap_->mapEntry();
   for( auto i = entries.first(); i; i.next() ) {
      found_ = { i.value().get(), i.key(), entries.version() };
      handleRouteMapSeq( i.key() );
   }
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
