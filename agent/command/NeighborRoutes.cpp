#include "command/NeighborRoutes.h"

#include <fmt/format.h>

#include <utility>
#include <vector>

#include "analysis/References.h"
#include "command/Console.h"
#include "text/Operands.h"

namespace Agent {

namespace {

constexpr size_t kMostPeers = 5;   // in one message

std::string nameOf( const Ferule::IpGenAddr & peer ) {
   return peer.bits().none() ? "local" : std::string( peer.toStrep().view() );
}

}   // namespace

NeighborRoutes::NeighborRoutes( std::string name ) : name_( std::move( name ) ), address_( parseAddress( name_ ) ) {}

std::string NeighborRoutes::whyNot( const TableRoute & route ) const {
   const std::string announcer = route.peer.bits().none() ? "this router" : "peer " + nameOf( route.peer );
   return fmt::format( "{} announced the route, not neighbor {}", announcer, name_ );
}

std::string NeighborRoutes::textOf( uint64_t leftOut, uint64_t routes, const std::set<Ferule::IpGenAddr> & peers ) const {
   if( leftOut != routes ) return fmt::format( "left out: {} of other peers", quantity( leftOut, "route" ) );
   std::vector<std::string> names;
   names.reserve( peers.size() );
   for( const auto & peer : peers ) names.push_back( nameOf( peer ) );
   return fmt::format( "no route is of neighbor {}; the peers of the table are {}", name_, joined( names, kMostPeers, ", " ) );
}

}   // namespace Agent
