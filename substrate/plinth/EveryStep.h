/// @file substrate/plinth/EveryStep.h
/// Runs several steps to the end although some of them throw. Writers use it where each step notifies subscribers.
#pragma once

#include <exception>
#include <utility>

#include "routepolicy_export.h"

namespace Plinth {

/// Runs each step and catches its exception, so that the next step still runs. finish() throws the first caught exception.
class EveryStep {
 public:
   template <class Step>
   void operator()( Step && step ) noexcept {
      try {
         std::forward<Step>( step )();
      } catch( ... ) {
         if( !thrown_ ) thrown_ = std::current_exception();
      }
   }
   /// Throws the first caught exception, if any.
   void finish() const {
      if( thrown_ ) std::rethrow_exception( thrown_ );
   }

 private:
   std::exception_ptr thrown_;
};

}   // namespace Plinth
