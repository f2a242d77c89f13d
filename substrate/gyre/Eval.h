/// @file substrate/gyre/Eval.h
/// The border to the evaluator of the policy language: what an agent's evaluator must offer to take part in a policy.
/// Threading: functions are read-only; a context belongs to one evaluation at a time.
#pragma once

#include <cstdint>

#include "routepolicy_export.h"
#include "substrate/gloss/EvaluationLogBase.h"
#include "substrate/plinth/RbTreeMap.h"
#include "substrate/quoin/Ptr.h"
#include "substrate/routemap/RmPrecedence.h"
#include "substrate/routemap/RouteMapFeatures.h"
#include "substrate/zeugma/DumpContext.h"

namespace Routing::Policy {
class Result_;
}

namespace Gyre::Eval {

/// What one evaluation of a function works on: the route as the language sees it, and the result that it writes.
class ROUTEPOLICY_API EvalContextBase : public Quoin::Node {
 public:
   ~EvalContextBase() override;
   /// Where changes go; a context that is evaluated has one.
   virtual Routing::Policy::Result_ * result() const = 0;
   /// Asks the evaluation to leave a log.
   virtual void shouldLogEvalIs( bool shouldLog ) = 0;
   /// Hands out the log of the last evaluation, null when there is none.
   virtual Quoin::Ptr<const Routing::Policy::EvaluationLogBase> takeEvaluationLog() = 0;
};

/// What a function answered. Codes other than `permit` deny, and are the evaluator's own.
enum class ResultCode : uint32_t { permit = 2 };

/// The compiled body of a function.
class ROUTEPOLICY_API FunctionBase : public Quoin::Node {
 public:
   ~FunctionBase() override;
   virtual ResultCode evaluate( const Quoin::Ptr<EvalContextBase> & context ) const = 0;
   /// What the function reads of a route.
   virtual Routing::RouteMap::RouteMapFeatures routeMapFeatures() const { return {}; }
   virtual void dumpState( const Zeugma::DumpContextPtr & ctx, unsigned indent ) const = 0;
};

/// The contexts of one evaluation of a list, by the role of the function that runs on each.
class ROUTEPOLICY_API GyreEvalContextMap : public Quoin::Node {
 public:
   using Precedence = Routing::RouteMap::RmPrecedence;
   ~GyreEvalContextMap() override;
   static Quoin::Ptr<GyreEvalContextMap> getGyreEvalContextMapWithOneEntry( Precedence precedence,
                                                                            const Quoin::Ptr<EvalContextBase> & context );

   /// Null when there is none.
   Quoin::Ptr<EvalContextBase> context( Precedence precedence ) const {
      auto * found = contexts_.find( precedence );
      return found ? *found : nullptr;
   }
   void contextIs( Precedence precedence, const Quoin::Ptr<EvalContextBase> & context ) { contexts_.put( precedence, context ); }

 private:
   Plinth::RbTreeMap<Precedence, Quoin::Ptr<EvalContextBase>, 2> contexts_;
};

}   // namespace Gyre::Eval
