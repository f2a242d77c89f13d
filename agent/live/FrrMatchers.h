/// @file agent/live/FrrMatchers.h
/// Matchers that differ in the dialect of FRR. Threading: thread-safe.
#pragma once

#include <cstdint>
#include <string>

#include "live/AccessList.h"
#include "live/AgentMatchers.h"
#include "live/RouteKeys.h"
#include "policy/PrefixListMatcher.h"

namespace Agent {

/// The next hop of a route in that family. FRR gives each route one of each family; it is zero if the route has none.
/// Errors: Unanswered if only the daemon knows it.
inline Ferule::IpGenAddr frrNextHop( const TableRoute & route, AddressFamily af ) {
   if( af == AddressFamily::ipv6 )
      expectKnown( route, "ipv6 next-hop peer-address" );
   else if( const auto * const value = route.other( "ip next-hop" ); value && *value != "unchanged" )
      expectKnown( route, "ip next-hop" );
   if( route.nextHop.af() == af ) return route.nextHop;
   return route.otherNextHop.af() == af ? route.otherNextHop : Ferule::IpGenAddr( af );
}
inline Ferule::IpGenAddr frrNextHop( const MatchInput_ * input, AddressFamily af ) {
   if( const auto * const route = tableRouteOf( input ) ) return frrNextHop( *route, af );
   return input->getNexthop().af() == af ? input->getNexthop() : Ferule::IpGenAddr( af );
}

/// Matches a route with this metric. A route without a metric has the metric 0. Errors: Unanswered.
class FrrMetricMatcher final : public Matcher {
 public:
   explicit FrrMetricMatcher( Zeugma::MaybeU63 metric ) noexcept : metric_( metric.value() ) {}
   bool match( const MatchInput_ * input, const Quoin::Ptr<PolicyEvalContext> & ) const override {
      if( const auto * const route = tableRouteOf( input ) ) expectKnown( *route, "metric" );
      return input->getMetric().value() == metric_;
   }
   void keys( MatchKeys & keys ) const override {
      using Routing::Policy::MatchKey;
      keys.keyIs( MatchKey::metric( Zeugma::MaybeU63( metric_ ) ) );
      if( metric_ == 0 ) keys.keyIs( MatchKey::metric( {} ) );
      keys.keyIs( MatchKey::own( unknownKey( "metric" ) ) );
      keys.mayThrow();
   }
   void formatDerivedType( std::ostream & os ) const override { os << "FrrMetricMatcher metric " << std::to_string( metric_ ); }

 private:
   uint64_t metric_;
};

/// Matches a route with this next hop in the family of the address.
class FrrNextHopMatcher final : public Matcher {
 public:
   explicit FrrNextHopMatcher( Ferule::IpGenAddr nextHop ) noexcept : nextHop_( nextHop ) {}
   bool match( const MatchInput_ * input, const Quoin::Ptr<PolicyEvalContext> & ) const override {
      return frrNextHop( input, nextHop_.af() ) == nextHop_;
   }
   void keys( MatchKeys & keys ) const override { keys.mayThrow(); }
   void formatDerivedType( std::ostream & os ) const override { os << "FrrNextHopMatcher next-hop " << nextHop_.toStrep(); }

 private:
   Ferule::IpGenAddr nextHop_;
};

/// Matches if an access list of FRR permits the prefix of the route.
class FrrAccessListMatcher final : public Matcher {
 public:
   using Status = Routing::RouteMap::IpAccessListStatus;
   FrrAccessListMatcher( const Quoin::String & name, const Quoin::Ptr<const Status> & status )
         : name_( name ), list_( Quoin::staticPtrCast<const AccessList>( status ) ), status_( status ) {}
   bool match( const MatchInput_ * input, const Quoin::Ptr<PolicyEvalContext> & ) const override {
      return list_ && list_->permits( input->prefix() );
   }
   void keys( MatchKeys & keys ) const override { keys.skippable(); }
   const Quoin::String & name() const noexcept { return name_; }
   const Quoin::Ptr<const Status> & status() const noexcept { return status_; }
   void formatDerivedType( std::ostream & os ) const override { os << "FrrAccessListMatcher list " << name_; }

 private:
   Quoin::String name_;
   Quoin::Ptr<const AccessList> list_;
   Quoin::Ptr<const Status> status_;   // the same
};

/// Which address of a route a list gets.
using FrrAddressOf = Ferule::IpGenAddr ( * )( const MatchInput_ * input );

/// The next hop in the family of the route. Errors: Unanswered.
inline Ferule::IpGenAddr frrNextHopOf( const MatchInput_ * input ) {
   return frrNextHop( input, input->prefix().af() );
}
/// The peer of the route. A step asks whether it is known (live/ValueTests.h).
inline Ferule::IpGenAddr frrPeerOf( const MatchInput_ * input ) noexcept {
   const auto * route = agentRouteOf( input );
   return route ? route->route().peer : Ferule::IpGenAddr();
}

/// Whether the list is a prefix list without a line: FRR lets every next hop and source of its family pass.
inline bool permitsAll( const Routing::RouteMap::PrefixListStatus * list, AddressFamily af ) {
   return list && list->af() == af && list->entryCount() == 0;
}
inline bool permitsAll( const Routing::RouteMap::IpAccessListStatus *, AddressFamily ) {
   return false;
}

/// Matches if a list permits an address of the route as a host prefix, or if the address is unknown.
template <class ListMatcher, class ListStatus, FrrAddressOf addressOf>
class FrrHostListMatcher final : public Matcher {
 public:
   FrrHostListMatcher( const Quoin::String & name, const Quoin::Ptr<const ListStatus> & status )
         : list_( Quoin::makeNode<ListMatcher>( name, status ) ) {}
   bool match( const MatchInput_ * input, const Quoin::Ptr<PolicyEvalContext> & context ) const override {
      if( permitsAll( list_->status().get(), input->prefix().af() ) ) return true;
      const auto address = addressOf( input );
      if( address == Ferule::IpGenAddr() ) return true;
      MatchInput_ host;
      host.prefixIs( Ferule::IpGenPrefix( address ) );
      return list_->match( &host, context );
   }
   const Quoin::Ptr<const ListStatus> & status() const noexcept { return list_->status(); }
   void keys( MatchKeys & keys ) const override { keys.mayThrow(); }
   void formatDerivedType( std::ostream & os ) const override { os << "FrrHostListMatcher list " << list_->name(); }

 private:
   Quoin::Ptr<const ListMatcher> list_;
};

template <class ListMatcher, class ListStatus>
using FrrNextHopListMatcher = FrrHostListMatcher<ListMatcher, ListStatus, frrNextHopOf>;
template <class ListMatcher, class ListStatus>
using FrrRouteSourceMatcher = FrrHostListMatcher<ListMatcher, ListStatus, frrPeerOf>;

}   // namespace Agent
