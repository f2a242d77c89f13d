#include "analysis/HeldBack.h"

#include <algorithm>
#include <unordered_map>
#include <vector>

namespace Agent {

// A route map is settled once all its callees are; then each of its callers has one open call less. A route map that is never settled is
// a member of a cycle, or calls one.
std::map<std::string, HeldBackBy> routeMapsHeldBack( const PolicyText::ByName<RouteMapText> & routeMaps, Dialect dialect ) {
   struct Node {
      const std::string * name;
      size_t open = 0;     // its calls of route maps that are not settled
      size_t depth = 0;    // of the nested calls below it
      size_t number = 0;   // of calls in one evaluation, at most kMostCalls + 1
      std::vector<Node *> callers;
   };
   std::unordered_map<std::string_view, Node> nodes;
   for( const auto & [ name, routeMap ] : routeMaps ) nodes.emplace( name, Node{ &name, 0, 0, 0, {} } );
   for( const auto & [ name, routeMap ] : routeMaps )
      for( const auto & [ number, sequence ] : routeMap.sequences ) {
         const auto * call = followedCall( sequence, dialect );
         const auto called = call ? nodes.find( call->name ) : nodes.end();
         if( called == nodes.end() ) continue;
         Node & caller = nodes.at( name );
         ++caller.open;
         called->second.callers.push_back( &caller );
      }

   std::map<std::string, HeldBackBy> held;
   std::vector<const Node *> settled;
   for( const auto & [ name, node ] : nodes )
      if( node.open == 0 )
         settled.push_back( &node );
      else
         held.emplace( name, HeldBackBy::cycle );
   while( !settled.empty() ) {
      const Node & node = *settled.back();
      settled.pop_back();
      for( Node * caller : node.callers ) {
         caller->depth = std::max( caller->depth, node.depth + !isOfFilters( *caller->name ) );
         caller->number = std::min( caller->number + 1 + node.number, kMostCalls + 1 );
         if( --caller->open != 0 ) continue;
         settled.push_back( caller );
         if( caller->depth > deepestCalls( dialect ) )
            held.at( *caller->name ) = HeldBackBy::depth;
         else if( caller->number > kMostCalls )
            held.at( *caller->name ) = HeldBackBy::number;
         else
            held.erase( *caller->name );
      }
   }
   return held;
}

}   // namespace Agent
