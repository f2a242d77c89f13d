/// @file agent/live/AgentMatchers.h
/// What this agent matches on beyond the library. A matcher shares the list that it was made of; that of an undefined list, for which
/// there is a null, matches nothing. Threading: any number of threads match at once.
#pragma once

#include <typeinfo>

#include "live/AgentRoute.h"
#include "live/AsPathList.h"
#include "live/CommunityList.h"
#include "policy/Matcher.h"
#include "policy/RoutingPolicyAcl.h"

namespace Agent {

using Routing::Policy::Matcher;
using Routing::Policy::MatchInput_;
using Routing::Policy::PolicyEvalContext;

/// The table's route behind an input; null for an input of another agent's.
inline const TableRoute * tableRouteOf( const MatchInput_ * input ) noexcept {
   return typeid( *input ) == typeid( AgentRoute ) ? &static_cast<const AgentRoute *>( input )->route() : nullptr;
}

/// The route leads over this interface; one that tells none leads over no one.
class InterfaceNameMatcher final : public Matcher {
 public:
   explicit InterfaceNameMatcher( const Quoin::String & name ) : name_( name ) {}
   bool match( const MatchInput_ * input, const Quoin::Ptr<PolicyEvalContext> & ) const override {
      const auto * route = tableRouteOf( input );
      return route && !route->interface.empty() && route->interface == name_.view();
   }
   void formatDerivedType( std::ostream & os ) const override { os << "InterfaceNameMatcher interface " << name_; }

 private:
   Quoin::String name_;
};

/// An access list permits the host prefix of the route's next hop.
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
   void formatDerivedType( std::ostream & os ) const override { os << "NexthopAccessListMatcher access-list " << list_->name(); }

 private:
   Quoin::Ptr<const Routing::Policy::IpAccessListMatcher> list_;
};

/// A list of this agent's own permits the route. In its table there are only such lists.
template <class List, class ListStatus>
class RouteListMatcher final : public Matcher {
 public:
   RouteListMatcher( const Quoin::String & name, const Quoin::Ptr<const ListStatus> & status )
         : name_( name ), status_( status ), list_( static_cast<const List *>( status.get() ) ) {}
   const Quoin::Ptr<const ListStatus> & status() const noexcept { return status_; }
   bool match( const MatchInput_ * input, const Quoin::Ptr<PolicyEvalContext> & ) const override {
      const auto * route = tableRouteOf( input );
      return list_ && route && list_->permits( *route );
   }
   void formatDerivedType( std::ostream & os ) const override { os << "RouteListMatcher list " << name_; }

 private:
   Quoin::String name_;
   Quoin::Ptr<const ListStatus> status_;
   const List * list_;   // the same
};
using CommunityMatcher = RouteListMatcher<CommunityList, Routing::RouteMap::CommListStatus>;
using AsPathMatcher = RouteListMatcher<AsPathList, Routing::RouteMap::AsPathListStatus>;

}   // namespace Agent
