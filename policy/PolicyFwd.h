/// @file policy/PolicyFwd.h
/// Declares the classes of evaluation and the handle, for the headers of an agent. A header that only names a class includes this file. A
/// source that uses a class includes the header of that class, or policy/Policy.h.
#pragma once

#include "substrate/quoin/PtrFwd.h"

namespace Routing::Policy {

// The evaluator, its inputs and its outputs.
class PolicyEval;
class MatchInput_;
class ResolvedNexthopInfoSet;
class Result_;

// Compiled policy.
class PublishedPolicy;
class RouteMapStatusList;
class RouteMapStatus;
class RouteMapSeqStatus;
class Matcher;
class Setter;
class SetParams;

// A match before its setters run.
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
