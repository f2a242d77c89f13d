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
constexpr char kNotSentBack[] = "bgpd sends no route back to the peer that announced it";

std::string nameOf( const Ferule::IpGenAddr & peer ) {
   return peer.bits().none() ? "local" : std::string( peer.toStrep().view() );
}

}   // namespace

NeighborRoutes::NeighborRoutes( std::string name, Direction direction )
      : name_( std::move( name ) ), address_( parseAddress( name_ ) ), direction_( direction ) {}

std::optional<Ferule::IpGenAddr> NeighborRoutes::receiver() const noexcept {
   if( direction_ == Direction::in ) return std::nullopt;
   return address_.value_or( Ferule::IpGenAddr() );
}

std::string NeighborRoutes::whyNot( const TableRoute & route ) const {
   if( direction_ == Direction::out ) return fmt::format( "the route is of neighbor {} itself: {}", name_, kNotSentBack );
   const std::string announcer = route.peer.bits().none() ? "this router" : "peer " + nameOf( route.peer );
   return fmt::format( "{} announced the route, not neighbor {}", announcer, name_ );
}

std::string NeighborRoutes::textOf( uint64_t leftOut, uint64_t routes, const std::set<Ferule::IpGenAddr> & peers ) const {
   const bool isAll = leftOut == routes;
   if( direction_ == Direction::out ) {
      if( isAll ) return fmt::format( "every route is of neighbor {} itself: {}", name_, kNotSentBack );
      return fmt::format( "left out: {} of neighbor {} itself; {}", quantity( leftOut, "route" ), name_, kNotSentBack );
   }
   if( !isAll ) return fmt::format( "left out: {} of other peers", quantity( leftOut, "route" ) );
   std::vector<std::string> names;
   names.reserve( peers.size() );
   for( const auto & peer : peers ) names.push_back( nameOf( peer ) );
   return fmt::format( "no route is of neighbor {}; the peers of the table are {}", name_, joined( names, kMostPeers, ", " ) );
}

}   // namespace Agent
