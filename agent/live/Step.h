/// @file agent/live/Step.h
/// The steps of compiled sequences (dialect/CompiledRules.h). To the library, a step is a list that the last matcher of its sequence reads:
/// a changed step publishes the route map again.
#pragma once

#include <string>
#include <utility>

#include "dialect/CompiledRules.h"
#include "live/AgentMatchers.h"
#include "live/Change.h"
#include "live/ValueTests.h"
#include "live/WorkingRoute.h"
#include "substrate/routemap/ListSymbol.h"

namespace Agent {

/// Threading: read-only.
class Step final : public Routing::RouteMap::NamedListStatus {
 public:
   Step( const Quoin::String & name, StepText text ) : NamedListStatus( name ), text_( std::move( text ) ), lists_( text_.lists ) {}
   const StepText & text() const noexcept { return text_; }
   const CompiledSetLists & lists() const noexcept { return lists_; }

 private:
   StepText text_;
   CompiledSetLists lists_;
};

using StepSymbol = Routing::RouteMap::ListSymbol<Step>;
using StepTable = Routing::RouteMap::SymbolDedupTable<StepSymbol>;

/// The last matcher of a sequence that is compiled from FRR's rules. It relies on two rules of the library: the matchers of a sequence are
/// asked in ascending order of their options, up to the first that does not match; and the callee is evaluated after them. It changes only
/// the working route of its own evaluation. An input without a working route does not match. Errors: Unanswered.
class StepMatcher final : public Matcher {
 public:
   StepMatcher( const Quoin::String & name, const Quoin::Ptr<const Step> & step ) : name_( name ), step_( step ) {}
   const Quoin::Ptr<const Step> & status() const noexcept { return step_; }
   bool match( const MatchInput_ * input, const Quoin::Ptr<PolicyEvalContext> & ) const override {
      auto * route = workingRouteOf( input );
      if( !step_ || !route ) return false;
      if( const auto * test = failedTest( step_->text(), route->input() ) ) return route->failedIs( *test ), false;
      switch( step_->text().kind ) {
         case StepText::Kind::permits: route->stepIs( step_->text(), step_->lists() ); return true;
         case StepText::Kind::denies: route->deniedIs(); return true;
         case StepText::Kind::afterCall: return route->denied();
      }
      return false;
   }
   void keys( MatchKeys & keys ) const override { keys.changesMatchedRoute(); }
   void formatDerivedType( std::ostream & os ) const override { os << "StepMatcher step " << name_; }

 private:
   Quoin::String name_;
   Quoin::Ptr<const Step> step_;   // null while it is undefined
};

/// The step of a compiled sequence; null for none. It lives as long as the sequence.
inline const StepText * stepOf( const Routing::Policy::RouteMapSeqStatus & sequence ) {
   const auto matcher = sequence.matcher( kMatchStep );
   const auto step = matcher ? static_cast<const StepMatcher &>( *matcher ).status() : nullptr;
   return step ? &step->text() : nullptr;
}

}   // namespace Agent
