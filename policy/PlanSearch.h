/// @file policy/PlanSearch.h
/// Finds the sequences that can match one route, by the plan of a route map. Evaluation uses it.
#pragma once

#include <array>
#include <cstdint>

#include "policy/MatchInput.h"
#include "policy/RouteMapStatus.h"

namespace Routing::Policy {

/// The keys of a route. Each getter is called at most once, when a plan first needs it.
class PlannedRoute {
 public:
   explicit PlannedRoute( const MatchInput_ * input ) noexcept : input_( input ) {}
   const MatchKey & key( MatchKey::Attribute attribute ) {
      MatchKey & key = keys_[ size_t( attribute ) ];
      const unsigned bit = 1u << unsigned( attribute );
      if( !( read_ & bit ) ) {
         key = MatchKey::of( *input_, attribute );
         read_ |= bit;
      }
      return key;
   }
   const Ferule::IpGenPrefix & prefix() {
      if( !prefix_ ) prefix_ = input_->getPrefixPointer();
      return *prefix_;
   }

 private:
   const MatchInput_ * input_;
   const Ferule::IpGenPrefix * prefix_ = nullptr;
   unsigned read_ = 0;
   std::array<MatchKey, MatchKey::kAttributes> keys_;   // those of `read_`
};

/// The steps of one route, in ascending order of their numbers. The route map and the plan must outlive it.
class PlanSearch {
 public:
   PlanSearch( const RouteMapStatus & routeMap, const RouteMapPlan & plan, PlannedRoute & route )
         : routeMap_( routeMap ), plan_( plan ), content_( plan.content() ), always_( content_.always.first() ) {
      for( size_t i = 0; i < content_.keyCounts.size(); ++i ) {
         if( content_.keyCounts[ i ] == 0 ) continue;
         const auto * const found = content_.keys.findMember( route.key( MatchKey::Attribute( i ) ) );
         if( !found ) continue;
         const auto steps = found->second.all();
         runs_[ runCount_++ ] = { steps.data(), steps.data() + steps.size() };
      }
      if( content_.rows[ 0 ] || content_.rows[ 1 ] ) prefixIs( route.prefix() );
   }

   /// The first step whose number is `seqno` or higher; null if there is none. `seqno` must not decrease from call to call.
   const PlanStep * from( uint32_t seqno ) { return found_ = find( seqno ); }
   /// Whether the route passes the clause of this option, as the plan knows of the step that it found last.
   bool hasAnswered( MatchOption option ) const noexcept { return found_->isAnswered && found_->option == option && isCurrent(); }
   /// Whether the plan is still that of the route map: a matcher may have changed the policy.
   bool isCurrent() const noexcept { return routeMap_.plan() == &plan_; }

 private:
   const PlanStep * find( uint32_t seqno ) {
      const PlanStep * next = nullptr;
      if( always_ && always_.key() < seqno ) always_.next();
      if( always_ && always_.key() < seqno ) always_ = content_.always.lowerBound( seqno );
      if( always_ ) next = &( *always_ ).second;
      for( unsigned i = 0; i < runCount_; ++i ) {
         Run & run = runs_[ i ];
         while( run.at != run.end && run.at->seqno < seqno ) ++run.at;
         if( run.at != run.end && ( !next || run.at->seqno < next->seqno ) ) next = run.at;
      }
      if( rows_ && ( !listed_ || listed_->seqno < seqno ) ) listedIs( seqno );
      if( listed_ && ( !next || listed_->seqno < next->seqno ) ) next = listed_;
      return next;
   }

   struct Run {
      const PlanStep * at;
      const PlanStep * end;
   };
   void prefixIs( const Ferule::IpGenPrefix & prefix ) {
      prefix_ = &prefix;
      if( prefix.af() == Ferule::AddressFamily::ipv4 ) rows_ = content_.rows[ 0 ].get();
      if( prefix.af() == Ferule::AddressFamily::ipv6 ) rows_ = content_.rows[ 1 ].get();
   }
   void listedIs( uint32_t seqno ) {
      const auto row = rows_->governing( *prefix_, seqno );
      listed_ = row.found ? &content_.listed.findMember( row.seqno )->second : nullptr;
      if( !listed_ ) rows_ = nullptr;
   }

   const RouteMapStatus & routeMap_;
   const RouteMapPlan & plan_;
   const RouteMapPlan::Content & content_;
   const PlanStep * found_ = nullptr;
   Plinth::TreeMap<uint32_t, PlanStep>::Iterator always_;
   std::array<Run, MatchKey::kAttributes> runs_;   // the first `runCount_`
   unsigned runCount_ = 0;
   const RouteMap::PrefixListRows * rows_ = nullptr;   // null if they have no further step
   const Ferule::IpGenPrefix * prefix_ = nullptr;
   const PlanStep * listed_ = nullptr;
};

}   // namespace Routing::Policy
