/// @file substrate/gyre/Eval.h
/// The interface between this library and the evaluator of the policy language, which an agent supplies. An agent's evaluator derives from
/// these classes, and a policy calls its functions. `Gyre` is the border to the policy language.
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

/// The input and output of one evaluation of a function: the route as the language sees it, and the result.
class ROUTEPOLICY_API EvalContextBase : public Quoin::Node {
 public:
   ~EvalContextBase() override;
   /// Receives the changes to the route. Must not be null while the context is evaluated.
   virtual Routing::Policy::Result_ * result() const = 0;
   /// Turns logging of the next evaluation on or off.
   virtual void shouldLogEvalIs( bool shouldLog ) = 0;
   /// Returns the log of the last evaluation and forgets it; null if no log exists.
   virtual Quoin::Ptr<const Routing::Policy::EvaluationLogBase> takeEvaluationLog() = 0;
};

/// The result of a function. All codes other than `permit` deny; the evaluator defines their numbers.
enum class ResultCode : uint32_t { permit = 2 };

/// The compiled body of a function.
class ROUTEPOLICY_API FunctionBase : public Quoin::Node {
 public:
   ~FunctionBase() override;
   /// Evaluates the function for the route of `context`. Threading: any number of threads, each with its own context.
   virtual ResultCode evaluate( const Quoin::Ptr<EvalContextBase> & context ) const = 0;
   /// The attributes of a route that the function reads.
   virtual Routing::RouteMap::RouteMapFeatures routeMapFeatures() const { return {}; }
   /// Writes the function as lines of text; see substrate/zeugma/DumpContext.h.
   virtual void dumpState( const Zeugma::DumpContextPtr & ctx, unsigned indent ) const = 0;
};

/// The contexts of one evaluation of a list of functions, by the role of the function that uses each.
class ROUTEPOLICY_API GyreEvalContextMap : public Quoin::Node {
 public:
   using Precedence = Routing::RouteMap::RmPrecedence;
   ~GyreEvalContextMap() override;
   /// Creates a map with one context.
   static Quoin::Ptr<GyreEvalContextMap> getGyreEvalContextMapWithOneEntry( Precedence precedence,
                                                                            const Quoin::Ptr<EvalContextBase> & context );

   /// The context of that role, or null.
   Quoin::Ptr<EvalContextBase> context( Precedence precedence ) const {
      auto * found = contexts_.find( precedence );
      return found ? *found : nullptr;
   }
   /// Sets the context of that role.
   void contextIs( Precedence precedence, const Quoin::Ptr<EvalContextBase> & context ) { contexts_.put( precedence, context ); }

 private:
   Plinth::RbTreeMap<Precedence, Quoin::Ptr<EvalContextBase>, 2> contexts_;
};

}   // namespace Gyre::Eval
