// What do sequences, calls of route maps and tag sets cost per route? Each route is one PolicyEval::eval() of a list with one route map.

#include <memory>
#include <unordered_set>

#include "bench/Policies.h"
#include "policy/TagMatcher.h"
#include "policy/TagSetMatcher.h"

namespace {

using namespace Bench;
using Tags = std::vector<Routing::RouteTag>;

// A route map with one sequence per tag.
Quoin::Ptr<const RouteMapStatus> mapOfTags( const Tags & tags ) {
   auto map = Quoin::makeNode<RouteMapStatus>( "tags" );
   map->updateFeaturesOnSeqStatusChangeIs( false );
   for( const auto tag : tags )
      map->seqStatusIs( sequence( 10 * uint32_t( map->seqStatus().count() + 1 ), MatchOption::matchTag,
                                  Quoin::makeNode<Routing::Policy::TagMatcher>( tag ) ) );
   map->updateFeatures();
   return map;
}

// Different tags in random order.
Tags someTags( size_t count, Random & random ) {
   Tags tags;
   for( size_t i = 0; i < count; ++i ) tags.push_back( uint32_t( 1000 + 7 * i ) );
   shuffle( tags, random );
   return tags;
}

auto tagQuestion( Point & point, const Tags & queries ) {
   return [ & ]( size_t i ) -> size_t {
      point.input().tagIs( queries[ i ] );
      return point.permits();
   };
}

// Compares a walk over sequences with a walk over an array.
void measureSequences() {
   for( const size_t size : { 10u, 100u, 1'000u } ) {
      Random random( size );
      const Tags tags = someTags( size, random );
      Point point( mapOfTags( tags ) );
      const size_t n = 1'000'000 / size;
      struct Case {
         const char * name;
         std::function<Routing::RouteTag()> query;
      };
      const Case cases[] = { { "sequences, the last matches", [ & ] { return tags.back(); } },
                             { "sequences, a random one matches", [ & ] { return tags[ random.below( size ) ]; } },
                             { "sequences, none matches", [] { return 1u; } } };
      for( const auto & c : cases ) {
         if( !wanted( std::string( c.name ) + ", " + grouped( size ) ) ) continue;
         Tags queries( n );
         for( auto & q : queries ) q = c.query();
         Group group;
         const auto ours = group.way( "evaluation", n, [ & ] { return overlapped( n, tagQuestion( point, queries ) ); } );
         const auto loop = group.way( "loop over an array", n, [ & ] {
            return overlapped( n, [ & ]( size_t i ) -> size_t {
               for( const auto tag : tags )
                  if( tag == queries[ i ] ) return true;
               return false;
            } );
         } );
         group.row( c.name, grouped( size ), ours, loop );
         group.run();
      }
   }
}

// Compares a thousand sequences with one tag each, and one sequence with a set of a thousand tags.
void measureTagSet() {
   if( !wanted( "one of many tags" ) ) return;
   Random random( 4 );
   const Tags tags = someTags( 1'000, random );
   Tags queries( 1 << 14 );
   for( auto & q : queries ) q = random.below( 2 ) ? tags[ random.below( tags.size() ) ] : uint32_t( 1001 + 7 * random.below( 1'000 ) );

   Point walk( mapOfTags( tags ) );
   auto set = Quoin::makeNode<Routing::RouteMap::TagSetStatus>( "set" );
   for( const auto tag : tags ) set->tagIs( tag );
   auto map = Quoin::makeNode<RouteMapStatus>( "set" );
   map->seqStatusIs( sequence( 10, MatchOption::matchTagSet, Quoin::makeNode<Routing::Policy::TagSetMatcher>( "set", set ) ) );
   Point inSet( map );
   const std::unordered_set<Routing::RouteTag> hash( tags.begin(), tags.end() );

   Group group;
   const size_t n = queries.size();
   const auto bySequences = group.way( "a sequence for each tag", n, [ & ] { return overlapped( n, tagQuestion( walk, queries ) ); } );
   const auto bySet = group.way( "evaluation", n, [ & ] { return overlapped( n, tagQuestion( inSet, queries ) ); } );
   const auto byHash =
      group.way( "std::unordered_set", n, [ & ] { return overlapped( n, [ & ]( size_t i ) { return hash.count( queries[ i ] ); } ); } );
   group.row( "one of many tags, a tag set", "1,000", bySet, byHash );
   group.row( "one of many tags, a tag set", "1,000", bySet, bySequences );
   group.run();
}

// Looks up the prefixes of a table in ten wide blocks, as in a filter of bogons.
void measureFilter( const Prefixes & table, const std::string & size ) {
   const std::string question = "a filter of 10 blocks";
   if( !wanted( question ) ) return;
   Random random( 5 );
   Entries blocks = exactEntries( generatedTable( AddressFamily::ipv4, 10, random ) );
   for( auto & b : blocks ) {
      b.prefix = IpGenPrefix( b.prefix.ipGenAddr(), uint8_t( 8 + random.below( 9 ) ) ).subnet();
      b.le = 32;
   }
   const auto list = listOf( blocks );
   Point point( mapWithList( "filter", list ) );
   const LinearList linear( blocks );
   const Table24x8 ideal( blocks );

   Group group;
   const size_t n = table.size();
   auto evaluate = [ & ]( size_t i ) -> size_t { return point.permits( table[ i ] ); };
   auto scan = [ & ]( size_t i ) -> size_t { return linear( table[ i ] ).result == PrefixListMatchResult::permit; };
   auto readIdeal = [ & ]( size_t i ) -> size_t { return ideal( table[ i ] ); };
   const auto evalChained = group.way( "evaluation", n, [ & ] { return chained( n, evaluate ); } );
   const auto evalOverlapped = group.way( "evaluation", n, [ & ] { return overlapped( n, evaluate ); } );
   group.row( question + ", chained", size, evalChained, group.way( "linear scan", n, [ & ] { return chained( n, scan ); } ) );
   group.row( question + ", overlapped", size, evalOverlapped, group.way( "linear scan", n, [ & ] { return overlapped( n, scan ); } ) );
   group.row( question + ", chained", size, evalChained, group.way( "24-8 table", n, [ & ] { return chained( n, readIdeal ); } ) );
   group.row( question + ", overlapped", size, evalOverlapped, group.way( "24-8 table", n, [ & ] { return overlapped( n, readIdeal ); } ) );
   group.run();
}

// Calls three route maps in turn, each with its own list. Half of the routes are in the last list, the others in none, so each evaluation
// looks into all lists.
void measureSubRouteMaps() {
   const std::string question = "3 called maps with a list each";
   if( !wanted( question ) ) return;
   constexpr size_t kEntries = 1'000;
   Random random( 6 );
   const auto table = generatedTable( AddressFamily::ipv4, 1 << 16, random );
   std::vector<LinearList> linear;
   std::vector<std::unique_ptr<Table24x8>> ideal;
   auto map = Quoin::makeNode<RouteMapStatus>( "caller" );
   Entries entries;
   for( size_t i = 0; i < 3; ++i ) {
      const auto from = table.begin() + long( i * kEntries );
      entries = exactEntries( Prefixes( from, from + kEntries ) );
      linear.emplace_back( entries );
      ideal.push_back( std::make_unique<Table24x8>( entries ) );
      auto seq = Quoin::makeNode<RouteMapSeqStatus>( uint32_t( 10 * ( i + 1 ) ) );
      seq->subRouteMapIs( mapWithList( "sub", listOf( entries ) ) );
      map->seqStatusIs( seq );
   }
   Point point( map );
   const Prefixes queries = queriesFor( entries, Prefixes( table.begin() + 3 * kEntries, table.end() ), 1 << 16, random );

   Group group;
   const size_t n = queries.size();
   const std::string size = "3 x 1,000";
   auto evaluate = [ & ]( size_t i ) -> size_t { return point.permits( queries[ i ] ); };
   auto scan = [ & ]( size_t i ) -> size_t {
      for( const auto & l : linear )
         if( l( queries[ i ] ).result == PrefixListMatchResult::permit ) return true;
      return false;
   };
   auto readIdeal = [ & ]( size_t i ) -> size_t {
      for( const auto & t : ideal )
         if( ( *t )( queries[ i ] ) ) return true;
      return false;
   };
   const auto evalChained = group.way( "evaluation", n, [ & ] { return chained( n, evaluate ); } );
   const auto evalOverlapped = group.way( "evaluation", n, [ & ] { return overlapped( n, evaluate ); } );
   group.row( question + ", overlapped", size, evalOverlapped, group.way( "3 linear scans", n, [ & ] { return overlapped( n, scan ); } ) );
   group.row( question + ", chained", size, evalChained, group.way( "3 24-8 tables", n, [ & ] { return chained( n, readIdeal ); } ) );
   group.row( question + ", overlapped", size, evalOverlapped,
              group.way( "3 24-8 tables", n, [ & ] { return overlapped( n, readIdeal ); } ) );
   group.run();
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
      const auto plain = group.way( "evaluation", n, [ & ] { return overlapped( n, tagQuestion( point, queries ) ); } );
      group.row( question, grouped( size ), observed, plain );
      group.row( question + ", as a chain", grouped( size ), chain, plain );
      group.run();
   }
}

void measureAll() {
   measureSequences();
   measureObserver();
   measureTagSet();
   Random random( 3 );
   measureFilter( generatedTable( AddressFamily::ipv4, 1 << 16, random ), "10" );
   measureSubRouteMaps();
}

}   // namespace

int main( int argc, char ** argv ) {
   return Bench::benchMain( argc, argv, measureAll );
}
