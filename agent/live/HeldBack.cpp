#include "live/HeldBack.h"

#include <algorithm>
#include <unordered_map>
#include <vector>

namespace Agent {

// Whoever calls nobody who is still in question is out of it, and rids its callers of one call. Those who never are lie on a cycle, or
// come to one.
std::map<std::string, HeldBackBy> routeMapsHeldBack( const PolicyText::ByName<RouteMapText> & routeMaps ) {
   struct Node {
      const std::string * name;
      size_t calls = 0;   // of those in question
      size_t depth = 0;   // of the calls below it
      std::vector<Node *> callers;
   };
   std::unordered_map<std::string_view, Node> nodes;
   for( const auto & [ name, routeMap ] : routeMaps ) nodes.emplace( name, Node{ &name, 0, 0, {} } );
   for( const auto & [ name, routeMap ] : routeMaps )
      for( const auto & [ number, sequence ] : routeMap.sequences ) {
         const auto called = sequence.call ? nodes.find( sequence.call->name ) : nodes.end();
         if( called == nodes.end() ) continue;
         Node & caller = nodes.at( name );
         ++caller.calls;
         called->second.callers.push_back( &caller );
      }

   std::map<std::string, HeldBackBy> held;
   std::vector<const Node *> settled;
   for( const auto & [ name, node ] : nodes )
      if( node.calls == 0 )
         settled.push_back( &node );
      else
         held.emplace( name, HeldBackBy::cycle );
   while( !settled.empty() ) {
      const Node & node = *settled.back();
      settled.pop_back();
      for( Node * caller : node.callers ) {
         caller->depth = std::max( caller->depth, node.depth + 1 );
         if( --caller->calls != 0 ) continue;
         settled.push_back( caller );
         if( caller->depth > kDeepestCalls )
            held.at( *caller->name ) = HeldBackBy::depth;
         else
            held.erase( *caller->name );
      }
   }
   return held;
}

}   // namespace Agent
