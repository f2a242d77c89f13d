#include "policy/DecisionObserver.h"

#include <iterator>

namespace Routing::Policy {

// A walk has at most one chain in `kept_`: the chain of its last call that let the caller match. When a caller ends, it takes over or drops
// the chains of its callees. So the last entries that are deeper than a decision are the chain of its own walk.
void DecisionChain::decided( const Decision & decision ) {
   const auto startOf = [ & ]( Kept::iterator end, uint32_t lowestDepth ) {
      while( end != kept_.begin() && std::prev( end )->depth >= lowestDepth ) --end;
      return end;
   };
   auto below = startOf( kept_.end(), decision.depth + 1 );
   const bool onTheChain = decision.depth == 0 || decision.callerMatches();
   if( below != kept_.end() && ( !onTheChain || kept_.back().caller != decision.sequence ) ) below = kept_.erase( below, kept_.end() );
   if( !onTheChain ) return;
   kept_.erase( startOf( below, decision.depth ), below );   // the chain of an earlier call or list entry
   kept_.push_back( decision );
}

}   // namespace Routing::Policy
