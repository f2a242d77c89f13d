#include "policy/RouteMapPlan.h"

#include <algorithm>

#include "policy/RouteMapPlanner.h"

namespace Routing::Policy {

PlanSteps::PlanSteps( std::vector<PlanStep> steps ) {
   if( steps.size() == 1 )
      one_ = steps.front();
   else if( !steps.empty() )
      more_ = Quoin::makeNode<More>( std::move( steps ) );
}

PlanSteps PlanSteps::with( const PlanStep & step ) const {
   const auto now = all();
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
      : content_( content ), seals_( seals ), planner_( planner ) {}

RouteMapPlan::~RouteMapPlan() = default;

Quoin::Ptr<const RouteMapPlan> RouteMapPlan::of( const Sequences & sequences, const Quoin::Ptr<const RouteMapPlan> & base,
                                                 std::vector<const RouteMapStatus *> & callees ) {
   return RouteMapPlanner::plan( sequences, base, callees );
}

}   // namespace Routing::Policy
