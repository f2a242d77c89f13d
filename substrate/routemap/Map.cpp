#include "substrate/routemap/Map.h"

namespace Routing::RouteMap {

Map::~Map() {
   for( const auto & [ seqno, entry ] : mapEntry_ ) unlink( *entry );
}

void Map::unlink( MapEntry & entry ) {
   entry.map_ = nullptr;
   callChanged( entry.subRouteMap().name, {} );
}

void Map::callChanged( const Quoin::String & from, const Quoin::String & to ) {
   if( !callOrder_ ) return;
   callOrder_->callIs( name_, to );
   callOrder_->callDel( name_, from );
}

void Map::callOrderIs( const Quoin::Ptr<CallOrder> & order ) {
   for( const auto & [ seqno, entry ] : mapEntry_ ) callChanged( entry->subRouteMap().name, {} );
   callOrder_ = order;
   for( const auto & [ seqno, entry ] : mapEntry_ ) callChanged( {}, entry->subRouteMap().name );
}

}   // namespace Routing::RouteMap
