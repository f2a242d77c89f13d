#include "analysis/CallCycles.h"

#include <algorithm>
#include <limits>
#include <map>
#include <set>
#include <utility>

namespace Agent {

namespace {

using Node = size_t;   // a route map's number
constexpr Node kNone = std::numeric_limits<Node>::max();
using Neighbours = std::vector<std::vector<Node>>;   // of each node

/// The calls between the defined route maps.
class CallGraph {
 public:
   explicit CallGraph( const References & references ) {
      for( const auto & reference : references.all() ) {
         if( !reference.isCall() || !reference.defined ) continue;
         const Node from = nodeOf( reference.routeMap ), to = nodeOf( reference.to.name );
         auto & references_ = calls_[ { from, to } ];
         if( references_.empty() ) {
            callees_[ from ].push_back( to );
            callers_[ to ].push_back( from );
         }
         references_.push_back( &reference );
      }
   }

   const Neighbours & callees() const noexcept { return callees_; }
   const Neighbours & callers() const noexcept { return callers_; }
   std::string_view name( Node node ) const noexcept { return names_[ node ]; }
   const std::map<std::pair<Node, Node>, std::vector<const Reference *>> & calls() const noexcept { return calls_; }

 private:
   Node nodeOf( std::string_view name ) {
      const auto [ at, isNew ] = nodes_.emplace( name, names_.size() );
      if( isNew ) {
         names_.push_back( name );
         callees_.emplace_back();
         callers_.emplace_back();
      }
      return at->second;
   }

   std::map<std::string_view, Node> nodes_;
   std::vector<std::string_view> names_;
   Neighbours callees_;
   Neighbours callers_;
   std::map<std::pair<Node, Node>, std::vector<const Reference *>> calls_;
};

// All nodes; a callee comes before its callers, except within a cycle.
std::vector<Node> calleesFirst( const Neighbours & callees ) {
   struct Visit {
      Node node;
      size_t next;   // of its callees
   };
   std::vector<Node> order;
   std::vector<bool> seen( callees.size() );
   std::vector<Visit> visits;
   const auto visit = [ & ]( Node n ) {
      if( seen[ n ] ) return;
      seen[ n ] = true;
      visits.push_back( { n, 0 } );
   };
   for( Node root = 0; root < callees.size(); ++root ) {
      visit( root );
      while( !visits.empty() ) {
         auto & [ node, next ] = visits.back();
         if( next < callees[ node ].size() ) {
            visit( callees[ node ][ next++ ] );
         } else {
            order.push_back( node );
            visits.pop_back();
         }
      }
   }
   return order;
}

// The group of each node: the nodes that it reaches through calls and that reach it. Going backwards through calleesFirst(), the callers of
// the first node without a group that have no group either are its group.
std::vector<Node> groupsOf( const CallGraph & graph ) {
   const auto order = calleesFirst( graph.callees() );
   std::vector<Node> groups( order.size(), kNone ), next;
   for( auto root = order.rbegin(); root != order.rend(); ++root ) {
      const auto take = [ & ]( Node n ) {
         if( groups[ n ] != kNone ) return;
         groups[ n ] = *root;
         next.push_back( n );
      };
      take( *root );
      while( !next.empty() ) {
         const Node n = next.back();
         next.pop_back();
         for( const Node caller : graph.callers()[ n ] ) take( caller );
      }
   }
   return groups;
}

// The names of these nodes and of all their direct and indirect callers, ascending, except the nodes that are `listed` already. Updates
// `listed`.
std::vector<std::string_view> listWithCallers( const CallGraph & graph, const std::vector<Node> & nodes, std::vector<bool> & listed ) {
   std::vector<std::string_view> names;
   std::vector<Node> next;
   const auto list = [ & ]( Node n ) {
      if( listed[ n ] ) return;
      listed[ n ] = true;
      names.push_back( graph.name( n ) );
      next.push_back( n );
   };
   for( const Node n : nodes ) list( n );
   while( !next.empty() ) {
      const Node n = next.back();
      next.pop_back();
      for( const Node caller : graph.callers()[ n ] ) list( caller );
   }
   std::sort( names.begin(), names.end() );
   return names;
}

class CycleSearch {
 public:
   explicit CycleSearch( const CallGraph & graph )
         : graph_( graph ), groups_( groupsOf( graph ) ), cameFrom_( groups_.size(), kNone ), listed_( groups_.size(), false ) {}

   std::vector<CallCycle> run() {
      std::vector<std::vector<Node>> rings;
      const auto name = [ this ]( Node n ) { return graph_.name( n ); };
      for( const auto & [ call, references ] : graph_.calls() ) {
         const auto [ from, to ] = call;
         if( groups_[ from ] != groups_[ to ] || covered_.contains( call ) ) continue;
         auto ring = pathInGroup( to, from );
         for( size_t i = 0; i < ring.size(); ++i ) covered_.emplace( ring[ i ], ring[ ( i + 1 ) % ring.size() ] );
         std::rotate( ring.begin(), std::ranges::min_element( ring, {}, name ), ring.end() );
         rings.push_back( std::move( ring ) );
      }
      std::ranges::sort( rings,
                         [ & ]( const auto & a, const auto & b ) { return std::ranges::lexicographical_compare( a, b, {}, name, name ); } );
      std::vector<CallCycle> cycles;
      for( const auto & ring : rings ) cycles.push_back( { stepsOf( ring ), listWithCallers( graph_, ring, listed_ ) } );
      return cycles;
   }

 private:
   // A shortest path between two nodes of one group, both included.
   std::vector<Node> pathInGroup( Node from, Node to ) {
      std::vector<Node> reached{ from };
      cameFrom_[ from ] = from;
      for( size_t at = 0; cameFrom_[ to ] == kNone; ++at ) {
         const Node n = reached[ at ];
         for( const Node m : graph_.callees()[ n ] ) {
            if( groups_[ m ] != groups_[ from ] || cameFrom_[ m ] != kNone ) continue;
            cameFrom_[ m ] = n;
            reached.push_back( m );
         }
      }
      std::vector<Node> path{ to };
      while( path.back() != from ) path.push_back( cameFrom_[ path.back() ] );
      std::ranges::reverse( path );
      for( const Node n : reached ) cameFrom_[ n ] = kNone;
      return path;
   }

   std::vector<CallCycle::Step> stepsOf( const std::vector<Node> & ring ) const {
      std::vector<CallCycle::Step> steps;
      for( size_t i = 0; i < ring.size(); ++i ) {
         const Node to = ring[ ( i + 1 ) % ring.size() ];
         const auto & references = graph_.calls().at( { ring[ i ], to } );
         CallCycle::Step step{ graph_.name( ring[ i ] ), {}, graph_.name( to ), references.front()->place };
         for( const auto * reference : references ) step.sequences.push_back( reference->sequence );
         steps.push_back( std::move( step ) );
      }
      return steps;
   }

   const CallGraph & graph_;
   const std::vector<Node> groups_;
   std::vector<Node> cameFrom_;   // of the nodes that the present search has reached; kNone for all others
   std::vector<bool> listed_;     // in notInForce of an earlier cycle
   std::set<std::pair<Node, Node>> covered_;
};

}   // namespace

std::vector<CallCycle> callCyclesOf( const References & references ) {
   const CallGraph graph( references );
   return CycleSearch( graph ).run();
}

}   // namespace Agent
