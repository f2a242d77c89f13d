/// @file agent/live/WorkingRoute.h
#pragma once

#include <cstdint>
#include <typeinfo>
#include <vector>

#include "dialect/CompiledRules.h"
#include "live/AgentRoute.h"
#include "live/Change.h"

namespace Agent {

/// A route that its policy changes while it is evaluated: a match behind a set clause sees what was set. The input of the evaluation points
/// to it. Threading: one evaluation at a time. A second evaluation allocates nothing if the first one was as long.
class WorkingRoute {
 public:
   WorkingRoute() = default;
   WorkingRoute( const WorkingRoute & ) = delete;
   WorkingRoute & operator=( const WorkingRoute & ) = delete;
   /// Begins an evaluation of this route, which outlives the evaluation. `isSent`: see AgentRoute.
   void routeIs( const TableRoute & route, bool isSent = false ) {
      input_.routeIs( route );
      input_.isSentIs( isSent );
      distance_ = 0;
      denied_ = isChanged_ = false;
      applied_.clear();
      failed_.clear();
   }
   /// The input for matchers.
   const AgentRoute & input() const noexcept { return input_; }
   /// The route as it is now.
   const TableRoute & route() const noexcept { return input_.route(); }
   /// The distance that was set; 0 for none.
   uint8_t distance() const noexcept { return distance_; }
   /// The steps that have permitted the route, in their order. A caller is before its callee.
   const std::vector<const StepText *> & applied() const noexcept { return applied_; }

   /// The tests that did not hold, one of each step that failed, in their order.
   const std::vector<const StepTest *> & failed() const noexcept { return failed_; }

   /// Applies the set clauses of a step. `step` outlives the evaluation.
   void stepIs( const StepText & step, const CompiledSetLists & lists );
   /// Whether a route map has denied the route. Its callers then deny it too.
   bool denied() const noexcept { return denied_; }
   void deniedIs() noexcept { denied_ = true; }
   /// A test of a step does not hold. `test` outlives the evaluation.
   void failedIs( const StepTest & test ) { failed_.push_back( &test ); }

 private:
   AgentRoute input_{ *this };
   TableRoute changed_;
   std::vector<const StepText *> applied_;
   std::vector<const StepTest *> failed_;
   uint8_t distance_ = 0;
   bool denied_ = false;
   bool isChanged_ = false;   // `input_` reads `changed_`
};

/// The working route of an input; null if it has none.
inline WorkingRoute * workingRouteOf( const Routing::Policy::MatchInput_ * input ) noexcept {
   return typeid( *input ) == typeid( AgentRoute ) ? static_cast<const AgentRoute *>( input )->working() : nullptr;
}

}   // namespace Agent
