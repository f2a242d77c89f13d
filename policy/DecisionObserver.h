/// @file policy/DecisionObserver.h
/// Which sequence decided an evaluation. PolicyEval reports each route map that it has evaluated to a DecisionObserver, with the answer and
/// the sequence that gave it. A DecisionChain is an observer that keeps the verdict's decision and those of the calls behind it.
#pragma once

#include <boost/container/small_vector.hpp>

#include <cstdint>
#include <optional>

#include "policy/PolicyTypes.h"
#include "routepolicy_export.h"

namespace Gyre {
class FunctionStatusBase;
}

namespace Routing::Policy {

class RouteMapSeqStatus;
class RouteMapStatus;

/// The answer of one route map, or of one function of the policy language. What it points at is valid during the report, and then for
/// as long as the caller of the evaluation holds the policy.
///  - Permit: the last sequence that matched decides. So it does where its continue leads to nothing more that matches, or beyond the end.
///  - Deny: the deny sequence that matched decides, also behind a continue. If no sequence matched, none decides.
///  - A sequence that its callee does not let match never decides. A callee is reported with its own answer: an inverted one that denies,
///    as a deny, lets its caller match.
struct Decision {
   const RouteMapStatus * routeMap = nullptr;             // null: a function answered
   const Gyre::FunctionStatusBase * function = nullptr;   // null: a route map answered
   const RouteMapSeqStatus * sequence = nullptr;          // null: no sequence matched, which denies, or a function answered
   const RouteMapSeqStatus * caller = nullptr;            // the sequence that made the call; null at depth 0
   uint32_t depth = 0;                                    // 0: the route map asked, or an entry of a list; n: reached through n calls
   std::optional<RmPrecedence> precedence = {};           // of the entry, also in its calls, or of the function's role; none: no list
   bool permitted = false;                                // the answer, before the caller inverts it
   bool inverted = false;                                 // the caller inverts the answer

   /// Whether the answer lets the caller match; false at depth 0.
   bool callerMatches() const noexcept { return caller && permitted != inverted; }
};

/// Receives the decisions of an evaluation. Each route map that ends is reported once for each time that it was evaluated, in the order in
/// which they end: a callee before its caller, the entries of a list in the order of evaluation.
///  - Not evaluated and so not reported: a callee without sequences, an entry of a list without sequences, an entry for which a function
///    stands in, and what comes behind the deny that ends a list. A list with nothing to evaluate permits without a report.
///  - A list is denied by the last report at depth 0. It is permitted by all reports at depth 0 together.
///  - A function is reported at depth 0. An undefined one denies.
///  - Reports of a list or of a route map come before its setters run; a function is reported behind those that run on its context.
///  - If a matcher or a function throws, the route maps in progress are not reported. `decided` may throw likewise, and it may do what a
///    matcher may: evaluate, or drop the policy.
/// Threading: an observer belongs to the call that it is given to. Calls on several threads take one each, or a thread-safe one.
class DecisionObserver {
 public:
   virtual void decided( const Decision & decision ) = 0;

 protected:
   ~DecisionObserver() = default;
};

/// Keeps the decision of the verdict, and those of the calls by which the deciding sequences came to match, down to the innermost. Of a list
/// with several entries, the verdict is that of the last entry evaluated.
///    DecisionChain chain;
///    eval.eval( &input, list, &result, chain );
///    for( const Decision & d : chain ) ...   // depth 0, 1, ...
/// Allocates nothing for short chains, nor for longer ones once it has kept one as long. Cost of a report: the length of its chain.
class ROUTEPOLICY_API DecisionChain final : public DecisionObserver {
   using Kept = boost::container::small_vector<Decision, 8>;

 public:
   using const_iterator = Kept::const_reverse_iterator;

   void decided( const Decision & decision ) override;

   /// By depth, beginning with 0. Meaningful between evaluations.
   const_iterator begin() const noexcept { return kept_.rbegin(); }
   const_iterator end() const noexcept { return kept_.rend(); }
   size_t size() const noexcept { return kept_.size(); }
   /// True if nothing was evaluated.
   bool empty() const noexcept { return kept_.empty(); }
   const Decision & operator[]( size_t depth ) const { return kept_[ kept_.size() - 1 - depth ]; }
   /// To be called before the chain is used for another evaluation.
   void clear() noexcept { kept_.clear(); }

 private:
   Kept kept_;   // chains, deepest decision first: one of each walk in progress, the outermost first
};

}   // namespace Routing::Policy
