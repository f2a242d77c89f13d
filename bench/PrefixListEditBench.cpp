// What does a change of a prefix list cost, from the edit until the route map that refers to the list is in force? What does the first build
// cost, and how long is the pause of a thread that drops the last use of a large list?

#include <algorithm>
#include <chrono>
#include <memory>
#include <vector>

#include "bench/Configurations.h"
#include "bench/Policies.h"
#include "substrate/lists/RetiredPrefixRows.h"
#include "substrate/routemap/PrefixListProducer.h"

namespace {

using namespace Bench;
using Routing::RouteMap::PrefixListBuilder;
using Routing::RouteMap::PrefixListProducer;
using Routing::RouteMap::RetiredPrefixRows;

constexpr size_t kChanges = 20'000;   // per pass, for every size

Entries generatedEntries( size_t size ) {
   Random random( 20 + size );
   return writtenEntries( generatedTable( AddressFamily::ipv4, size, random ), random );
}

/// A list under a route map. Its entries change their action in random order.
class Edited {
 public:
   explicit Edited( size_t size )
         : agent_( configOf( 1, 1 ) ),
           list_( agent_.root->ipv4PrefixListTable(), kSharedList, AddressFamily::ipv4 ),
           entries_( generatedEntries( size ) ) {
      for( const auto & e : entries_ ) put( e );
      list_.publish();
      agent_.settle();
   }
   uint64_t change() {
      for( size_t i = 0; i < kChanges; ++i ) {
         auto & e = entries_[ random_.below( entries_.size() ) ];
         e.action = e.action == Acl::MatchPermit::permit ? Acl::MatchPermit::deny : Acl::MatchPermit::permit;
         if( !list_.entryDel( e.seqno ) ) fail( "an entry is missing" );
         put( e );
         list_.publish();
         agent_.settle();
      }
      return kChanges;
   }

 private:
   void put( const Routing::RouteMap::PrefixListEntry & entry ) {
      if( list_.entryIs( entry ) ) fail( "an entry is refused" );
   }

   Agent agent_;
   PrefixListProducer list_;
   Entries entries_;
   Random random_{ 1 };
};

void measureChanges() {
   if( !wanted( "one change" ) ) return;
   Group group;
   const auto way = [ & ]( size_t size ) {
      return group.way( "a list of " + grouped( size ), kChanges,
                        [ edited = std::make_shared<Edited>( size ) ] { return edited->change(); } );
   };
   const auto least = way( 100 );
   for( const size_t size : { 1'000u, 10'000u, 100'000u, 1'000'000u } )
      group.row( "one change, in force", grouped( size ), way( size ), least );
   group.run();
}

void measureBuild( size_t size ) {
   if( !wanted( "build" ) ) return;
   const Entries entries = generatedEntries( size );
   const auto build = [ & ]() -> uint64_t {
      PrefixListBuilder builder( "list", AddressFamily::ipv4 );
      for( const auto & e : entries )
         if( builder.entryIs( e ) ) fail( "an entry is refused" );
      return builder.build()->entryCount();
   };
   const auto sort = [ & ]() -> uint64_t {
      Entries sorted = entries;
      std::ranges::sort( sorted, {}, []( const auto & e ) { return e.prefix; } );
      return sorted.size();
   };
   const auto empty = [] {
      while( !RetiredPrefixRows::letGo() ) {}
   };
   Group group;
   group.row( "build in random order, each entry", grouped( size ), group.way( "list", size, build, empty ),
              group.way( "sorting the entries", size, sort ) );
   group.run();
}

std::vector<char> reserve;   // that the compiler cannot leave out

double microseconds( const std::function<void()> & work ) {
   const auto begin = std::chrono::steady_clock::now();
   work();
   return std::chrono::duration<double, std::micro>( std::chrono::steady_clock::now() - begin ).count();
}

// The longest pause of a thread: that of the last user, of a later call that frees a part, or of a request to the heap after that.
void measureRelease( const std::string & question, size_t size, const std::function<IpGenPrefix( size_t )> & prefix ) {
   if( !wanted( question ) ) return;
   Entries entries( size );
   for( size_t i = 0; i < size; ++i ) entries[ i ] = { uint32_t( i ), Acl::MatchPermit::permit, prefix( i ), {}, {} };
   auto list = listOf( entries );
   double longest = microseconds( [ & ] { list = nullptr; } );
   for( bool isEmpty = false; !isEmpty; ) longest = std::max( longest, microseconds( [ & ] { isEmpty = RetiredPrefixRows::letGo(); } ) );
   longest = std::max( longest, microseconds( [] { std::vector<char>( 1 << 16, 'x' ).swap( reserve ); } ) );
   const double array = microseconds( [ & ] { Entries().swap( entries ); } );
   printRow( question, grouped( size ), "us", longest, "an array of the entries", array );
}

void measureReleases() {
   const auto dense = []( size_t i ) { return prefixOf( AddressFamily::ipv4, { i << 40, 0 }, 24 ); };
   for( const size_t size : { 1'000'000u, 5'000'000u } ) measureRelease( "release, the longest pause", size, dense );
   // Blocks of 80 bytes: so many small ones are the worst case of many heaps.
   const auto small = []( size_t i ) { return prefixOf( AddressFamily::ipv6, { ( i / 9 ) << 34 | ( i % 9 ) << 28, 0 }, 36 ); };
   measureRelease( "release of small blocks, the longest pause", 5'000'000, small );
}

void measureAll() {
   measureChanges();
   measureBuild( 100'000 );
   measureBuild( 500'000 );
   measureReleases();
}

}   // namespace

int main( int argc, char ** argv ) {
   return Bench::benchMain( argc, argv, measureAll );
}
