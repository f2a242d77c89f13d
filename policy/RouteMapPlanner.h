/// @file policy/RouteMapPlanner.h
/// Makes the plans of the generations of one route map (policy/RouteMapPlan.h), each from the one before.
/// Ownership: each plan has a planner, and the working content goes from the planner of one plan to that of the next. If an old plan kept it,
/// an old generation would hold the newest one, which may call that old generation. Threading: any.
#pragma once

#include <array>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "policy/RouteMapPlan.h"
#include "substrate/lists/PrefixListRowsEditor.h"

namespace Routing::Policy {

/// The content of a plan, and the tries of its prefixes, to be edited into those of the next plan.
class PlanInWork {
 public:
   using Callees = std::vector<const RouteMapStatus *>;

   // For a new object.
   void build( const RouteMapPlan::Sequences & sequences, Callees & callees );
   // Returns false, and changes nothing, if a new object costs less. Errors: as RouteMapPlan::of(); the object is then useless.
   bool edit( const RouteMapPlan::Sequences & sequences, Callees & callees );
   // Brings the tries up to date.
   const RouteMapPlan::Content & content();

 private:
   using Editor = RouteMap::PrefixListRowsEditor;
   using Rows = std::vector<Editor::Item>;
   using Member = RouteMapPlan::Sequences::Member;
   // Of one sequence; null if there was none, or is none.
   struct Change {
      const Member * before;
      const Member * after;
      bool isClone;
   };
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
   static bool byKeys( Way & way, const MatchKeys & told );
   static bool byList( Way & way, const RouteMap::PrefixListRows & list, const Limits & limits );
   static bool byCallee( Way & way, const RouteMapStatus & callee, Limits & limits );
   void seal( const RouteMapSeqStatus & seq, Callees & callees ) const;
   void apply( const Change & change );
   void renewSteps();
   void addSteps( const Way & way );
   void removeSteps( const Way & way );
   void listedIs( const PlanStep & step );
   auto & keysLike( const MatchKey & key ) noexcept { return content_.keys[ size_t( key.attribute ) ]; }   // of its attribute
   void keyIs( const MatchKey & key, const PlanSteps & steps );
   void askedIs( const RouteMap::PrefixListRows * rows, const PlanSteps & before, const PlanSteps & after );
   PlanSteps stepsOf( const RouteMap::PrefixListRows * rows ) const;
   void rowsChange( unsigned family, const Rows & before, const Rows & after );
   Editor & editor( unsigned family );

   RouteMapPlan::Content content_;
   std::array<std::unique_ptr<Editor>, 2> editors_;
   std::array<size_t, 2> rowCounts_{};
   std::array<bool, 2> rowsChanged_{};
};

/// The planner of one plan.
class RouteMapPlanner final : public Quoin::Node {
 public:
   explicit RouteMapPlanner( std::unique_ptr<PlanInWork> work ) noexcept : work_( std::move( work ) ) {}
   /// See RouteMapPlan::of().
   static Quoin::Ptr<const RouteMapPlan> plan( const RouteMapPlan::Sequences & sequences, const Quoin::Ptr<const RouteMapPlan> & base,
                                               PlanInWork::Callees & callees );

 private:
   // Null after the first call.
   std::unique_ptr<PlanInWork> take() {
      const std::lock_guard lock( mutex_ );
      return std::move( work_ );
   }

   std::mutex mutex_;
   std::unique_ptr<PlanInWork> work_;
};

}   // namespace Routing::Policy
