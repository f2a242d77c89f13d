#include "live/MatchClausesSm.h"

namespace Agent {

using namespace Routing::Policy;
using namespace Routing::RouteMap;
using Quoin::Ptr;

void ListFollower::handleChangeMissed() {
   clauses_.handleList( *this );
}

const ClauseKind * ownClauseOf( const Quoin::Change & change ) {
   if( MapEntry::Field( change.field ) != MapEntry::Field::matchRule ) return nullptr;
   return ownClauseKind( Plinth::keyOf<MatchOption>( change ) );
}

MatchClausesSm::MatchClausesSm( const RmSeqConfigSymbolSmBase & sequence, const ListTables & tables )
      : sequence_( sequence ), tables_( tables ) {
   entryReactor_.notifierIs( sequence.seqConfig() );
   for( auto i = sequence.seqConfig()->matchRule().first(); i; i.next() )
      if( const auto * kind = ownClauseKind( i.key() ) ) recordClause( *kind );
}

MatchClausesSm::~MatchClausesSm() {
   stop();
}

void MatchClausesSm::handleChangeMissed() {
   for( const auto & kind : ownClauseKinds() ) recordClause( kind );
}

void MatchClausesSm::handleEntry( const Quoin::Change & change ) {
   if( const auto * kind = ownClauseOf( change ) ) recordClause( *kind );
}

// Until the next version of the route map. The matcher is made then, of the list as it will be; the symbol has the route map wait while
// the list is under way.
void MatchClausesSm::recordClause( const ClauseKind & kind ) {
   sequence_.rmSymbol()->statusCurrentIs( false );
   if( zombieReactors() ) return;   // who heard of that has dropped the sequence
   sequence_.sequenceChange()->matcherChangeIs( kind.option );
   const auto symbols = sequence_.sequenceChangeSym()->matcherChangeSymbolIs( kind.option );
   symbols->matchSymbolDelAll();
   const auto * rule = sequence_.seqConfig()->matchRule().find( kind.option );
   if( const auto list = rule ? kind.symbolOf( *rule, tables_ ) : nullptr ) symbols->matchSymbolIs( list );
}

void MatchClausesSm::handleMatcherApplied( MatcherChange & change, const MatcherChangeSymbol * symbols ) {
   const auto * kind = ownClauseKind( change.option() );
   if( !kind ) return;
   followers_.erase( kind->option );
   const auto * found = sequence_.seqConfig()->matchRule().find( kind->option );
   if( !found ) return;   // the clause goes
   const MatchRule rule = *found;
   const auto list = symbols && !symbols->matchSymbol().empty() ? *symbols->matchSymbol().begin() : nullptr;
   if( list ) followers_.put( kind->option, Zeugma::makeSm<ListFollower>( *this, *kind, rule, list ) );
   kind->matcherIs( change, rule, list.get() );
}

// Until the route map's task runs: a burst of changes costs one generation.
void MatchClausesSm::handleList( const ListFollower & follower ) {
   const Ptr<const ListFollower> self( &follower );
   sequence_.rmSymbol()->statusCurrentIs( false );
   // Who heard of that may have dropped the sequence, or edited the clause.
   if( zombieReactors() || followers_.find( follower.option() ) != self ) return;
   follower.matcherIs( *sequence_.rmConfigSymbolReactor()->pendingUpdateIs( sequence_.seqno() )->matcherChangeIs( follower.option() ) );
}

}   // namespace Agent
