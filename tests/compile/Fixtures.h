/// @file tests/compile/Fixtures.h
/// What the tests of compilation share: something to run at every change of an object, and the traces of one category.
#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "substrate/plinth/Trace.h"
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

/// Keeps what the traces of one category say, up to a level, while it stands.
class TraceLog {
 public:
   explicit TraceLog( const char * category, int level = Plinth::TraceFacility::level8 ) : category_( category ) {
      EXPECT_GE( Plinth::TraceHandle::levelIs( category, level ), 1u ) << category;
      Plinth::TraceHandle::sinkIs( [ this ]( const Plinth::TraceRecord & record ) {
         texts_.emplace_back( record.text );
         levels_.push_back( record.level );
      } );
   }
   ~TraceLog() {
      Plinth::TraceHandle::sinkIs( nullptr );
      Plinth::TraceHandle::levelIs( category_, Plinth::TraceFacility::kOff );
   }
   TraceLog( const TraceLog & ) = delete;
   TraceLog & operator=( const TraceLog & ) = delete;

   std::vector<std::string> take() { return std::exchange( texts_, {} ); }
   const std::vector<int> & levels() const { return levels_; }

 private:
   const char * category_;
   std::vector<std::string> texts_;
   std::vector<int> levels_;
};

}   // namespace Routing::Policy::CompileFixtures
