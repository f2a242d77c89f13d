/// @file policy/PlanPrefetch.h
/// Loads what the evaluation of a batch of routes will read of prefix lists into the cache of the processor.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <span>

#include "policy/RouteMapStatusList.h"

namespace Routing::Policy {

/// The first large prefix lists of a policy, by the plans of its route maps.
/// Ownership: none; the policy must outlive it. Threading: a plain value.
class PlanPrefetch {
 public:
   static constexpr size_t kMostRoutes = RouteMap::PrefixListRows::kMostPrefetched;

   /// Null: no lists.
   explicit PlanPrefetch( const RouteMapStatusList * policy ) noexcept {
      if( !policy ) return;
      for( const auto & [ precedence, routeMap ] : policy->rmStatus() ) add( *routeMap );
   }
   bool hasLists() const noexcept { return count_ != 0; }
   /// For routes with these prefixes, at most kMostRoutes.
   void operator()( std::span<const Ferule::IpGenPrefix * const> prefixes ) const noexcept {
      for( const auto * const list : lists() ) list->prefetch( prefixes );
   }

 private:
   static constexpr size_t kMostLists = 4;                   // few evaluations read more
   static constexpr size_t kSmallList = size_t( 1 ) << 15;   // bytes: in the first-level cache

   void add( const RouteMapStatus & routeMap ) noexcept {
      const auto * const plan = routeMap.plan();
      if( !plan || ( plan->reads() == RouteMapPlan::Reads::nothing && plan->firstAlways() && plan->firstAlways()->isDecided() ) ) return;
      for( const auto & rows : plan->content().rows )
         if( rows ) add( *rows );
      for( const auto & [ seqno, asked ] : plan->content().asked ) {
         if( !goesOn() ) return;
         add( *asked.rows );
      }
      for( const auto & [ seqno, step ] : plan->content().always ) {
         if( !goesOn() ) return;
         if( const auto * const callee = step.seq->subRouteMapRawPtr() ) add( *callee );
      }
   }
   void add( const RouteMap::PrefixListRows & list ) noexcept {
      if( count_ < kMostLists && list.bytes() > kSmallList && std::ranges::find( lists(), &list ) == lists().end() )
         lists_[ count_++ ] = &list;
   }
   std::span<const RouteMap::PrefixListRows * const> lists() const noexcept { return std::span( lists_ ).first( count_ ); }

   bool goesOn() noexcept { return count_ < kMostLists && mostSteps_-- > 0; }

   std::array<const RouteMap::PrefixListRows *, kMostLists> lists_;
   size_t count_ = 0;
   int mostSteps_ = 64;   // to be searched
};

}   // namespace Routing::Policy
