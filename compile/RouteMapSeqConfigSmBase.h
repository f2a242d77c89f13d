/// @file compile/RouteMapSeqConfigSmBase.h
/// The bases of the machines that each sequence of a route map has; an agent derives from them what brings its own options.
/// Ownership: the route map's machine. Threading: the activity thread.
#pragma once

#include "compile/ModifiedRouteMapSeqStatus.h"
#include "compile/RmConfigSymbolReactor.h"
#include "compile/RouteMapSymbol.h"
#include "compile/SequenceChangeSymbol.h"
#include "compile/SymbolSeq.h"
#include "substrate/routemap/MapEntry.h"
#include "substrate/zeugma/BaseOutputSm.h"

namespace Routing::Policy {

class ROUTEPOLICY_API RmSeqConfigSmInterface : public Zeugma::BaseOutputSm {
 public:
   ~RmSeqConfigSmInterface() override;
   /// Whether the machine makes something of a match clause of that option.
   virtual bool matchRuleSupported( MatchOption option ) const = 0;

 protected:
   void handleChangeMissed() override {}   // whoever watches something says what to do
};

/// Holds what one sequence has recorded for its route map's next compile, and what it watches since the last one.
class ROUTEPOLICY_API RmSeqConfigSymbolSmBase : public RmSeqConfigSmInterface {
 public:
   RmSeqConfigSymbolSmBase( const Quoin::String & rmName, const Quoin::Ptr<const Routing::RouteMap::MapEntry> & seqConfig,
                            const Quoin::Ptr<RouteMapSymbol> & rmSymbol, const Quoin::Ptr<RmConfigSymbolReactor> & rmConfigSymbolReactor );
   ~RmSeqConfigSymbolSmBase() override;

   bool matchRuleSupported( MatchOption ) const override { return false; }
   /// Makes the records. A derived class calls it before it makes components that write to them.
   virtual void handleInitialized();

   /// Whether the records hold anything to apply; a symbol of a match clause alone does not count.
   bool isModified() const;
   /// Called for each matcher change when it is applied, for what goes by a list as it is then: the matcher is made here, or made again
   /// where the list has moved since. The symbols of `symbols` are the clause's from now on; null where nothing has been said of them.
   /// What it throws comes out, and the change stays to be applied.
   virtual void handleMatcherApplied( MatcherChange & change, const MatcherChangeSymbol * symbols );

   const Quoin::String & rmName() const noexcept { return rmName_; }
   /// The sequence in the filtered configuration.
   const Quoin::Ptr<const Routing::RouteMap::MapEntry> & seqConfig() const noexcept { return seqConfig_; }
   /// 0 without an entry.
   uint32_t seqno() const noexcept { return seqConfig_ ? seqConfig_->seqno() : 0; }
   /// The route map's.
   const Quoin::Ptr<RouteMapSymbol> & rmSymbol() const noexcept { return rmSymbol_; }
   const Quoin::Ptr<RmConfigSymbolReactor> & rmConfigSymbolReactor() const noexcept { return rmConfigSymbolReactor_; }
   void formatDerivedType( std::ostream & os ) const override;

   // clang-format off
   // Null until the records are made.
#define SEQUENCE_RECORD( foo, fooIs, ... )                                                       \
 public:                                                                                         \
   const Quoin::Ptr<__VA_ARGS__> & foo() const noexcept { return foo##_; }                       \
                                                                                                 \
 private:                                                                                        \
   Quoin::Ptr<__VA_ARGS__> foo##_;                                                               \
                                                                                                 \
 public:                                                                                         \
   void fooIs( uint32_t seqno ) { foo##_ = Quoin::makeNode<__VA_ARGS__>( seqno ); }

   /// What is to change in the compiled sequence.
   SEQUENCE_RECORD( sequenceChange, sequenceChangeIs, SequenceChange );
   /// What is to change in what the sequence watches.
   SEQUENCE_RECORD( sequenceChangeSym, sequenceChangeSymIs, SequenceChangeSymbol );
   /// The symbols in use by match rules, by set clauses, and for the route maps that the sequence refers to.
   SEQUENCE_RECORD( matchSymSeq, matchSymSeqIs, MatchSymbolSeq );
   SEQUENCE_RECORD( setSymSeq, setSymSeqIs, SetSymbolSeq );
   SEQUENCE_RECORD( subRmSymSeq, subRmSymSeqIs, SubRouteMapSymbolSeq );
   SEQUENCE_RECORD( aggRoleAttrMapSymSeq, aggRoleAttrMapSymSeqIs, AggRoleAttrMapSymbolSeq );
#undef SEQUENCE_RECORD
   // clang-format on

   /// Which of its clauses refer to what does not exist.
   const Quoin::Ptr<SeqUndefinedReferencesOptionTracker> & undefinedRefsTracker() const noexcept {
      return undefinedRefsTracker_;
   }
   void undefinedRefsTrackerIs() {
      undefinedRefsTracker_ = Quoin::makeNode<SeqUndefinedReferencesOptionTracker>();
   }

 private:
   Quoin::String rmName_;
   Quoin::Ptr<const Routing::RouteMap::MapEntry> seqConfig_;
   Quoin::Ptr<RouteMapSymbol> rmSymbol_;
   Quoin::Ptr<RmConfigSymbolReactor> rmConfigSymbolReactor_;
   Quoin::Ptr<SeqUndefinedReferencesOptionTracker> undefinedRefsTracker_;
};

/// What traces call a sequence's machine: "rmName: NAME seqno: N".
ROUTEPOLICY_API void formatSequence( std::ostream & os, const Quoin::String & rmName, const Routing::RouteMap::MapEntry * seqConfig );

}   // namespace Routing::Policy
