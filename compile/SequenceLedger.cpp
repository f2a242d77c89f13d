#include "compile/SequenceLedger.h"

namespace Routing::Policy {

void SequenceLedger::enter( uint32_t seqno ) {
   const auto at = recorded_.empty() || recorded_.back() < seqno ? recorded_.end() : std::ranges::lower_bound( recorded_, seqno );
   if( at == recorded_.end() || *at != seqno ) recorded_.insert( at, seqno );
   last_ = seqno;
}

void SequenceLedger::symbolIs( const Symbol & symbol ) {
   if( !symbol ) return;
   Uses & uses = usesLike( symbol );
   uses.put( symbol, Plinth::memberOf( uses, symbol ) + 1 );
}

void SequenceLedger::symbolDel( const Symbol & symbol ) {
   if( !symbol ) return;
   Uses & uses = usesLike( symbol );
   QUOIN_ASSERT( uses.contains( symbol ), "uses.contains( symbol )" );
   if( const uint32_t left = Plinth::memberOf( uses, symbol ) - 1; left != 0 )
      uses.put( symbol, left );
   else
      uses.erase( symbol );
}

bool SequenceLedger::symbolsAreCurrent() const {
   const auto areCurrent = []( const Uses & uses ) {
      return std::ranges::all_of( uses, []( const auto & use ) { return use.first->statusCurrent(); } );
   };
   return ( Symbol::element_type::listsAreCurrent() || areCurrent( lists_ ) ) && areCurrent( callees_ );
}

}   // namespace Routing::Policy
