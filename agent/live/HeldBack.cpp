#include "live/HeldBack.h"

#include <unordered_map>
#include <vector>

namespace Agent {

// Whoever calls nobody who is still in question is free, and frees its callers of one call. Those who are never freed remain.
std::set<std::string> routeMapsHeldBack( const PolicyText::ByName<RouteMapText> & routeMaps ) {
   struct Node {
      const std::string * name;
      size_t calls = 0;
      std::vector<Node *> callers;
   };
   std::unordered_map<std::string_view, Node> nodes;
   for( const auto & [ name, routeMap ] : routeMaps ) nodes.emplace( name, Node{ &name, 0, {} } );
   for( const auto & [ name, routeMap ] : routeMaps )
      for( const auto & [ number, sequence ] : routeMap.sequences ) {
         const auto called = sequence.call ? nodes.find( sequence.call->name ) : nodes.end();
         if( called == nodes.end() ) continue;
         Node & caller = nodes.at( name );
         ++caller.calls;
         called->second.callers.push_back( &caller );
      }

   std::vector<const Node *> free;
   std::set<std::string> held;
   for( const auto & [ name, node ] : nodes )
      if( node.calls == 0 )
         free.push_back( &node );
      else
         held.insert( *node.name );
   while( !free.empty() ) {
      const Node & node = *free.back();
      free.pop_back();
      for( Node * caller : node.callers ) {
         if( --caller->calls != 0 ) continue;
         free.push_back( caller );
         held.erase( *caller->name );
      }
   }
   return held;
}

}   // namespace Agent
