/// @file compile/RouteMapSeqConfigSmBase.h
/// The bases of the machines of one sequence. The machine of the route map creates them through a helper; an agent derives from them to
/// support options of its own.
/// Ownership: the machine of the route map. Threading: the activity thread.
#pragma once

#include "compile/ModifiedRouteMapSeqStatus.h"
#include "compile/RmConfigSymbolReactor.h"
#include "compile/RouteMapSymbol.h"
#include "compile/SequenceChangeSymbol.h"
#include "compile/SymbolSeq.h"
#include "substrate/routemap/MapEntry.h"
#include "substrate/zeugma/BaseOutputSm.h"

namespace Routing::Policy {

/// The base of all machines of a sequence.
class ROUTEPOLICY_API RmSeqConfigSmInterface : public Zeugma::BaseOutputSm {
 public:
   ~RmSeqConfigSmInterface() override;
   /// Whether the machine supports match clauses of this option.
   virtual bool matchRuleSupported( MatchOption option ) const = 0;

 protected:
   void handleChangeMissed() override {}   // a derived class that watches something overrides it
};

/// Holds the changes that one sequence has recorded for the next compilation of its route map, and the symbols that the sequence watches.
class ROUTEPOLICY_API RmSeqConfigSymbolSmBase : public RmSeqConfigSmInterface {
 public:
   RmSeqConfigSymbolSmBase( const Quoin::String & rmName, const Quoin::Ptr<const Routing::RouteMap::MapEntry> & seqConfig,
                            const Quoin::Ptr<RouteMapSymbol> & rmSymbol, const Quoin::Ptr<RmConfigSymbolReactor> & rmConfigSymbolReactor );
   ~RmSeqConfigSymbolSmBase() override;

   bool matchRuleSupported( MatchOption ) const override { return false; }
   /// Creates the records. A derived class calls handleInitialized() before it creates components that write to the records.
   virtual void handleInitialized();

   /// Whether the records hold a change to apply. A symbol of a match clause alone does not count.
   bool isModified() const;
   /// Called for each matcher change when it is applied. An override may create the matcher here, or replace it if its list has changed
   /// since the change was recorded. `symbols`: the new symbols of the clause; null if they did not change.
   virtual void handleMatcherApplied( MatcherChange & change, const MatcherChangeSymbol * symbols );

   /// Called before the sequence gets a symbol to watch. An override may create the machine that watches the symbols.
   virtual void handleSymbolNamed();

   const Quoin::String & rmName() const noexcept { return rmName_; }
   /// The sequence in the filtered configuration.
   const Quoin::Ptr<const Routing::RouteMap::MapEntry> & seqConfig() const noexcept { return seqConfig_; }
   /// The number of the sequence; 0 without an entry.
   uint32_t seqno() const noexcept { return seqConfig_ ? seqConfig_->seqno() : 0; }
   /// The symbol of the route map.
   const Quoin::Ptr<RouteMapSymbol> & rmSymbol() const noexcept { return rmSymbol_; }
   const Quoin::Ptr<RmConfigSymbolReactor> & rmConfigSymbolReactor() const noexcept { return rmConfigSymbolReactor_; }
   void formatDerivedType( std::ostream & os ) const override;

   // clang-format off
   // Null until handleInitialized().
#define SEQUENCE_RECORD( foo, fooIs, ... )                                                       \
 public:                                                                                         \
   const Quoin::Ptr<__VA_ARGS__> & foo() const noexcept { return foo##_; }                       \
   SEQUENCE_RECORD_WRITER( foo, fooIs, __VA_ARGS__ )
   // Such a record is created when it is first read, because most sequences need none. fooIfAny() does not create it.
#define LATE_SEQUENCE_RECORD( foo, fooIs, fooIfAny, ... )                                        \
 public:                                                                                         \
   const Quoin::Ptr<__VA_ARGS__> & foo() const {                                                 \
      if( !foo##_ && sequenceChange_ ) foo##_ = newRecord<__VA_ARGS__>( seqno() );               \
      return foo##_;                                                                             \
   }                                                                                             \
   const Quoin::Ptr<__VA_ARGS__> & fooIfAny() const noexcept { return foo##_; }                  \
   SEQUENCE_RECORD_WRITER( foo, fooIs, __VA_ARGS__ )
#define SEQUENCE_RECORD_WRITER( foo, fooIs, ... )                                                \
 private:                                                                                        \
   mutable Quoin::Ptr<__VA_ARGS__> foo##_;                                                       \
                                                                                                 \
 public:                                                                                         \
   void fooIs( uint32_t seqno ) { foo##_ = newRecord<__VA_ARGS__>( seqno ); }

   /// The changes of the compiled sequence.
   SEQUENCE_RECORD( sequenceChange, sequenceChangeIs, SequenceChange );
   /// The changes of the symbols that the sequence watches.
   SEQUENCE_RECORD( sequenceChangeSym, sequenceChangeSymIs, SequenceChangeSymbol );
   /// The symbols that the sequence watches: of match clauses, of set clauses, and of the route maps that it refers to.
   LATE_SEQUENCE_RECORD( matchSymSeq, matchSymSeqIs, matchSymSeqIfAny, MatchSymbolSeq );
   LATE_SEQUENCE_RECORD( setSymSeq, setSymSeqIs, setSymSeqIfAny, SetSymbolSeq );
   LATE_SEQUENCE_RECORD( subRmSymSeq, subRmSymSeqIs, subRmSymSeqIfAny, SubRouteMapSymbolSeq );
   LATE_SEQUENCE_RECORD( aggRoleAttrMapSymSeq, aggRoleAttrMapSymSeqIs, aggRoleAttrMapSymSeqIfAny, AggRoleAttrMapSymbolSeq );
#undef SEQUENCE_RECORD_WRITER
#undef LATE_SEQUENCE_RECORD
#undef SEQUENCE_RECORD
   // clang-format on

   /// The clauses that refer to an undefined list.
   const Quoin::Ptr<SeqUndefinedReferencesOptionTracker> & undefinedRefsTracker() const noexcept {
      return undefinedRefsTracker_;
   }
   void undefinedRefsTrackerIs() {
      undefinedRefsTracker_ = Quoin::makeNode<SeqUndefinedReferencesOptionTracker>();
   }

 private:
   template <class Record>
   Quoin::Ptr<Record> newRecord( uint32_t seqno ) const {
      return Quoin::makeNode<Record>( seqno, rmConfigSymbolReactor_ ? rmConfigSymbolReactor_->ledger() : nullptr );
   }

   Quoin::String rmName_;
   Quoin::Ptr<const Routing::RouteMap::MapEntry> seqConfig_;
   Quoin::Ptr<RouteMapSymbol> rmSymbol_;
   Quoin::Ptr<RmConfigSymbolReactor> rmConfigSymbolReactor_;
   Quoin::Ptr<SeqUndefinedReferencesOptionTracker> undefinedRefsTracker_;
};

/// Prints the machine of a sequence for traces: "rmName: NAME seqno: N".
ROUTEPOLICY_API void formatSequence( std::ostream & os, const Quoin::String & rmName, const Routing::RouteMap::MapEntry * seqConfig );

}   // namespace Routing::Policy
