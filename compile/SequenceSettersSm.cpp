#include "compile/SequenceSettersSm.h"

namespace Routing::Policy {

SequenceSettersSm::SequenceSettersSm( const RmSeqConfigSymbolSmBase & sequence, const Quoin::Ptr<const SequenceSetters> & setters )
      : sequence_( sequence ), setters_( setters ) {
   settersReactor_.notifierIs( setters );
   for( auto i = setters->setter().first(); i; i.next() ) recordClause( i.key() );
}

SequenceSettersSm::~SequenceSettersSm() {
   stop();
}

// Records all current clauses and all deleted clauses.
void SequenceSettersSm::handleChangeMissed() {
   auto options = recorded_;
   for( auto i = setters_->setter().first(); i; i.next() ) options.insert( i.key() );
   for( const auto option : options ) recordClause( option );
}

void SequenceSettersSm::recordClause( SetOption option ) {
   sequence_.rmSymbol()->statusCurrentIs( false );
   if( zombieReactors() ) return;   // a subscriber of the symbol has deleted the sequence
   const auto setter = setters_->setter( option );
   if( setter )
      recorded_.insert( option );
   else
      recorded_.erase( option );
   sequence_.sequenceChange()->setterChangeIs( option )->setterIs( setter );
}

}   // namespace Routing::Policy
