/// @file tests/compile/Reaction.h
/// A subscriber that calls a function. It needs no test framework.
#pragma once

#include <functional>
#include <utility>

#include "substrate/quoin/Node.h"
#include "substrate/quoin/Publisher.h"

namespace Routing::Policy::CompileFixtures {

/// Runs a function at every change of an object, and counts the changes.
struct Reaction final : Quoin::Subscriber {
   using Function = std::function<void( const Quoin::Change & )>;
   explicit Reaction( const Quoin::Node & watched, Function f = {} ) : function( std::move( f ) ) {
      watched.publisher()->subscriberAdd( this );
   }
   void onChange( const Quoin::Change & change ) override {
      ++heard;
      if( const auto now = function ) now( change );   // a copy: this may be gone behind the call
   }
   /// The changes since the last time.
   int take() { return std::exchange( heard, 0 ); }
   Function function;
   int heard = 0;
};

}   // namespace Routing::Policy::CompileFixtures
