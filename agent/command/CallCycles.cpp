#include "command/CallCycles.h"

#include <algorithm>
#include <deque>
#include <limits>
#include <map>
#include <optional>
#include <set>
#include <utility>

#include "live/HeldBack.h"

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

// Those that lead to a cycle: what is left when whoever leads nowhere goes, and then whoever leads nowhere any more.
std::vector<bool> leadingToCycles( const Neighbours & to, const Neighbours & from ) {
   std::vector<bool> left( to.size(), true );
   std::vector<size_t> ways( to.size() );
   std::vector<Node> going;
   for( Node n = 0; n < to.size(); ++n ) {
      ways[ n ] = to[ n ].size();
      if( ways[ n ] == 0 ) going.push_back( n );
   }
   while( !going.empty() ) {
      const Node n = going.back();
      going.pop_back();
      left[ n ] = false;
      for( const Node before : from[ n ] )
         if( --ways[ before ] == 0 ) going.push_back( before );
   }
   return left;
}

// A shortest way from one to the other, both included, over those that `may` be passed; empty when there is none.
std::vector<Node> wayBetween( Node from, Node to, const Neighbours & callees, const std::vector<bool> & may ) {
   std::vector<Node> cameFrom( callees.size(), kNone );
   std::deque<Node> next{ from };
   cameFrom[ from ] = from;
   while( !next.empty() && cameFrom[ to ] == kNone ) {
      const Node n = next.front();
      next.pop_front();
      for( const Node m : callees[ n ] ) {
         if( !may[ m ] || cameFrom[ m ] != kNone ) continue;
         cameFrom[ m ] = n;
         next.push_back( m );
      }
   }
   if( cameFrom[ to ] == kNone ) return {};
   std::vector<Node> way{ to };
   while( way.back() != from ) way.push_back( cameFrom[ way.back() ] );
   std::reverse( way.begin(), way.end() );
   return way;
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

// How deep the calls go below each; of those that lead to no cycle.
std::vector<size_t> depthsOf( const CallGraph & graph ) {
   const size_t count = graph.callees().size();
   std::vector<size_t> depths( count, 0 ), calls( count );
   std::vector<Node> settled;
   for( Node n = 0; n < count; ++n ) {
      calls[ n ] = graph.callees()[ n ].size();
      if( calls[ n ] == 0 ) settled.push_back( n );
   }
   while( !settled.empty() ) {
      const Node n = settled.back();
      settled.pop_back();
      for( const Node caller : graph.callers()[ n ] ) {
         depths[ caller ] = std::max( depths[ caller ], depths[ n ] + 1 );
         if( --calls[ caller ] == 0 ) settled.push_back( caller );
      }
   }
   return depths;
}

class CycleSearch {
 public:
   explicit CycleSearch( const CallGraph & graph ) : graph_( graph ), told_( graph.callees().size(), false ) {
      const auto leading = leadingToCycles( graph.callees(), graph.callers() );
      const auto led = leadingToCycles( graph.callers(), graph.callees() );
      for( Node n = 0; n < leading.size(); ++n ) between_.push_back( leading[ n ] && led[ n ] );
   }

   std::vector<CallCycle> run() {
      std::vector<std::vector<Node>> rings;
      for( const auto & [ call, references ] : graph_.calls() ) {
         const auto [ from, to ] = call;
         if( !between_[ from ] || !between_[ to ] || covered_.contains( call ) ) continue;
         auto ring = wayBetween( to, from, graph_.callees(), between_ );
         if( ring.empty() ) continue;
         for( size_t i = 0; i < ring.size(); ++i ) covered_.emplace( ring[ i ], ring[ ( i + 1 ) % ring.size() ] );
         const auto byName = [ this ]( Node a, Node b ) { return graph_.name( a ) < graph_.name( b ); };
         std::rotate( ring.begin(), std::min_element( ring.begin(), ring.end(), byName ), ring.end() );
         rings.push_back( std::move( ring ) );
      }
      const auto namesOf = [ this ]( const std::vector<Node> & ring ) {
         std::vector<std::string_view> names;
         for( const Node n : ring ) names.push_back( graph_.name( n ) );
         return names;
      };
      std::sort( rings.begin(), rings.end(), [ & ]( const auto & a, const auto & b ) { return namesOf( a ) < namesOf( b ); } );
      std::vector<CallCycle> cycles;
      for( const auto & ring : rings ) cycles.push_back( { stepsOf( ring ), tellWithCallers( graph_, ring, told_ ) } );
      return cycles;
   }

 private:
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
   std::vector<bool> between_;   // on a cycle, or on a way from one to another
   std::vector<bool> told_;      // not to be in force
   std::set<std::pair<Node, Node>> covered_;
};

}   // namespace

std::vector<CallCycle> callCyclesOf( const References & references ) {
   const CallGraph graph( references );
   return CycleSearch( graph ).run();
}

std::vector<DeepCall> deepCallsOf( const References & references ) {
   const CallGraph graph( references );
   const auto depths = depthsOf( graph );
   const auto cyclic = leadingToCycles( graph.callees(), graph.callers() );
   std::vector<bool> told = cyclic;
   std::vector<DeepCall> deep;
   for( Node callee = 0; callee < depths.size(); ++callee ) {
      if( depths[ callee ] != kDeepestCalls || cyclic[ callee ] ) continue;
      std::vector<Node> lowest;   // of those that it holds back
      for( const Node caller : graph.callers()[ callee ] )
         if( !told[ caller ] && depths[ caller ] == kDeepestCalls + 1 ) lowest.push_back( caller );
      if( lowest.empty() ) continue;
      const Reference * const call = graph.calls().at( { lowest.front(), callee } ).front();
      deep.push_back( { call, tellWithCallers( graph, lowest, told ) } );
   }
   return deep;
}

}   // namespace Agent
