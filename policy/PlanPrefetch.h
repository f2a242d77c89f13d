/// @file policy/PlanPrefetch.h
/// Loads what the evaluation of a batch of routes will read of prefix lists into the cache of the processor.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <span>

#include "policy/RouteMapStatusList.h"

namespace Routing::Policy {

/// The prefix lists of a policy, by the plans of its route maps, that are too large to be in the cache anyway.
/// Ownership: none; the policy must outlive it. Threading: a plain value.
class PlanPrefetch {
 public:
   static constexpr size_t kMostRoutes = RouteMap::PrefixListRows::kMostPrefetched;

   explicit PlanPrefetch( const RouteMapStatusList & list ) noexcept {
      for( const auto & [ precedence, routeMap ] : list.rmStatus() ) add( *routeMap, 0 );
   }
   bool hasLists() const noexcept { return count_ != 0; }
   /// For routes with these prefixes, at most kMostRoutes.
   void operator()( std::span<const Ferule::IpGenPrefix * const> prefixes ) const noexcept {
      for( const auto * const list : lists() ) list->prefetch( prefixes );
   }

 private:
   static constexpr size_t kMostLists = 4;                   // few evaluations read more
   static constexpr size_t kSmallList = size_t( 1 ) << 15;   // bytes
   static constexpr unsigned kMostSteps = 16;                // of a route map that are searched for calls
   static constexpr unsigned kMostCalls = 3;                 // from a route map to a callee of callees

   void add( const RouteMapStatus & routeMap, unsigned calls ) noexcept {
      const auto * const plan = routeMap.plan();
      if( !plan || ( plan->beginsAlways() && plan->firstAlways()->left != PlanStep::Left::evaluation ) ) return;
      for( const auto & rows : plan->content().rows )
         if( rows ) add( *rows );
      for( const auto & [ seqno, asked ] : plan->content().asked ) {
         if( count_ == kMostLists ) return;
         add( *asked.rows );
      }
      if( calls == kMostCalls ) return;
      unsigned steps = 0;
      for( const auto & [ seqno, step ] : plan->content().always ) {
         if( count_ == kMostLists || ++steps > kMostSteps ) return;
         if( const auto * const callee = step.seq->subRouteMapRawPtr() ) add( *callee, calls + 1 );
      }
   }
   void add( const RouteMap::PrefixListRows & list ) noexcept {
      if( count_ < kMostLists && list.bytes() > kSmallList && std::ranges::find( lists(), &list ) == lists().end() )
         lists_[ count_++ ] = &list;
   }
   std::span<const RouteMap::PrefixListRows * const> lists() const noexcept { return std::span( lists_ ).first( count_ ); }

   std::array<const RouteMap::PrefixListRows *, kMostLists> lists_;
   size_t count_ = 0;
};

}   // namespace Routing::Policy
