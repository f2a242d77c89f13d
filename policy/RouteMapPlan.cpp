#include "policy/RouteMapPlan.h"

#include <algorithm>
#include <bit>
#include <iterator>

#include "policy/RouteMapPlanner.h"

namespace Routing::Policy {

namespace {

unsigned attributesOf( const RouteMapPlan::Content & content ) noexcept {
   unsigned bits = 0;
   for( size_t i = 0; i < size_t( MatchKey::Attribute::own ); ++i ) bits |= unsigned( !content.keys[ i ].empty() ) << i;
   return bits;
}

}   // namespace

PlanSteps::PlanSteps( std::vector<PlanStep> steps ) {
   if( steps.empty() ) return;
   first_ = steps.front();
   if( steps.size() > 1 ) more_ = Quoin::makeNode<More>( std::move( steps ) );
}

PlanSteps PlanSteps::with( const PlanStep & step ) const {
   const auto now = all();
   if( now.empty() || ( now.size() == 1 && now.front().seqno == step.seqno ) ) return PlanSteps( step );
   const auto at = std::ranges::lower_bound( now, step.seqno, {}, &PlanStep::seqno );
   std::vector<PlanStep> steps;
   steps.reserve( now.size() + 1 );
   steps.assign( now.begin(), at );
   steps.push_back( step );
   steps.insert( steps.end(), at != now.end() && at->seqno == step.seqno ? at + 1 : at, now.end() );
   return PlanSteps( std::move( steps ) );
}

PlanSteps PlanSteps::without( uint32_t seqno ) const {
   std::vector<PlanStep> steps;
   steps.reserve( all().size() );
   std::ranges::remove_copy( all(), std::back_inserter( steps ), seqno, &PlanStep::seqno );
   return PlanSteps( std::move( steps ) );
}

RouteMapPlan::RouteMapPlan( const Content & content, const Quoin::Ptr<RouteMapPlanner> & planner, uint64_t seals )
      : content_( content ),
        keyedAttributes_( attributesOf( content ) ),
        firstAlways_( content_.always.empty() ? nullptr : &content_.always.begin()->second ),
        hasOtherWays_( hasRows() || hasOwnKeys() || !content_.asked.empty() || !content_.calls.empty() ),
        reads_( toRead() ),
        seals_( seals ),
        planner_( planner ) {}

RouteMapPlan::Reads RouteMapPlan::toRead() noexcept {
   const bool hasKeys = keyedAttributes_ != 0;
   const bool beginsAlways = firstAlways_ && firstAlways_->seqno == ( *content_.sequences.begin() ).first;
   if( beginsAlways || !( hasKeys || hasOtherWays_ ) ) return Reads::nothing;
   if( !hasOtherWays_ && std::has_single_bit( keyedAttributes_ ) ) {
      onlyAttribute_ = MatchKey::Attribute( std::countr_zero( keyedAttributes_ ) );
      return Reads::oneKey;
   }
   const size_t families = ( content_.rows[ 0 ] ? 1 : 0 ) + ( content_.rows[ 1 ] ? 1 : 0 );
   if( hasKeys || hasOwnKeys() || !content_.calls.empty() || families + content_.asked.count() != 1 ) return Reads::several;
   if( families == 0 )
      onlyListIs( *content_.asked.begin()->second.rows, content_.asked.begin()->second.steps.front() );
   else if( content_.listed.size() == 1 && content_.listed.begin()->second.left != PlanStep::Left::deny )   // else no row permits
      onlyListIs( *content_.rows[ content_.rows[ 0 ] ? 0 : 1 ], content_.listed.begin()->second );
   return onlyList_ ? Reads::oneList : Reads::lists;
}

void RouteMapPlan::onlyListIs( const RouteMap::PrefixListRows & list, const PlanStep & step ) {
   onlyList_ = &list;
   const bool isBehind = firstAlways_ && firstAlways_->seqno < step.seqno;
   firstByOnlyList_ = { firstAlways_ ? firstAlways_ : &kNoStep, isBehind ? firstAlways_ : &step };
}

RouteMapPlan::~RouteMapPlan() = default;

const PlanStep * RouteMapPlan::listedFrom( uint32_t seqno, const Ferule::IpGenPrefix & prefix ) const noexcept {
   const auto * const rows = rowsOf( prefix );
   if( !rows ) return nullptr;
   const auto row = seqno == 0 ? rows->governing( prefix ) : rows->governing( prefix, seqno );
   if( !row.found ) return nullptr;
   return &content_.listed.findMember( row.seqno )->second;
}

Quoin::Ptr<const RouteMapPlan> RouteMapPlan::of( const Sequences & sequences, const Quoin::Ptr<const RouteMapPlan> & base,
                                                 std::vector<const RouteMapStatus *> & callees ) {
   return RouteMapPlanner::plan( sequences, base, callees );
}

}   // namespace Routing::Policy
