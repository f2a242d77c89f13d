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

/// Who calls whom, among the route maps that there are.
class CallGraph {
 public:
   explicit CallGraph( const References & references ) {
      for( const auto & reference : references.all() ) {
         if( reference.option || !reference.defined ) continue;
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

// All of them; whom nobody can come back from before whoever comes to it.
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

// The group of each: of those that it comes to through calls, and that come back to it. Whoever comes first among the last callers can
// be come to from nowhere but its group.
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

// The names of these and of all that comes to them through calls, but for those that are told of already; ascending.
std::vector<std::string_view> tellWithCallers( const CallGraph & graph, const std::vector<Node> & nodes, std::vector<bool> & told ) {
   std::vector<std::string_view> names;
   std::vector<Node> next;
   const auto tell = [ & ]( Node n ) {
      if( told[ n ] ) return;
      told[ n ] = true;
      names.push_back( graph.name( n ) );
      next.push_back( n );
   };
   for( const Node n : nodes ) tell( n );
   while( !next.empty() ) {
      const Node n = next.back();
      next.pop_back();
      for( const Node caller : graph.callers()[ n ] ) tell( caller );
   }
   std::sort( names.begin(), names.end() );
   return names;
}

class CycleSearch {
 public:
   explicit CycleSearch( const CallGraph & graph )
         : graph_( graph ), groups_( groupsOf( graph ) ), cameFrom_( groups_.size(), kNone ), told_( groups_.size(), false ) {}

   std::vector<CallCycle> run() {
      std::vector<std::vector<Node>> rings;
      const auto name = [ this ]( Node n ) { return graph_.name( n ); };
      for( const auto & [ call, references ] : graph_.calls() ) {
         const auto [ from, to ] = call;
         if( groups_[ from ] != groups_[ to ] || covered_.contains( call ) ) continue;
         auto ring = wayInGroup( to, from );
         for( size_t i = 0; i < ring.size(); ++i ) covered_.emplace( ring[ i ], ring[ ( i + 1 ) % ring.size() ] );
         std::ranges::rotate( ring, std::ranges::min_element( ring, {}, name ) );
         rings.push_back( std::move( ring ) );
      }
      std::ranges::sort( rings,
                         [ & ]( const auto & a, const auto & b ) { return std::ranges::lexicographical_compare( a, b, {}, name, name ); } );
      std::vector<CallCycle> cycles;
      for( const auto & ring : rings ) cycles.push_back( { stepsOf( ring ), tellWithCallers( graph_, ring, told_ ) } );
      return cycles;
   }

 private:
   // A shortest way from one to the other of its group, both included.
   std::vector<Node> wayInGroup( Node from, Node to ) {
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
      std::vector<Node> way{ to };
      while( way.back() != from ) way.push_back( cameFrom_[ way.back() ] );
      std::ranges::reverse( way );
      for( const Node n : reached ) cameFrom_[ n ] = kNone;
      return way;
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
   std::vector<Node> cameFrom_;   // of those that a search has reached; kNone between two
   std::vector<bool> told_;       // not to be in force
   std::set<std::pair<Node, Node>> covered_;
};

}   // namespace

std::vector<CallCycle> callCyclesOf( const References & references ) {
   const CallGraph graph( references );
   return CycleSearch( graph ).run();
}

}   // namespace Agent
