#include "live/WorkingRoute.h"

#include "live/AgentSetters.h"

namespace Agent {

void WorkingRoute::stepIs( const StepText & step ) {
   applied_.push_back( &step );
   if( step.set.empty() ) return;
   if( !isChanged_ ) changed_ = input_.route();
   isChanged_ = true;
   for( const auto & clause : step.set ) apply( clause );
   input_.routeIs( changed_ );   // the library's matchers read its copies of the attributes
}

void WorkingRoute::apply( const SetClause & clause ) {
   const auto number = static_cast<uint32_t>( clause.number );
   switch( clause.kind ) {
      case SetKind::metric: changed_.metric = clause.number; return;
      case SetKind::distance: distance_ = static_cast<uint8_t>( number ); return;
      case SetKind::tag: changed_.tag = number; return;
      case SetKind::localPreference: changed_.localPreference = number; return;
      case SetKind::community: return communitiesAre( changed_.communities, clause );
   }
}

}   // namespace Agent
