#include "policy/DecisionObserver.h"

#include <iterator>

namespace Routing::Policy {

// A walk has at most one chain in `kept_`: that of its last call that let the caller match. Chains of callees are taken over or dropped as
// their callers end. So the last entries with a greater depth than a decision's are the chain of its own walk.
void DecisionChain::decided( const Decision & decision ) {
   const auto startOf = [ & ]( Kept::iterator end, uint32_t lowestDepth ) {
      while( end != kept_.begin() && std::prev( end )->depth >= lowestDepth ) --end;
      return end;
   };
   auto below = startOf( kept_.end(), decision.depth + 1 );
   const bool onTheChain = decision.depth == 0 || decision.callerMatches();
   if( below != kept_.end() && ( !onTheChain || kept_.back().caller != decision.sequence ) ) below = kept_.erase( below, kept_.end() );
   if( !onTheChain ) return;
   kept_.erase( startOf( below, decision.depth ), below );   // of an earlier call of the same caller's walk, or an earlier entry
   kept_.push_back( decision );
}

}   // namespace Routing::Policy
