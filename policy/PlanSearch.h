/// @file policy/PlanSearch.h
/// Finds the sequences that can match one route, by the plan of a route map. Evaluation uses it.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <span>

#include "policy/MatchInput.h"
#include "policy/RouteMapStatus.h"

namespace Routing::Policy {

/// What plans ask about a route. Each getter but getOwnKeys() is called at most once, when a plan first needs it, until forget().
class PlannedRoute {
 public:
   /// `visitsCalls`: visits each call, also of a route map that cannot permit the route. Observers are notified of each call.
   PlannedRoute( const MatchInput_ * input, bool visitsCalls ) noexcept : input_( input ), visitsCalls_( visitsCalls ) {}
   const MatchInput_ * input() const noexcept { return input_; }
   bool visitsCalls() const noexcept { return visitsCalls_; }
   /// The route may have changed.
   void forget() noexcept {
      ++changes_;
      prefix_ = nullptr;
      read_ = asked_ = 0;
      planOfFirst_ = nullptr;
   }
   /// For what was read in front.
   void prefixIs( const Ferule::IpGenPrefix * prefix ) noexcept { prefix_ = prefix; }
   void keyIs( MatchKey::Attribute attribute, uint64_t value ) noexcept {
      keys_[ size_t( attribute ) ] = value;
      read_ |= 1u << unsigned( attribute );
   }
   void answerIs( const RouteMap::PrefixListRows & list, bool permit ) noexcept { answers_[ asked_++ % kAnswers ] = { &list, permit }; }
   /// Keeps the first step of the route in a plan.
   void firstIs( const RouteMapPlan & plan, const PlanStep * first ) noexcept {
      planOfFirst_ = &plan;
      first_ = first;
   }
   /// How often the route may have changed.
   uint32_t changes() const noexcept { return changes_; }
   bool knowsFirst( const RouteMapPlan & plan ) const noexcept { return planOfFirst_ == &plan; }
   const PlanStep * first() const noexcept { return first_; }
   /// The value of the route's key.
   uint64_t key( MatchKey::Attribute attribute ) {
      if( !( read_ >> unsigned( attribute ) & 1 ) ) keyIs( attribute, MatchKey::of( *input_, attribute ).value );
      return keys_[ size_t( attribute ) ];
   }
   const Ferule::IpGenPrefix & prefix() {
      if( !prefix_ ) prefix_ = input_->getPrefixPointer();
      return *prefix_;
   }
   /// Whether a list permits the prefix. The last answers are kept: sequences that a plan finds one by one may have the same list.
   bool isPermittedBy( const RouteMap::PrefixListRows & list ) {
      for( unsigned i = 0; i < std::min( asked_, kAnswers ); ++i )
         if( answers_[ i ].list == &list ) return answers_[ i ].permit;
      const bool permit = list.permits( prefix() );
      answerIs( list, permit );
      return permit;
   }

 private:
   struct ListAnswer {
      const RouteMap::PrefixListRows * list;
      bool permit;
   };
   static constexpr unsigned kAnswers = 8;
   const MatchInput_ * input_;
   const bool visitsCalls_;
   const Ferule::IpGenPrefix * prefix_ = nullptr;
   const RouteMapPlan * planOfFirst_ = nullptr;
   const PlanStep * first_;   // of the route in that plan
   uint32_t changes_ = 0;
   unsigned read_ = 0;
   std::array<uint64_t, MatchKey::kAttributes> keys_;   // those of `read_`
   unsigned asked_ = 0;
   std::array<ListAnswer, kAnswers> answers_;   // the last of them
};

/// The first of two steps; each may be null.
inline const PlanStep * firstOf( const PlanStep * a, const PlanStep * b ) noexcept {
   return !a || ( b && b->seqno < a->seqno ) ? b : a;
}

// Calls `visit( steps )` for each of the route's own keys that has steps.
template <class Visit>
void forEachOwn( const RouteMapPlan & plan, const PlannedRoute & route, Visit && visit ) {
   for( const uint64_t key : route.input()->getOwnKeys() )
      if( const auto * const steps = plan.keyedBy( MatchKey::Attribute::own, key ) ) visit( *steps );
}

// The first of `first`, which is found for each route or by a key, and the steps that are found in the other ways.
[[gnu::noinline]] inline const PlanStep * firstOfOthers( const RouteMapPlan & plan, PlannedRoute & route, const PlanStep * first ) {
   if( plan.reads() == RouteMapPlan::Reads::oneList ) return plan.firstByOnlyList( route.isPermittedBy( *plan.onlyList() ) );
   if( plan.hasOwnKeys() ) forEachOwn( plan, route, [ & ]( const PlanSteps & steps ) { first = firstOf( first, &steps.front() ); } );
   if( plan.hasRows() ) first = firstOf( first, plan.listedFrom( 0, route.prefix() ) );
   if( route.visitsCalls() && !plan.content().calls.empty() ) first = firstOf( first, &plan.content().calls.begin()->second );
   for( const auto & [ seqno, asked ] : plan.content().asked ) {
      if( first && first->seqno < seqno ) break;
      if( route.isPermittedBy( *asked.rows ) ) return &asked.steps.front();
   }
   return first;
}

/// The first step of a route; null or kNoStep if there is none. For most routes it decides, and no PlanSearch is needed.
[[gnu::always_inline]] inline const PlanStep * firstStep( const RouteMapPlan & plan, PlannedRoute & route ) {
   if( route.knowsFirst( plan ) ) return route.first();
   const PlanStep * first = plan.firstAlways();
   if( plan.reads() == RouteMapPlan::Reads::nothing ) return first;
   for( unsigned left = plan.keyedAttributes(); left != 0; left &= left - 1 ) {
      const auto attribute = MatchKey::Attribute( std::countr_zero( left ) );
      if( const auto * const steps = plan.keyedBy( attribute, route.key( attribute ) ) ) first = firstOf( first, &steps->front() );
   }
   return plan.hasOtherWays() ? firstOfOthers( plan, route, first ) : first;
}

/// The steps of one route, in ascending order of their numbers. The plan must outlive it. A search is for routes that few sequences match:
/// it ends early if many find the route and do not decide.
class PlanSearch {
 public:
   PlanSearch( const RouteMapPlan & plan, PlannedRoute & route )
         : plan_( plan ),
           route_( route ),
           changes_( route.changes() ),
           always_( plan.content().always.begin() ),
           asked_( plan.content().asked.begin() ) {
      if( route.visitsCalls() ) calls_ = plan.content().calls.begin();
      for( unsigned left = plan.keyedAttributes(); left != 0; left &= left - 1 ) {
         const auto attribute = MatchKey::Attribute( std::countr_zero( left ) );
         if( const auto * const steps = plan.keyedBy( attribute, route.key( attribute ) ) ) add( *steps );
      }
      if( plan.hasOwnKeys() ) forEachOwn( plan, route, [ this ]( const PlanSteps & steps ) { add( steps ); } );
      if( plan.hasRows() ) prefix_ = &route.prefix();
   }

   /// The first step whose number is `seqno` or higher; null if there is none, or if the search has ended early. `seqno` must not decrease
   /// from call to call.
   const PlanStep * from( uint32_t seqno ) {
      const PlanStep * first = firstOf( at( always_, plan_.content().always, seqno ), at( calls_, plan_.content().calls, seqno ) );
      for( unsigned i = 0; i != runCount_; ++i ) first = firstOf( first, runs_[ i ].from( seqno ) );
      first = firstOf( first, listedFrom( seqno ) );
      for( ; asked_ && ( !first || asked_->first < first->seqno ); ++asked_ ) {
         if( !route_.isPermittedBy( *asked_->second.rows ) ) continue;
         add( asked_->second.steps );
         if( hasEndedEarly_ ) break;
         first = firstOf( first, runs_[ runCount_ - 1 ].from( seqno ) );
      }
      return hasEndedEarly_ ? nullptr : first;
   }
   bool hasEndedEarly() const noexcept { return hasEndedEarly_; }
   /// Whether it was begun with the route as it is now.
   bool isCurrent() const noexcept { return changes_ == route_.changes(); }

 private:
   // The steps of one key or large list.
   class Run {
    public:
      Run() noexcept = default;
      explicit Run( std::span<const PlanStep> steps ) noexcept : at_( steps.data() ), end_( at_ + steps.size() ) {}
      const PlanStep * from( uint32_t seqno ) noexcept {
         if( at_ != end_ && at_->seqno < seqno ) at_ = std::ranges::lower_bound( at_ + 1, end_, seqno, {}, &PlanStep::seqno );
         return at_ != end_ ? at_ : nullptr;
      }

    private:
      const PlanStep * at_;
      const PlanStep * end_;
   };

   void add( const PlanSteps & steps ) {
      if( runCount_ < kMostRuns )
         runs_[ runCount_++ ] = Run( steps.all() );
      else
         hasEndedEarly_ = true;
   }

   using Steps = Plinth::TreeMap<uint32_t, PlanStep>;
   static const PlanStep * at( Steps::MemberIterator & i, const Steps & steps, uint32_t seqno ) {
      if( i && i->first < seqno && ++i && i->first < seqno ) i = steps.membersFrom( seqno );
      return i ? &i->second : nullptr;
   }
   const PlanStep * listedFrom( uint32_t seqno ) {
      if( prefix_ && ( !listed_ || listed_->seqno < seqno ) ) {
         // Each passes over the rows of the sequences in front.
         if( ++looksIntoRows_ > kMostLooks && looksIntoRows_ * looksIntoRows_ > plan_.content().sequences.count() ) hasEndedEarly_ = true;
         listed_ = plan_.listedFrom( seqno, *prefix_ );
         if( !listed_ ) prefix_ = nullptr;
      }
      return listed_;
   }

   const RouteMapPlan & plan_;
   PlannedRoute & route_;
   const uint32_t changes_;
   Steps::MemberIterator always_;
   Steps::MemberIterator calls_;                                            // stays at no member unless the route visits calls
   Plinth::TreeMap<uint32_t, RouteMapPlan::Asked>::MemberIterator asked_;   // the lists that are not asked yet
   static constexpr unsigned kMostRuns = 32;
   static constexpr unsigned kMostLooks = 16;   // even if the route map has few sequences
   std::array<Run, kMostRuns> runs_;            // the first `runCount_`
   unsigned runCount_ = 0;
   size_t looksIntoRows_ = 0;
   bool hasEndedEarly_ = false;
   const Ferule::IpGenPrefix * prefix_ = nullptr;   // null if no list has a further step
   const PlanStep * listed_ = nullptr;
};

}   // namespace Routing::Policy
