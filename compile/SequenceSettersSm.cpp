#include "compile/SequenceSettersSm.h"

namespace Routing::Policy {

SequenceSettersSm::SequenceSettersSm( const RmSeqConfigSymbolSmBase & sequence, const Quoin::Ptr<const SequenceSetters> & setters )
      : sequence_( sequence ), setters_( setters ) {
   settersReactor_.notifierIs( setters );
   for( auto i = setters->setter().first(); i; i.next() ) recordClause( i.key() );
}

// Records all current clauses and all deleted clauses.
void SequenceSettersSm::handleChangeMissed() {
   auto options = recorded_;
   for( auto i = setters_->setter().first(); i; i.next() ) options.insert( i.key() );
   for( const auto option : options ) recordClause( option );
}

void SequenceSettersSm::recordClause( SetOption option ) {
   const auto setter = setters_->setter( option );
   if( setter )
      recorded_.insert( option );
   else
      recorded_.erase( option );
   sequence_.sequenceChange()->setterChangeIs( option )->setterIs( setter );
   sequence_.rmSymbol()->statusCurrentIs( false );
}

}   // namespace Routing::Policy
