#include "policy/PolicyEvalContext.h"

namespace Routing::Policy {

PolicyEvalContext::~PolicyEvalContext() = default;

void PolicyEvalContext::logIs( const LogPtr & log ) {
   if( log == log_ ) return;
   log_ = log;
   callStackReset( log );
}

void PolicyEvalContext::callStackReset( const LogPtr & log ) {
   callStack_.reset();
   callStack_.push( log );
}

PolicyEvalContext::LogPtr PolicyEvalContext::callStack( uint32_t index ) const {
   auto * found = callStack_.find( index );
   return found ? *found : nullptr;
}

}   // namespace Routing::Policy
