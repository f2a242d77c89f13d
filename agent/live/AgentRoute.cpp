#include "live/AgentRoute.h"

#include <array>

#include "compile/CommonComponent.h"

namespace Agent {

using Routing::RouteProto;

namespace {

// The library's number of each protocol, by this agent's.
RouteProto routeProtoOf( SourceProtocol protocol ) {
   static const auto kProtos = [] {
      std::array<RouteProto, 10> protos{};
      for( unsigned n = 1; n < protos.size(); ++n )
         protos[ n ] = Routing::Policy::routeMapProtocolToRouteProto( Routing::RouteMap::Protocol( n ) );
      return protos;
   }();
   return isNative( protocol ) ? kProtos[ unsigned( protocol ) ] : kProtos[ 0 ];
}

}   // namespace

void AgentRoute::routeIs( const TableRoute & route ) {
   route_ = &route;
   prefixIs( route.prefix );
   nexthopIs( route.nextHop );
   metricIs( route.metric );
   tagIs( route.tag );
   protocolIs( routeProtoOf( route.protocol ) );
   ospfInstanceIs( route.ospfInstance );
   isisInstanceIs( route.isisInstance );
   hasKeys_ = false;
}

std::span<const uint64_t> AgentRoute::getOwnKeys() const {
   if( !hasKeys_ && route_ ) {
      keys_.clear();
      keysAre( keys_, *route_ );
      hasKeys_ = true;
   }
   return { keys_.data(), keys_.size() };
}

void AgentResult::routeIs( const TableRoute & from ) {
   deferredSetterDelAll();
   preferenceIs( 0 );
   tagIs( from.tag );
   metricIs( from.metric );
   route = from;
}

}   // namespace Agent
