/// @file agent/live/AgentMatchers.h
/// The matchers of this agent, beyond those of the library. A matcher shares ownership of its list. For an undefined list the pointer is
/// null, and the matcher matches nothing. Threading: thread-safe.
#pragma once

#include <string_view>
#include <type_traits>
#include <typeinfo>

#include "live/AgentRoute.h"
#include "live/AsPathList.h"
#include "live/CommunityList.h"
#include "live/ValueTests.h"
#include "policy/MatchKeys.h"
#include "policy/Matcher.h"
#include "policy/RoutingPolicyAcl.h"

namespace Agent {

using Routing::Policy::Matcher;
using Routing::Policy::MatchInput_;
using Routing::Policy::MatchKeys;
using Routing::Policy::PolicyEvalContext;

/// The route that an input describes; null for an input of another agent.
inline const AgentRoute * agentRouteOf( const MatchInput_ * input ) noexcept {
   return typeid( *input ) == typeid( AgentRoute ) ? static_cast<const AgentRoute *>( input ) : nullptr;
}
inline const TableRoute * tableRouteOf( const MatchInput_ * input ) noexcept {
   const auto * const route = agentRouteOf( input );
   return route ? &route->route() : nullptr;
}

/// Matches a route over this interface. A route without an interface matches none.
class InterfaceNameMatcher final : public Matcher {
 public:
   explicit InterfaceNameMatcher( const Quoin::String & name ) : name_( name ) {}
   bool match( const MatchInput_ * input, const Quoin::Ptr<PolicyEvalContext> & ) const override {
      const auto * route = tableRouteOf( input );
      return route && !route->interface.empty() && route->interface == name_.view();
   }
   void keys( MatchKeys & keys ) const override { keys.skippable(); }
   void formatDerivedType( std::ostream & os ) const override { os << "InterfaceNameMatcher interface " << name_; }

 private:
   Quoin::String name_;
};

/// Matches if an access list permits the host prefix of the next hop.
class NexthopAccessListMatcher final : public Matcher {
 public:
   using Status = Routing::RouteMap::IpAccessListStatus;
   NexthopAccessListMatcher( const Quoin::String & name, const Quoin::Ptr<const Status> & status )
         : list_( Quoin::makeNode<Routing::Policy::IpAccessListMatcher>( name, status ) ) {}
   bool match( const MatchInput_ * input, const Quoin::Ptr<PolicyEvalContext> & context ) const override {
      MatchInput_ host;
      host.prefixIs( Ferule::IpGenPrefix( input->getNexthop() ) );
      return list_->match( &host, context );
   }
   const Quoin::Ptr<const Status> & status() const noexcept { return list_->status(); }
   void keys( MatchKeys & keys ) const override { list_->keys( keys ); }
   void formatDerivedType( std::ostream & os ) const override { os << "NexthopAccessListMatcher access-list " << list_->name(); }

 private:
   Quoin::Ptr<const Routing::Policy::IpAccessListMatcher> list_;
};

/// Matches if a list of this agent's own kind permits the route. Its table contains only such lists. `comparison` is for lists of
/// communities.
template <class List, class ListStatus>
class RouteListMatcher final : public Matcher {
 public:
   RouteListMatcher( const Quoin::String & name, const Quoin::Ptr<const ListStatus> & status,
                     ListComparison comparison = ListComparison::all )
         : name_( name ), status_( status ), list_( static_cast<const List *>( status.get() ) ), comparison_( comparison ) {}
   const Quoin::Ptr<const ListStatus> & status() const noexcept { return status_; }
   bool match( const MatchInput_ * input, const Quoin::Ptr<PolicyEvalContext> & ) const override {
      const auto * route = tableRouteOf( input );
      if( !list_ || !route ) return false;
      if constexpr( kNeedsKnown ) expectKnown( *route, kSetBy );
      if constexpr( requires { list_->permits( *route, comparison_ ); } )
         return list_->permits( *route, comparison_ );
      else
         return list_->permits( *route );
   }
   void keys( MatchKeys & keys ) const override {
      if( !list_ ) return keys.noRoute();
      const bool areTold = tellKeys( keys );
      if( !kNeedsKnown ) return keys.skippable();
      if( areTold ) keys.keyIs( Routing::Policy::MatchKey::own( unknownKey( kSetBy ) ) );
      keys.mayThrow();
   }
   void formatDerivedType( std::ostream & os ) const override { os << "RouteListMatcher list " << name_; }

 private:
   // The set clause that may set what the list tests to a value that only the daemon knows; empty for none.
   static constexpr std::string_view kSetBy = std::is_same_v<List, AsPathList> ? "as-path replace"
      : std::is_same_v<List, ExtCommunityList>                                 ? "extcommunity bandwidth"
                                                                               : "";
   static constexpr bool kNeedsKnown = !kSetBy.empty();

   bool tellKeys( MatchKeys & keys ) const {
      if constexpr( requires { list_->tellKeys( keys, comparison_ ); } )
         return list_->tellKeys( keys, comparison_ );
      else
         return list_->tellKeys( keys );
   }

   Quoin::String name_;
   Quoin::Ptr<const ListStatus> status_;
   const List * list_;   // the same
   ListComparison comparison_;
};
template <class C>
using CommunityMatcherOf = RouteListMatcher<CommunityListOf<C>, Routing::RouteMap::CommListStatus>;
using CommunityMatcher = CommunityMatcherOf<Community>;
using AsPathMatcher = RouteListMatcher<AsPathList, Routing::RouteMap::AsPathListStatus>;

}   // namespace Agent
