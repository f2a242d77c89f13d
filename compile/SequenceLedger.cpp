#include "compile/SequenceLedger.h"

namespace Routing::Policy {

void SequenceLedger::enter( uint32_t seqno ) {
   const auto at = recorded_.empty() || recorded_.back() < seqno ? recorded_.end() : std::ranges::lower_bound( recorded_, seqno );
   if( at == recorded_.end() || *at != seqno ) recorded_.insert( at, seqno );
   last_ = seqno;
}

void SequenceLedger::symbolIs( const Symbol & symbol ) {
   if( symbol ) uses_.put( symbol, Plinth::memberOf( uses_, symbol ) + 1 );
}

void SequenceLedger::symbolDel( const Symbol & symbol ) {
   if( !symbol ) return;
   QUOIN_ASSERT( uses_.contains( symbol ), "uses_.contains( symbol )" );
   if( const uint32_t left = Plinth::memberOf( uses_, symbol ) - 1; left != 0 )
      uses_.put( symbol, left );
   else
      uses_.erase( symbol );
}

bool SequenceLedger::symbolsAreCurrent() const {
   return std::ranges::all_of( uses_, []( const auto & use ) { return use.first->statusCurrent(); } );
}

}   // namespace Routing::Policy
