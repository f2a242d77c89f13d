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
      std::vector<MatchKey> keys;
      unsigned family = 0;   // of the rows: an index of Content::rows
      Rows rows;             // in order
      const RouteMap::PrefixListRows * asked = nullptr;
   };

   static Way wayTo( const RouteMapSeqStatus & seq );
   static void byKeys( Way & way, const MatchKeys & told );
   static void byList( Way & way, const RouteMap::PrefixListRows & list, bool isExact );
   void build( const RouteMapPlan::Sequences & sequences, Callees & callees );
   void edit( const RouteMapPlan::Sequences & sequences, Callees & callees );
   void add( const Way & way );
   void remove( const Way & way );
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
