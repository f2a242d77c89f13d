// What does a prefix list cost per route, from a filter of ten entries to a whole routing table?
// Each route is one PolicyEval::eval() of a list with one route map, one sequence and one prefix list matcher.
// ROUTEPOLICY_BENCH_DATA names a routing table; without it, only generated lists are measured.

#include <memory>

#include "bench/Policies.h"

namespace {

using namespace Bench;

// Checks that every answer, and the entry that gave it, equals the answer of the hash tables.
void checkAnswers( const PrefixListMatcher & matcher, const HashPerLength & hash, const Prefixes & queries ) {
   for( const auto & q : queries )
      if( matcher.matchPrefix( q ) != hash( q ) ) fail( std::string( "wrong answer for " ) + q.toStrep().data() );
}

size_t permitted( const PrefixListMatchResultTuple & answer ) {
   return answer.result == PrefixListMatchResult::permit;
}

// Measures one list: the whole evaluation and the look-up alone, each chained and overlapped.
void measure( const std::string & question, const Entries & entries, const Prefixes & queries ) {
   const std::string size = grouped( entries.size() );
   const auto list = listOf( entries );
   const PrefixListMatcher matcher( "list", list );
   const HashPerLength hash( entries );
   checkAnswers( matcher, hash, queries );
   const LinearList linear( entries );
   const std::unique_ptr<Table24x8> table( list->af() == AddressFamily::ipv4 ? new Table24x8( entries ) : nullptr );
   Point point( mapWithList( "map", list ) );

   const size_t n = queries.size();
   auto evaluate = [ & ]( size_t i ) -> size_t { return point.permits( queries[ i ] ); };
   auto lookUp = [ & ]( size_t i ) { return permitted( matcher.matchPrefix( queries[ i ] ) ); };
   auto readTable24x8 = [ & ]( size_t i ) -> size_t { return ( *table )( queries[ i ] ); };
   auto askHash = [ & ]( size_t i ) { return permitted( hash( queries[ i ] ) ); };
   auto scan = [ & ]( size_t i ) { return permitted( linear( queries[ i ] ) ); };

   Group group;
   const auto evalChained = group.way( "evaluation", n, [ & ] { return chained( n, evaluate ); } );
   const auto evalOverlapped = group.way( "evaluation", n, [ & ] { return overlapped( n, evaluate ); } );
   const auto bareChained = group.way( "look-up", n, [ & ] { return chained( n, lookUp ); } );
   const auto bareOverlapped = group.way( "look-up", n, [ & ] { return overlapped( n, lookUp ); } );
   const auto evalBatches = group.way( "evaluation in batches", n, [ & ] {
      uint64_t sum = 0;
      for( std::span left( queries ); !left.empty(); ) {
         const auto next = left.first( std::min<size_t>( left.size(), 64 ) );
         for( const auto & route : point.evaluated( next ) ) sum = mixed( sum, route.permitted );
         left = left.subspan( next.size() );
      }
      return sum;
   } );
   const std::string idealName = table ? "24-8 table" : "hash table per length";
   const auto idealChained = group.way( idealName, n, [ & ] { return table ? chained( n, readTable24x8 ) : chained( n, askHash ); } );
   const auto idealOverlapped =
      group.way( idealName, n, [ & ] { return table ? overlapped( n, readTable24x8 ) : overlapped( n, askHash ); } );
   group.row( question + ", evaluation, chained", size, evalChained, idealChained );
   group.row( question + ", evaluation, overlapped", size, evalOverlapped, idealOverlapped );
   group.row( question + ", evaluation, in batches", size, evalBatches, evalOverlapped );
   group.row( question + ", look-up, chained", size, bareChained, idealChained );
   group.row( question + ", look-up, overlapped", size, bareOverlapped, idealOverlapped );
   if( entries.size() <= 1000 )
      group.row( question + ", evaluation, overlapped", size, evalOverlapped,
                 group.way( "linear scan", n, [ & ] { return overlapped( n, scan ); } ) );
   group.run();
}

void measureGenerated( AddressFamily af, const std::string & question ) {
   for( const size_t size : { 10u, 1'000u, 100'000u, 500'000u } ) {
      if( !wanted( question + ", " + grouped( size ) ) ) continue;
      Random random( 20 + size );
      const auto universe = generatedTable( af, std::max<size_t>( 2 * size, 1 << 16 ), random );
      const Entries entries = writtenEntries( Prefixes( universe.begin(), universe.begin() + long( size ) ), random );
      const Prefixes others( universe.begin() + long( size ), universe.end() );
      measure( question, entries, queriesFor( entries, others, std::max<size_t>( size, 1 << 16 ), random ) );
   }
}

void measureData( const std::string & path, AddressFamily af, const std::string & question ) {
   Prefixes table = readTable( path, af );
   if( af == AddressFamily::ipv4 ) std::erase_if( table, []( const auto & p ) { return p.length() < Table24x8::kShortest; } );
   if( table.empty() ) return;
   Random random( 7 );
   Prefixes queries = table;
   shuffle( queries, random );
   Prefixes half;
   for( size_t i = 0; i < table.size(); i += 2 ) half.push_back( table[ i ] );
   if( wanted( question + " whole" ) ) measure( question + " whole", exactEntries( table ), queries );
   if( wanted( question + " half" ) ) measure( question + " half", exactEntries( half ), queries );
}

void measureAll() {
   measureGenerated( AddressFamily::ipv4, "IPv4 list" );
   measureGenerated( AddressFamily::ipv6, "IPv6 list" );
   if( const char * data = std::getenv( "ROUTEPOLICY_BENCH_DATA" ) ) {
      measureData( data, AddressFamily::ipv4, "IPv4 table" );
      measureData( data, AddressFamily::ipv6, "IPv6 table" );
   }
}

}   // namespace

int main( int argc, char ** argv ) {
   return Bench::benchMain( argc, argv, measureAll );
}
