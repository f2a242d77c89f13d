/// @file examples/evaluate_table/TableEvaluation.h
/// Applies the policy to routes, one at a time, and keeps what is worth telling about them. Threading: one thread per object.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "EdgePolicy.h"
#include "TableRoute.h"
#include "policy/Policy.h"

namespace EvaluateTable {

/// Why the policy answered as it did, in both renderings of the library's evaluation log.
struct Explanation {
   RouteTable::TableRoute route;
   bool permitted = false;
   std::string text;   // lines
   std::string json;   // an object, on one line
};

class TableEvaluation {
 public:
   struct Counts {
      uint64_t permitted = 0;
      uint64_t denied = 0;
      uint64_t read() const noexcept { return permitted + denied; }
   };

   /// A permitted route before and after.
   struct Change {
      RouteTable::TableRoute route;
      Routing::Policy::Result_ before;
      Routing::Policy::Result_ after;
      std::vector<const Routing::Policy::RouteMapSeqStatus *> matched;   // in the order in which their setters ran
   };
   static constexpr size_t kMaxChanges = 8;

   explicit TableEvaluation( EdgePolicy policy );

   void evaluate( const RouteTable::TableRoute & route );
   /// Evaluates the route once more, with a log.
   Explanation explain( const RouteTable::TableRoute & route );

   const EdgePolicy & policy() const noexcept { return policy_; }
   const Counts & counts( Ferule::AddressFamily af ) const noexcept { return af == Ferule::AddressFamily::ipv4 ? ipv4_ : ipv6_; }
   /// How many routes a sequence of EDGE-IN permitted, or denied.
   uint64_t routesOf( uint32_t seqno ) const;
   /// The first route of each different way through the policy, up to kMaxChanges of them.
   const std::vector<Change> & changes() const noexcept { return changes_; }
   /// Routes that show much of the policy: the first of those permitted ones that most sequences matched, and the first of those
   /// denied ones of which most sequences were asked.
   const std::optional<RouteTable::TableRoute> & telltalePermit() const noexcept { return telltalePermit_; }
   const std::optional<RouteTable::TableRoute> & telltaleDeny() const noexcept { return telltaleDeny_; }

 private:
   using Matched = Routing::Policy::MatchedRouteMapSequences;
   struct Logged {
      bool permitted;
      Quoin::Ptr<const Routing::Policy::PolicyEvaluationLog> log;
   };
   Logged evaluateWithLog( const RouteTable::TableRoute & route );
   void permit( const RouteTable::TableRoute & route, const Matched & matched );
   void deny( const RouteTable::TableRoute & route );

   EdgePolicy policy_;
   Quoin::Ptr<Routing::Policy::PolicyEval> plain_;
   Quoin::Ptr<Routing::Policy::PolicyEval> logging_;
   Counts ipv4_;
   Counts ipv6_;
   std::map<uint32_t, uint64_t> routesOf_;   // by sequence number of EDGE-IN
   std::vector<Change> changes_;
   std::optional<RouteTable::TableRoute> telltalePermit_;
   std::optional<RouteTable::TableRoute> telltaleDeny_;
   size_t mostMatched_ = 0;
   size_t mostAsked_ = 0;
};

}   // namespace EvaluateTable
