// How much memory does an entry of a compiled prefix list take, and a compiled sequence? The benchmark counts the heap memory of the list
// after its builder is deleted, including the word that the allocator keeps in front of each block. The yardstick is an array of the same
// entries. A tag set is counted as it is published. For sequences, it counts the memory and the blocks of the machines, and of the published
// status alone; the yardstick is their configuration. The plan of a route map is counted by itself, with all that only its planner uses.
// ROUTEPOLICY_BENCH_DATA names a routing table to measure in addition.

#include <malloc.h>

#include <algorithm>
#include <new>

#include "bench/AccessLists.h"
#include "bench/Configurations.h"
#include "bench/Policies.h"
#include "substrate/lists/RetiredPrefixRows.h"

namespace {

size_t heapBytes = 0;
size_t heapBlocks = 0;

size_t taken( void * block ) {
   return block ? malloc_usable_size( block ) + sizeof( size_t ) : 0;
}

void * counted( void * block ) {
   if( !block ) throw std::bad_alloc();
   heapBytes += taken( block );
   ++heapBlocks;
   return block;
}

void release( void * block ) {
   heapBytes -= taken( block );
   heapBlocks -= block != nullptr;
   std::free( block );
}

}   // namespace

// The allocations of the library use these operators too.
void * operator new( size_t size ) {
   return counted( std::malloc( size ) );
}
void * operator new( size_t size, std::align_val_t alignment ) {
   const size_t a = static_cast<size_t>( alignment );
   return counted( std::aligned_alloc( a, ( size + a - 1 ) / a * a ) );
}
void operator delete( void * block ) noexcept {
   release( block );
}
void operator delete( void * block, size_t ) noexcept {
   release( block );
}
void operator delete( void * block, std::align_val_t ) noexcept {
   release( block );
}
void operator delete( void * block, size_t, std::align_val_t ) noexcept {
   release( block );
}

namespace {

using namespace Bench;

struct BareIpv4 {
   uint32_t address;
   uint32_t seqno;
   uint8_t length, ge, le;
   bool permit;
};
struct BareIpv6 {
   uint8_t address[ 16 ];
   uint32_t seqno;
   uint8_t length, ge, le;
   bool permit;
};
static_assert( sizeof( BareIpv4 ) == 12 && sizeof( BareIpv6 ) == 24 );

// Lists that were measured before may not be freed yet.
void releaseAll() {
   while( !Routing::RouteMap::RetiredPrefixRows::letGo() ) {}
}

void measure( const std::string & question, const Entries & entries ) {
   const std::string size = grouped( entries.size() );
   releaseAll();
   const size_t before = heapBytes;
   const auto list = listOf( entries );
   const size_t held = heapBytes - before;
   const PrefixListMatcher matcher( "list", list );
   const HashPerLength hash( entries );
   for( const auto & e : entries )   // a list with missing entries would be smaller
      if( matcher.matchPrefix( e.prefix ) != hash( e.prefix ) ) fail( std::string( "wrong answer for " ) + e.prefix.toStrep().data() );
   const bool ipv6 = list->af() == AddressFamily::ipv6;
   printRow( question + ", bytes an entry", size, "bytes", double( held ) / double( entries.size() ), "array of bare entries",
             ipv6 ? sizeof( BareIpv6 ) : sizeof( BareIpv4 ) );
}

void measureFamily( AddressFamily af, const std::string & name ) {
   for( const size_t size : { 10u, 1'000u, 100'000u, 500'000u } ) {
      if( !wanted( name + " list, bytes an entry, " + grouped( size ) ) ) continue;
      Random random( 20 + size );
      measure( name + " list", writtenEntries( generatedTable( af, size, random ), random ) );
   }
   const char * data = std::getenv( "ROUTEPOLICY_BENCH_DATA" );
   if( data && wanted( name + " table whole, bytes an entry" ) )
      if( const Prefixes table = readTable( data, af ); !table.empty() ) measure( name + " table whole", exactEntries( table ) );
}

// A list under edit: what was configured, and what is published.
void measureEdited() {
   constexpr uint32_t kEntries = 5'000'000;
   if( !wanted( "a list with its builder, bytes an entry" ) ) return;
   releaseAll();
   const size_t before = heapBytes;
   Routing::RouteMap::PrefixListBuilder builder( "list", AddressFamily::ipv4 );
   for( uint32_t i = 0; i < kEntries; ++i )
      if( builder.entryIs( { i, Acl::MatchPermit::permit, prefixOf( AddressFamily::ipv4, { uint64_t( i ) << 40, 0 }, 24 ), {}, {} } ) )
         fail( "an entry is refused" );
   const auto list = builder.build();
   printRow( "a list with its builder, bytes an entry", grouped( kEntries ), "bytes", double( heapBytes - before ) / kEntries,
             "array of bare entries", sizeof( BareIpv4 ) );
}

void measureTags( size_t size ) {
   const std::string question = "a tag set, bytes a tag";
   if( !wanted( question ) ) return;
   Random random( 60 + size );
   const size_t before = heapBytes;
   const auto set = makeNode<Routing::RouteMap::TagSetStatus>( "set" );
   while( set->tag().count() < size ) set->tagIs( Routing::RouteTag( random.bits() ) );
   printRow( question, grouped( size ), "bytes", double( heapBytes - before ) / double( size ), "array of tags",
             sizeof( Routing::RouteTag ) );
}

struct Heap {
   size_t bytes = heapBytes, blocks = heapBlocks;
};

// Prints a row for the bytes of a sequence and a row for its blocks.
void printSequence( const std::string & what, const char * of, size_t sequences, const Heap & before, const Heap & configured ) {
   const Heap now;
   const auto each = [ = ]( size_t n ) { return double( n ) / double( sequences ); };
   printRow( what + ", bytes " + of, grouped( sequences ), "bytes", each( now.bytes - before.bytes ), "its configuration",
             each( configured.bytes ) );
   printRow( what + ", blocks " + of, grouped( sequences ), "blocks", each( now.blocks - before.blocks ), "its configuration",
             each( configured.blocks ) );
}

void measureSequences( const std::string & what, size_t maps, size_t sequences, Fill fill ) {
   if( !wanted( what + ", bytes" ) ) return;
   Heap configured;
   const auto config = configOf( maps, sequences, fill );
   configured = { heapBytes - configured.bytes, heapBlocks - configured.blocks };
   std::vector<Ptr<const RouteMapStatus>> published;
   published.reserve( maps );
   const Heap before;
   {
      Agent agent( config );
      printSequence( what, "with its machines", maps * sequences, before, configured );
      for( size_t i = 0; i < maps; ++i ) published.push_back( agent.symbol( i )->rmStatus() );
   }
   printSequence( what, "of published status", maps * sequences, before, configured );
}

// Prints a row for the bytes of the plan of a route map. `count`: the sequences, or the entries of their lists.
void measurePlan( const std::string & question, const Ptr<const RouteMapStatus> & map, size_t count, const char * yardstick,
                  size_t bytes ) {
   const size_t before = heapBytes;
   map->makePlan();
   if( !map->plan() ) fail( question + ": no plan" );
   printRow( question, grouped( count ), "bytes", double( heapBytes - before ) / double( count ), yardstick, double( bytes ) );
}

void measurePlans() {
   constexpr size_t kSequences = 10'000;
   struct TagAndSequence {
      Routing::RouteTag tag;
      const void * sequence;
   };
   const std::string byTag = "plan of sequences by tag, bytes a sequence", byList = "plan of lists of 10, bytes an entry";
   Random random( kSequences );
   if( wanted( byTag ) )
      measurePlan( byTag, mapOfTags( someTags( kSequences, random ) ), kSequences, "array of tags and sequences",
                   sizeof( TagAndSequence ) );
   if( !wanted( byList ) ) return;
   const auto prefixes = generatedTable( AddressFamily::ipv4, kListEntries * kSequences, random );
   measurePlan( byList, mapOfLists( prefixes ), prefixes.size(), "array of bare entries", sizeof( BareIpv4 ) );
}

void measureAccessList( const std::string & question, const Prefixes & table ) {
   if( !wanted( question + ", bytes a rule" ) ) return;
   CompiledAcl list( table );
   const size_t before = heapBytes;
   list.table->symbol( "ACL" )->statusIs( nullptr );
   list.run();   // destroys the list, step by step
   printRow( question + ", bytes a rule", grouped( table.size() ), "bytes", double( before - heapBytes ) / double( table.size() ),
             "array of bare entries", sizeof( BareIpv4 ) );
}

void measureAccessLists() {
   constexpr size_t kRules = 1'000'000;
   Random random( 40 + kRules );
   Prefixes table = generatedTable( AddressFamily::ipv4, kRules, random );
   measureAccessList( "access list", table );
   // No rule is inside the prefix of an earlier rule, so a match depends on each of them.
   std::stable_sort( table.begin(), table.end(), []( const auto & a, const auto & b ) { return a.length() > b.length(); } );
   measureAccessList( "access list, longest first", table );
}

void measureAll() {
   measureSequences( "compiled sequence", 1'000, 10, fillTypical );
   measureSequences( "a tag and a distance", 1, 10'000, fillTag );
   measureSequences( "a list of its own", 1, 10'000, fillOwnList );
   measurePlans();
   measureAccessLists();
   measureEdited();
   for( const size_t size : { 10u, 1'000u, 100'000u } ) measureTags( size );
   measureFamily( AddressFamily::ipv4, "IPv4" );
   measureFamily( AddressFamily::ipv6, "IPv6" );
}

}   // namespace

int main( int argc, char ** argv ) {
   return Bench::benchMain( argc, argv, measureAll );
}
