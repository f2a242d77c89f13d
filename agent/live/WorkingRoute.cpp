#include "live/WorkingRoute.h"

namespace Agent {

void WorkingRoute::stepIs( const StepText & step, const CompiledSetLists & lists ) {
   applied_.push_back( &step );
   if( step.set.empty() ) return;
   if( !isChanged_ ) changed_ = input_.route();
   isChanged_ = true;
   for( const auto & clause : step.set )
      if( clause.kind == SetKind::distance )
         distance_ = static_cast<uint8_t>( clause.number );
      else
         change( changed_, clause, lists );
   input_.routeIs( changed_ );   // the library's matchers read its copies of the attributes
}

}   // namespace Agent
