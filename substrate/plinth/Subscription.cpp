#include "substrate/plinth/Subscription.h"

#include <utility>

namespace Plinth {

struct Subscription::Call final : Quoin::Node {
   explicit Call( Function f ) : function( std::move( f ) ) {
      if( !function ) throw std::bad_function_call();
   }
   const Function function;
};

Subscription::Subscription( const Quoin::Node & object, Function function ) : call_( Quoin::makeNode<Call>( std::move( function ) ) ) {
   if( auto * publisher = object.publisher() ) publisher->subscriberAdd( this );
}

Subscription::~Subscription() {
   unsubscribe();   // before the function is destroyed: what it holds may write to the object
}

void Subscription::onChange( const Quoin::Change & change ) {
   const auto call = call_;   // the function may destroy this object
   call->function( change );
}

}   // namespace Plinth
