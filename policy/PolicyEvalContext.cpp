#include "policy/PolicyEvalContext.h"

#include <utility>

namespace Routing::Policy {

PolicyEvalContext::~PolicyEvalContext() = default;

void PolicyEvalContext::logIs( LogPtr log ) {
   if( log == log_ ) return;
   log_ = log;
   callStackReset( std::move( log ) );
}

void PolicyEvalContext::callStackReset( LogPtr log ) {
   callStack_.reset();
   callStack_.push( std::move( log ) );
}

PolicyEvalContext::LogPtr PolicyEvalContext::callStack( uint32_t index ) const {
   auto * found = callStack_.find( index );
   return found ? *found : nullptr;
}

}   // namespace Routing::Policy
