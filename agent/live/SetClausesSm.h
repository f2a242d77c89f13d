/// @file agent/live/SetClausesSm.h
#pragma once

#include <map>
#include <utility>

#include "compile/RouteMapSeqConfigSmBase.h"
#include "substrate/plinth/TreeMap.h"

namespace Agent {

/// The agent's own set clauses of one sequence, by option, as their setters. They stand beside the MapEntry, which has no place for them,
/// and are part of the route map: a write counts when the version of the Map is raised behind it. Threading: the activity thread.
class SequenceSetters final : public Quoin::NotifyingNode {
 public:
   enum class Field : Quoin::FieldId { setter };
   using Setters = Plinth::TreeMap<Routing::RouteMap::SetOption, Quoin::Ptr<const Routing::Policy::Setter>>;
   PLINTH_COLLECTION( setter, setterIs, setterDel, setterDelAll, Field::setter, Setters );
};

/// Those of all sequences. Threading: the activity thread.
class SetClauseTable final : public Quoin::Node {
 public:
   /// Of a sequence that there is, or is about to be.
   const Quoin::Ptr<SequenceSetters> & of( const Quoin::String & routeMap, uint32_t seqno ) {
      auto & setters = sequences_[ { routeMap, seqno } ];
      if( !setters ) setters = Quoin::makeNode<SequenceSetters>();
      return setters;
   }
   void sequenceDel( const Quoin::String & routeMap, uint32_t seqno ) { sequences_.erase( { routeMap, seqno } ); }
   size_t count() const noexcept { return sequences_.size(); }

 private:
   std::map<std::pair<Quoin::String, uint32_t>, Quoin::Ptr<SequenceSetters>> sequences_;
};

/// Compiles those of one sequence. Threading: the activity thread.
class SetClausesSm final : public Zeugma::BaseOutputSm {
 public:
   /// Nested in `sequence`, whose records are made already.
   SetClausesSm( const Routing::Policy::RmSeqConfigSymbolSmBase & sequence, const Quoin::Ptr<const SequenceSetters> & setters )
         : sequence_( sequence ), setters_( setters ) {
      settersReactor_.notifierIs( setters );
      for( auto i = setters->setter().first(); i; i.next() ) recordClause( i.key() );
   }
   ~SetClausesSm() override { stop(); }

 private:
   using SetOption = Routing::RouteMap::SetOption;
   void handleChangeMissed() override {
      for( const auto option : { SetOption::setMetric, SetOption::setTag, SetOption::setLocalPreference, SetOption::setCommunity } )
         recordClause( option );
   }
   void handleSetters( const Quoin::Change & change ) { recordClause( Plinth::keyOf<SetOption>( change ) ); }
   void recordClause( SetOption option ) {
      sequence_.rmSymbol()->statusCurrentIs( false );
      if( zombieReactors() ) return;   // who heard of that has dropped the sequence
      sequence_.sequenceChange()->setterChangeIs( option )->setterIs( setters_->setter( option ) );
   }

   const Routing::Policy::RmSeqConfigSymbolSmBase & sequence_;
   Quoin::Ptr<const SequenceSetters> setters_;
   Zeugma::Reactor<SetClausesSm> settersReactor_{ *this, &SetClausesSm::handleSetters };
};

}   // namespace Agent
