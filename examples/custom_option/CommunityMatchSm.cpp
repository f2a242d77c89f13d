#include "CommunityMatchSm.h"

#include "CommunityMatcher.h"

namespace BgpAgent {

CommunityMatchSm::CommunityMatchSm( const RmSeqConfigSymbolSmBase & sequence, const Quoin::Ptr<CommListSymbolDedupTable> & lists )
      : sequence_( sequence ), lists_( lists ) {
   entryReactor_.notifierIs( sequence.seqConfig() );
   if( sequence.seqConfig()->matchRule().find( kOption ) ) recordClause();
}

bool CommunityMatchSm::isClause( const Quoin::Change & change ) {
   return MapEntry::Field( change.field ) == MapEntry::Field::matchRule && Plinth::keyOf<MatchOption>( change ) == kOption;
}

// Until the next version of the route map. The matcher is made then, of the list as it will be; the symbol has the route map wait
// while the list is under way. A clause without a symbol is one that goes.
void CommunityMatchSm::recordClause() {
   sequence_.rmSymbol()->statusCurrentIs( false );
   if( zombieReactors() ) return;   // who heard of that has dropped the sequence
   sequence_.sequenceChange()->matcherChangeIs( kOption );
   const auto symbols = sequence_.sequenceChangeSym()->matcherChangeSymbolIs( kOption );
   symbols->matchSymbolDelAll();
   const auto * rule = sequence_.seqConfig()->matchRule().find( kOption );
   if( rule ) symbols->matchSymbolIs( lists_->symbol( rule->listName ) );
}

void CommunityMatchSm::handleMatcherApplied( MatcherChange & change, const MatcherChangeSymbol * symbols ) {
   if( change.option() != kOption ) return;
   const bool stands = symbols && !symbols->matchSymbol().empty();
   list_ = stands ? Quoin::staticPtrCast<const CommListSymbol>( *symbols->matchSymbol().begin() ) : nullptr;
   listReactor_.notifierIs( stands ? list_->notifier() : nullptr );
   if( stands ) matcherIs( change );
}

// Until the route map's task runs: a burst of changes costs one generation.
void CommunityMatchSm::handleList( const Quoin::Change & ) {
   const auto list = list_;
   if( list->status() == madeOf_ ) return;
   sequence_.rmSymbol()->statusCurrentIs( false );
   if( zombieReactors() || list_ != list ) return;   // who heard of that has dropped the sequence, or the clause has another list
   matcherIs( *sequence_.rmConfigSymbolReactor()->pendingUpdateIs( sequence_.seqno() )->matcherChangeIs( kOption ) );
}

void CommunityMatchSm::matcherIs( MatcherChange & change ) {
   madeOf_ = list_->status();
   const auto list = Quoin::staticPtrCast<const CommunityList>( madeOf_ );   // this agent's producer alone fills the table
   change.matcherIs( Quoin::makeNode<CommunityMatcher>( list_->name(), list ) );
   change.commListUndefinedIs( !list );
}

}   // namespace BgpAgent
