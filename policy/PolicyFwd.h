/// @file policy/PolicyFwd.h
/// Declares the classes of evaluation and the handle, for an agent's own headers.
/// A header that only names them includes this; a source that uses one of them includes that class's own header, or policy/Policy.h.
#pragma once

#include "substrate/quoin/PtrFwd.h"

namespace Routing::Policy {

// What evaluates, and what it reads and writes.
class PolicyEval;
class MatchInput_;
class ResolvedNexthopInfoSet;
class Result_;

// Compiled policy.
class RouteMapStatusList;
class RouteMapStatus;
class RouteMapSeqStatus;
class Matcher;
class Setter;
class SetParams;

// A match that is kept.
class MatchedRouteMapSequences;
class MatchedRouteMapSequencesSnapshot;

// Logs.
class PolicyEvalContext;
class PolicyEvaluationLog;
class EvaluationLogBase;
class SeqLog;

}   // namespace Routing::Policy

namespace Gyre {

class FunctionStatusBase;

namespace Eval {
class EvalContextBase;
class FunctionBase;
class GyreEvalContextMap;
}   // namespace Eval

}   // namespace Gyre
