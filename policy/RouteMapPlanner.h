/// @file policy/RouteMapPlanner.h
/// Makes the plans of the generations of one route map (policy/RouteMapPlan.h), each from the one before.
/// Ownership: its plans share it. Threading: one thread makes plans at a time.
#pragma once

#include <array>
#include <memory>
#include <mutex>
#include <vector>

#include "policy/RouteMapPlan.h"
#include "substrate/lists/PrefixListRowsEditor.h"

namespace Routing::Policy {

/// The content of the newest plan, and the trie of its prefixes while it is edited.
/// Invariant: between two plans, the content is that of the newest plan, unless an edit has failed.
class RouteMapPlanner final : public Quoin::Node {
 public:
   using Callees = std::vector<const RouteMapStatus *>;
   /// See RouteMapPlan::of().
   static Quoin::Ptr<const RouteMapPlan> plan( const RouteMapPlan::Sequences & sequences, const Quoin::Ptr<const RouteMapPlan> & base,
                                               Callees & callees );

 private:
   using Editor = RouteMap::PrefixListRowsEditor;
   using Rows = std::vector<Editor::Item>;
   // How a sequence is found.
   struct Way {
      PlanStep step;
      bool isAlways = true;
      bool isSkippable = true;   // no matcher need be asked about a route for which the sequence is not found
      bool isCall = false;
      std::vector<MatchKey> keys;
      std::array<Rows, 2> rows;   // in order, as Content::rows
      const RouteMap::PrefixListRows * asked = nullptr;

      bool isListed() const noexcept { return !rows[ 0 ].empty() || !rows[ 1 ].empty(); }
      // Whether the steps are in the same places.
      bool isLike( const Way & other ) const noexcept {
         return isAlways == other.isAlways && isCall == other.isCall && keys == other.keys && isListed() == other.isListed() &&
            asked == other.asked;
      }
   };

   // How much may still be read. Each sequence of the route map begins anew.
   struct Limits {
      size_t entries = RouteMapPlan::kMostEntries;    // of one list
      size_t sequences = RouteMapPlan::kMostCalled;   // of callees
      unsigned calls = RouteMapPlan::kMostCalls;
   };

   static Way wayTo( const RouteMapSeqStatus & seq );
   static Way wayTo( const RouteMapSeqStatus & seq, Limits & limits );
   static void byKeys( Way & way, const MatchKeys & told );
   static void byList( Way & way, const RouteMap::PrefixListRows & list, bool isExact, const Limits & limits );
   static bool byCallee( Way & way, const RouteMapStatus & callee, Limits & limits );
   bool hasFewChanges( const RouteMapPlan::Sequences & sequences ) const;
   void build( const RouteMapPlan::Sequences & sequences, Callees & callees );
   void edit( const RouteMapPlan::Sequences & sequences, Callees & callees );
   void seal( const RouteMapSeqStatus & seq, Callees & callees ) const;
   void addSteps( const Way & way );
   void removeSteps( const Way & way );
   void listedIs( const PlanStep & step );
   void keyIs( const MatchKey & key, const PlanSteps & steps );
   void askedIs( const RouteMap::PrefixListRows * rows, const PlanSteps & before, const PlanSteps & after );
   PlanSteps stepsOf( const RouteMap::PrefixListRows * rows ) const;
   void rowsChange( unsigned family, const Rows & before, const Rows & after );
   Editor & editor( unsigned family );
   Quoin::Ptr<const RouteMapPlan> publish( uint64_t seals );

   std::mutex mutex_;
   RouteMapPlan::Content content_;
   std::array<std::unique_ptr<Editor>, 2> editors_;
   std::array<size_t, 2> rowCounts_{};
   std::array<bool, 2> rowsChanged_{};
   const RouteMapPlan * newest_ = nullptr;   // null while an edit is in progress, and after one has failed
};

}   // namespace Routing::Policy
