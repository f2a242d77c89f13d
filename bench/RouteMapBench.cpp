// What does a route cost in a route map, against the number of its sequences, and how much of it does the plan of the route map save?
// Each route is one PolicyEval::eval() of a list with one route map.

#include <array>
#include <memory>
#include <unordered_map>

#include "bench/Policies.h"
#include "policy/NexthopMatcher.h"
#include "policy/PolicyEvalContext.h"
#include "policy/RouteMetricMatcher.h"
#include "policy/TagMatcher.h"

namespace {

using namespace Bench;
using Acl::MatchPermit;
using Quoin::makeNode;
using Quoin::Ptr;
using Sequence = Ptr<RouteMapSeqStatus>;

constexpr size_t kRoutes = 1 << 16;

// The walk over all sequences answers fewer routes: it takes too long for all.
size_t walkedRoutes( size_t sequences ) {
   return std::min( kRoutes, 2'000'000 / sequences );
}

struct Yardstick {
   std::string name;
   std::function<uint64_t( size_t )> pass;   // asks all routes; returns the checksum of this many
};

template <class Ask>
Yardstick yardstick( std::string name, Ask ask ) {
   return { std::move( name ), [ = ]( size_t compared ) { return overlapped( kRoutes, compared, ask ); } };
}

// Compares evaluation with the yardsticks, and with the walk over all sequences. `fill( input, i )` writes the route with index i.
template <class Fill>
void compare( const std::string & question, const std::string & size, const Ptr<const RouteMapStatus> & map, Fill fill,
              const std::vector<Yardstick> & yardsticks ) {
   Point planned( map ), walking( map );
   walking.evaluator().contextIs( makeNode<Routing::Policy::PolicyEvalContext>() );
   const auto askedAt = [ &fill ]( Point & point ) {
      return [ & ]( size_t i ) -> size_t {
         fill( point.input(), i );
         return point.permits();
      };
   };
   const auto evaluation = yardstick( "evaluation", askedAt( planned ) );
   const size_t walked = walkedRoutes( map->seqStatus().count() );
   Group group;
   const auto ours = group.way( evaluation.name, kRoutes, [ & ] { return evaluation.pass( walked ); } );
   for( const auto & y : yardsticks ) {
      if( y.pass( kRoutes ) != evaluation.pass( kRoutes ) ) fail( question + ": " + y.name + " answers differently" );
      group.row( question, size, ours, group.way( y.name, kRoutes, [ & ] { return y.pass( walked ); } ) );
   }
   group.row( question, size, ours, group.way( "plain walk", walked, [ & ] { return overlapped( walked, askedAt( walking ) ); } ) );
   group.run();
   if( !map->plan() ) fail( question + ": the plan is outdated" );
}

void measureTags( size_t size ) {
   const std::string question = "sequences by tag";
   if( !wanted( question + ", " + grouped( size ) ) ) return;
   Random random( size );
   const Tags tags = someTags( size, random );
   const auto map = mapOfTags( tags );
   std::unordered_map<Routing::RouteTag, bool> permits;
   for( size_t i = 0; i < size; ++i ) permits[ tags[ i ] ] = actionAt( i ) == MatchPermit::permit;
   Tags routes( kRoutes );
   for( auto & tag : routes ) tag = tags[ random.below( size ) ];
   compare( question, grouped( size ), map, [ & ]( MatchInput_ & input, size_t i ) { input.tagIs( routes[ i ] ); },
            { yardstick( "hash probe", [ & ]( size_t i ) -> size_t { return permits.find( routes[ i ] )->second; } ) } );
}

// The yardsticks for prefixes that one list answers too.
std::vector<Yardstick> trieAndTable( const PrefixListMatcher & trie, const Table24x8 & table, const Prefixes & routes ) {
   return { yardstick( "one trie",
                       [ & ]( size_t i ) -> size_t { return trie.matchPrefix( routes[ i ] ).result == PrefixListMatchResult::permit; } ),
            yardstick( "24-8 table", [ & ]( size_t i ) -> size_t { return table( routes[ i ] ); } ) };
}

auto prefixOfRoute( const Prefixes & routes ) {
   return [ & ]( MatchInput_ & input, size_t i ) { input.prefixIs( routes[ i ] ); };
}

void measureLists( size_t size ) {
   const std::string question = "sequences by list of 10";
   if( !wanted( question + ", " + grouped( size ) ) ) return;
   Random random( size );
   const auto prefixes = generatedTable( AddressFamily::ipv4, kListEntries * size, random );
   const auto map = mapOfLists( prefixes );
   Entries merged = exactEntries( prefixes );
   for( size_t i = 0; i < merged.size(); ++i ) merged[ i ].action = actionAt( i / kListEntries );
   Prefixes routes( kRoutes );
   for( auto & p : routes ) p = prefixes[ random.below( prefixes.size() ) ];
   const PrefixListMatcher trie( "list", listOf( merged ) );
   const Table24x8 table( merged );
   compare( question, grouped( size ), map, prefixOfRoute( routes ), trieAndTable( trie, table, routes ) );
}

// A policy with clauses of many kinds, as people write it, and routes for it.
class MixedPolicy {
 public:
   struct Route {
      IpGenPrefix prefix;
      Routing::RouteTag tag;
      Zeugma::MaybeU63 metric;
      Ferule::IpGenAddr nexthop;
   };
   explicit MixedPolicy( size_t size ) : random_( size ), prefixes_( generatedTable( AddressFamily::ipv4, kListEntries * size, random_ ) ) {
      for( auto & callee : callees_ ) callee = newCallee();
      std::vector<Sequence> sequences;
      for( size_t i = 0; i < size; ++i ) sequences.push_back( sequenceOf( uint32_t( 10 * ( i + 1 ) ) ) );
      for( size_t i = 0; i + kFarthest < size; ++i )
         if( sequences[ i ]->matchAction() == MatchPermit::permit && random_.below( 100 ) < 10 )   // half of the sequences permit
            sequences[ i ]->continueSeqIs( sequences[ i + 1 + random_.below( kFarthest ) ] );
      for( const auto & seq : sequences ) map_->seqStatusIs( seq );
      map_->updateFeatures();
   }
   Ptr<const RouteMapStatus> map() const { return map_; }
   // Four routes in five are made for a sequence at random. The others match no sequence, except by chance.
   Route route() {
      if( random_.below( 5 ) ) return matched_[ random_.below( matched_.size() ) ];
      return unmatched();
   }

 private:
   static constexpr size_t kFarthest = 10;   // that a continue skips

   Route unmatched() { return { randomPrefix( AddressFamily::ipv4, random_ ), 0, {}, {} }; }
   // 40 % by a list, 10 % by a list and a tag, 35 % by a tag, 10 % by a metric or a next hop, 5 % by a call.
   Sequence sequenceOf( uint32_t seqno ) {
      auto seq = makeNode<RouteMapSeqStatus>( seqno );
      if( random_.below( 2 ) ) seq->matchActionIs( MatchPermit::deny );
      Route route = unmatched();
      const size_t draw = random_.below( 100 );
      if( draw < 50 ) byList( *seq, route );
      if( draw >= 40 && draw < 85 ) byTag( *seq, route );
      if( draw >= 85 && draw < 90 ) byMetric( *seq, route );
      if( draw >= 90 && draw < 95 ) byNexthop( *seq, route );
      if( draw >= 95 ) byCall( *seq, route );
      matched_.push_back( route );
      return seq;
   }
   // A small route map, in which each sequence has a tag.
   struct Callee {
      Ptr<RouteMapStatus> map = makeNode<RouteMapStatus>( "callee" );
      Route route;   // matches its last sequence
   };
   Callee newCallee() {
      Callee callee;
      for( uint32_t seqno = 1; seqno <= 3; ++seqno ) {
         auto seq = makeNode<RouteMapSeqStatus>( seqno );
         callee.route = unmatched();
         byTag( *seq, callee.route );
         callee.map->seqStatusIs( seq );
      }
      return callee;
   }
   void byCall( RouteMapSeqStatus & seq, Route & route ) {
      const Callee & callee = callees_[ random_.below( callees_.size() ) ];
      seq.subRouteMapIs( callee.map );
      route = callee.route;
   }
   void byList( RouteMapSeqStatus & seq, Route & route ) {
      const Entries entries = writtenEntries( Prefixes( prefixes_.end() - kListEntries, prefixes_.end() ), random_ );
      prefixes_.resize( prefixes_.size() - kListEntries );
      route.prefix = entries[ random_.below( entries.size() ) ].prefix;
      seq.matcherIs( MatchOption::matchIpPrefixList, makeNode<PrefixListMatcher>( "list", listOf( entries ) ) );
   }
   void byTag( RouteMapSeqStatus & seq, Route & route ) {
      route.tag = ++last_;
      seq.matcherIs( MatchOption::matchTag, makeNode<Routing::Policy::TagMatcher>( route.tag ) );
   }
   void byMetric( RouteMapSeqStatus & seq, Route & route ) {
      route.metric = Zeugma::MaybeU63( ++last_ );
      seq.matcherIs( MatchOption::matchMetric, makeNode<Routing::Policy::RouteMetricMatcher>( route.metric ) );
   }
   void byNexthop( RouteMapSeqStatus & seq, Route & route ) {
      route.nexthop = Ferule::IpGenAddr( Ferule::IpAddr( 0x0A00'0000u + ++last_ ) );
      seq.matcherIs( MatchOption::matchIpNexthop, makeNode<Routing::Policy::NexthopMatcher>( route.nexthop ) );
   }

   Random random_;
   Prefixes prefixes_;   // that no list has yet
   uint32_t last_ = 0;   // tag, metric or next hop
   std::vector<Route> matched_;
   std::array<Callee, 10> callees_;
   Ptr<RouteMapStatus> map_ = emptyMap( "mixed" );
};

void measureMixed( size_t size ) {
   const std::string question = "sequences of a mixed policy";
   if( !wanted( question + ", " + grouped( size ) ) ) return;
   MixedPolicy policy( size );
   std::vector<MixedPolicy::Route> routes;
   while( routes.size() < kRoutes ) routes.push_back( policy.route() );
   const auto fill = [ & ]( MatchInput_ & input, size_t i ) {
      input.prefixIs( routes[ i ].prefix );
      input.tagIs( routes[ i ].tag );
      input.metricIs( routes[ i ].metric );
      input.nexthopIs( routes[ i ].nexthop );
   };
   compare( question, grouped( size ), policy.map(), fill, {} );
}

bool permitsAll( const MatchInput_ & ) {
   return true;
}

// The fixed cost of an evaluation.
void measureFixed() {
   const std::string question = "a sequence that matches all";
   if( !wanted( question ) ) return;
   auto map = makeNode<RouteMapStatus>( "all" );
   map->seqStatusIs( makeNode<RouteMapSeqStatus>( 10 ) );
   bool ( *volatile function )( const MatchInput_ & ) = permitsAll;
   MatchInput_ route;
   const auto fill = []( MatchInput_ & input, size_t i ) { input.tagIs( uint32_t( i ) ); };
   compare( question, "1", map, fill, { yardstick( "function pointer", [ & ]( size_t i ) -> size_t {
               fill( route, i );
               return function( route );
            } ) } );
}

// Looks up the prefixes of a table in ten wide blocks, as in a filter of bogons.
void measureFilter() {
   const std::string question = "a filter of 10 blocks";
   if( !wanted( question ) ) return;
   Random random( 5 );
   Entries blocks = exactEntries( generatedTable( AddressFamily::ipv4, 10, random ) );
   for( auto & b : blocks ) {
      b.prefix = IpGenPrefix( b.prefix.ipGenAddr(), uint8_t( 8 + random.below( 9 ) ) ).subnet();
      b.le = 32;
   }
   const auto routes = generatedTable( AddressFamily::ipv4, kRoutes, random );
   const auto list = listOf( blocks );
   const LinearList linear( blocks );
   const Table24x8 table( blocks );
   const PrefixListMatcher trie( "list", list );
   auto yardsticks = trieAndTable( trie, table, routes );
   yardsticks.push_back(
      yardstick( "linear scan", [ & ]( size_t i ) -> size_t { return linear( routes[ i ] ).result == PrefixListMatchResult::permit; } ) );
   compare( question, "10", mapWithList( "filter", list ), prefixOfRoute( routes ), yardsticks );
}

// Calls three route maps in turn, each with its own list. Half of the routes are in the last list, the others in none, so each evaluation
// looks into all lists.
void measureSubRouteMaps() {
   const std::string question = "3 called maps with a list each";
   if( !wanted( question ) ) return;
   constexpr size_t kEntries = 1'000;
   Random random( 6 );
   const auto prefixes = generatedTable( AddressFamily::ipv4, 1 << 16, random );
   std::vector<std::unique_ptr<Table24x8>> tables;
   auto map = makeNode<RouteMapStatus>( "caller" );
   Entries entries;
   for( size_t i = 0; i < 3; ++i ) {
      const auto from = prefixes.begin() + long( i * kEntries );
      entries = exactEntries( Prefixes( from, from + kEntries ) );
      tables.push_back( std::make_unique<Table24x8>( entries ) );
      auto seq = makeNode<RouteMapSeqStatus>( uint32_t( 10 * ( i + 1 ) ) );
      seq->subRouteMapIs( mapWithList( "sub", listOf( entries ) ) );
      map->seqStatusIs( seq );
   }
   const Prefixes routes = queriesFor( entries, Prefixes( prefixes.begin() + 3 * kEntries, prefixes.end() ), kRoutes, random );
   const auto readTables = [ & ]( size_t i ) -> size_t {
      return std::ranges::any_of( tables, [ & ]( const auto & table ) { return ( *table )( routes[ i ] ); } );
   };
   compare( question, "3 x 1,000", map, prefixOfRoute( routes ), { yardstick( "3 24-8 tables", readTables ) } );
}

// Stores the decision of an evaluation.
struct LastDecision final : Routing::Policy::DecisionObserver {
   void decided( const Routing::Policy::Decision & decision ) override {
      if( decision.depth == 0 ) sequence = decision.sequence;
   }
   const RouteMapSeqStatus * sequence = nullptr;
};

// Compares an evaluation with an observer and the same evaluation without.
void measureObserver() {
   for( const size_t size : { 1u, 10u, 100u } ) {
      const std::string question = "sequences, who decides";
      if( !wanted( question + ", " + grouped( size ) ) ) continue;
      Random random( 7 + size );
      const Tags tags = someTags( size, random );
      Point point( mapOfTags( tags ) );
      const size_t n = 100'000 / size;
      Tags queries( n );
      for( auto & q : queries ) q = tags[ random.below( size ) ];
      Group group;
      const auto observed = group.way( "with an observer", n, [ & ] {
         return overlapped( n, [ & ]( size_t i ) -> size_t {
            LastDecision last;
            point.input().tagIs( queries[ i ] );
            return point.permits( last ) && last.sequence;
         } );
      } );
      const auto chain = group.way( "with a chain", n, [ & ] {
         return overlapped( n, [ & ]( size_t i ) -> size_t {
            Routing::Policy::DecisionChain chain;
            point.input().tagIs( queries[ i ] );
            return point.permits( chain ) && chain.size() == 1;
         } );
      } );
      const auto plain = group.way( "evaluation", n, [ & ] {
         return overlapped( n, [ & ]( size_t i ) -> size_t {
            point.input().tagIs( queries[ i ] );
            return point.permits();
         } );
      } );
      group.row( question, grouped( size ), observed, plain );
      group.row( question + ", as a chain", grouped( size ), chain, plain );
      group.run();
   }
}

void measureAll() {
   measureFixed();
   for( const size_t size : { 10u, 100u, 1'000u, 10'000u } ) measureTags( size );
   for( const size_t size : { 10u, 100u, 1'000u, 10'000u } ) measureLists( size );
   for( const size_t size : { 10u, 100u, 1'000u, 10'000u } ) measureMixed( size );
   measureFilter();
   measureSubRouteMaps();
   measureObserver();
}

}   // namespace

int main( int argc, char ** argv ) {
   return Bench::benchMain( argc, argv, measureAll );
}
