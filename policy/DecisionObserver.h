/// @file policy/DecisionObserver.h
/// Reports which sequence decided an evaluation. PolicyEval calls a DecisionObserver for each route map that it has evaluated, with the
/// answer and the deciding sequence. A DecisionChain is an observer that keeps the decision of the verdict and the decisions of the calls
/// that led to this verdict.
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

/// The answer of one route map, or of one function of the policy language.
/// Ownership: none. The pointers are valid during the report, and afterwards while the caller of the evaluation holds the policy.
///  - Permit: the last sequence that matched decides, also if its continue leads to no further match or beyond the last sequence.
///  - Deny: the deny sequence that matched decides, also after a continue. If no sequence matched, no sequence decides.
///  - A sequence whose callee prevents the match never decides. A callee is reported with its own answer, before its caller inverts it:
///    an inverted callee that denies is reported as a deny, although its caller matches.
struct Decision {
   const RouteMapStatus * routeMap = nullptr;             // null if a function answered
   const Gyre::FunctionStatusBase * function = nullptr;   // null if a route map answered
   const RouteMapSeqStatus * sequence = nullptr;          // null if no sequence matched (a deny) or a function answered
   const RouteMapSeqStatus * caller = nullptr;            // the calling sequence; null at depth 0
   uint32_t depth = 0;                                    // the number of calls that led here; 0: the evaluated route map or list entry
   std::optional<RmPrecedence> precedence = {};   // of the list entry (its callees have the same) or of the function; none without a list
   bool permitted = false;                        // the answer, before inversion by the caller
   bool inverted = false;                         // the caller inverts the answer

   /// Whether the answer lets the caller match; false at depth 0.
   bool callerMatches() const noexcept { return caller && permitted != inverted; }
};

/// Receives the decisions of an evaluation. PolicyEval reports each evaluation of a route map once, when it ends: a callee before its
/// caller, the entries of a list in the order of evaluation.
///  - These are not evaluated, and therefore not reported: a callee without sequences, a list entry without sequences, a list entry that a
///    function replaces, and every list entry after the deny that ends the list. A list with nothing to evaluate permits without a report.
///  - A denied list: the last report at depth 0 is the deny. A permitted list: all reports at depth 0 together are the reason.
///  - A function is reported at depth 0. An undefined function denies.
///  - Reports precede the setters of the verdict. The setters that run on the context of a function precede the report of that function.
///  - If a matcher or a function throws, the route maps in progress are not reported. `decided` may throw, evaluate, or release the policy,
///    like a matcher.
/// Threading: only one evaluation at a time may use an observer, unless the observer is thread-safe.
class DecisionObserver {
 public:
   /// Called when the evaluation of a route map or a function ends.
   virtual void decided( const Decision & decision ) = 0;

 protected:
   ~DecisionObserver() = default;
};

/// Keeps the decision of the verdict, then the decisions of the calls through which the deciding sequences matched, down to the innermost
/// call. For a list with several entries, the verdict is the decision of the last evaluated entry.
///    DecisionChain chain;
///    eval.eval( &input, list, &result, chain );
///    for( const Decision & d : chain ) ...   // depth 0, 1, ...
/// A chain of up to eight decisions allocates nothing. A longer chain allocates, and its memory is reused. Cost of a report: linear in the
/// length of its chain.
class ROUTEPOLICY_API DecisionChain final : public DecisionObserver {
   using Kept = boost::container::small_vector<Decision, 8>;

 public:
   using const_iterator = Kept::const_reverse_iterator;

   /// Adds a decision, and removes the decisions that it makes irrelevant.
   void decided( const Decision & decision ) override;

   /// Iterates by depth, beginning with 0. Valid between evaluations.
   const_iterator begin() const noexcept { return kept_.rbegin(); }
   const_iterator end() const noexcept { return kept_.rend(); }
   /// The number of decisions.
   size_t size() const noexcept { return kept_.size(); }
   /// True if nothing was evaluated.
   bool empty() const noexcept { return kept_.empty(); }
   /// The decision at a depth, which must be below size().
   const Decision & operator[]( size_t depth ) const { return kept_[ kept_.size() - 1 - depth ]; }
   /// Empties the chain. Call it before the next evaluation.
   void clear() noexcept { kept_.clear(); }

 private:
   Kept kept_;   // one chain per walk in progress, the outermost walk first; in each chain the deepest decision first
};

}   // namespace Routing::Policy
