/// @file substrate/plinth/EveryStep.h
#pragma once

#include <exception>
#include <utility>

#include "routepolicy_export.h"

namespace Plinth {

/// Takes steps that all have to be taken, also where those who hear of one of them throw. The first that was thrown comes out of
/// finish().
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
   void finish() const {
      if( thrown_ ) std::rethrow_exception( thrown_ );
   }

 private:
   std::exception_ptr thrown_;
};

}   // namespace Plinth
