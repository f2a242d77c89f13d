// How long does it take to compile an access list in slices, how long is the longest slice, and what does the list cost per route: on one
// thread, on two threads that share the list, and if the masks of the rules have gaps?

#include <array>

#include "bench/AccessLists.h"
#include "bench/Threads.h"
#include "bench/Yardsticks.h"
#include "policy/PolicyEvalContext.h"
#include "policy/RoutingPolicyAcl.h"

namespace {

using namespace Bench;
using Routing::Policy::IpAccessListMatcher;
using Routing::Policy::MatchInput_;

Prefixes rules( size_t count ) {
   Random random( 40 + count );
   return generatedTable( AddressFamily::ipv4, count, random );
}

void measureCompilation() {
   if( !wanted( "an access list compiled in slices" ) ) return;
   Group group;
   std::vector<std::shared_ptr<CompiledAcl>> lists;
   const auto way = [ & ]( size_t count ) {
      const auto list = lists.emplace_back( std::make_shared<CompiledAcl>( rules( count ) ) );
      return group.way( grouped( count ) + " rules", count, [ list ] {
         const auto before = list->status();
         list->restart();
         list->run();
         return list->status() != before;   // `before` is released here, after the last slice
      } );
   };
   const auto few = way( 10'000 );
   group.row( "an access list compiled in slices, each rule", "100,000", way( 100'000 ), few );
   group.row( "an access list compiled in slices, each rule", "1,000,000", way( 1'000'000 ), few );
   for( const auto & list : lists ) list->longestSlice = {};
   group.run();
   printRow( "the longest slice of all these", "1,000,000", "ms", lists.back()->longestSlice.count() * 1e3, "quantum", 10 );
}

void measureMatch( const std::string & question, const Prefixes & table ) {
   const size_t count = table.size();
   if( !wanted( question + ", match, " + grouped( count ) ) ) return;
   const CompiledAcl list( table );
   const IpAccessListMatcher matcher( "ACL", list.status() );
   Entries entries;
   for( size_t i = 0; i < table.size(); ++i )
      entries.push_back(
         { static_cast<uint32_t>( i + 1 ), permitsAt( i ) ? Acl::MatchPermit::permit : Acl::MatchPermit::deny, table[ i ], {}, 32 } );
   const HashPerLength hash( entries );
   Prefixes asked = table;
   Random random( 41 );
   shuffle( asked, random );
   asked.resize( std::min<size_t>( asked.size(), 100'000 ) );
   Group group;
   const auto yardstick = group.way( "hash table per length", asked.size(), [ & ] {
      return chained( asked.size(),
                      [ & ]( size_t i ) -> size_t { return hash( asked[ i ] ).result == Routing::Policy::PrefixListMatchResult::permit; } );
   } );
   group.row( question + ", match, chained", grouped( count ),
              group.way( "matcher", asked.size(),
                         [ & ] {
                            MatchInput_ input;
                            Quoin::Ptr<Routing::Policy::PolicyEvalContext> none;
                            return chained( asked.size(), [ & ]( size_t i ) -> size_t {
                               input.prefixIs( asked[ i ] );
                               return matcher.match( &input, none );
                            } );
                         } ),
              yardstick );
   group.run();
}

void measureThreads( size_t count ) {
   if( !wanted( "an access list, match, on each of two threads" ) ) return;
   const Prefixes table = rules( count );
   const CompiledAcl list( table );
   const IpAccessListMatcher matcher( "ACL", list.status() );
   const size_t asked = std::max<size_t>( table.size(), 2'000'000 );
   const auto pass = [ & ] {
      MatchInput_ input;
      Quoin::Ptr<Routing::Policy::PolicyEvalContext> none;
      return overlapped( asked, [ & ]( size_t i ) -> size_t {
         input.prefixIs( table[ i % table.size() ] );
         return matcher.match( &input, none );
      } );
   };
   printRow( "an access list, match, on each of two threads", grouped( count ), "ns", nsPerQuestion( 2, asked, pass ), "one thread",
             nsPerQuestion( 1, asked, pass ) );
}

// Random sources with a few masks, most of which have gaps.
Sources gappedSources( size_t count, Random & random ) {
   static constexpr std::array<uint32_t, 8> kMasks = { 0xFF00FFFF, 0xFFFF00FF, 0x00FFFFFF, 0xFFF0F0FF,
                                                       0x0FFFFFF0, 0xFFFFFF0F, 0xF0FFFFFF, 0xFFFFFF00 };
   Sources sources;
   for( size_t i = 0; i < count; ++i ) {
      const uint32_t mask = kMasks[ random.below( kMasks.size() ) ];
      sources.push_back( { Ferule::IpAddr( uint32_t( random.bits() ) & mask ), Ferule::IpAddr( mask ) } );
   }
   return sources;
}

void measureGapped( size_t count ) {
   if( !wanted( "an access list of gapped masks, match, " + grouped( count ) ) ) return;
   Random random( 42 );
   const Sources sources = gappedSources( count, random );
   const CompiledAcl list( sources );
   const IpAccessListMatcher matcher( "ACL", list.status() );
   std::vector<uint32_t> asked;   // half of them match a rule
   while( asked.size() < 200 ) {
      const auto & source = sources[ random.below( sources.size() ) ];
      const uint32_t any = uint32_t( random.bits() );
      asked.push_back( asked.size() % 2 ? any : source.address.value() | ( any & ~source.mask.value() ) );
   }
   Group group;
   const auto linear = group.way( "the rules in order", asked.size(), [ & ] {
      return chained( asked.size(), [ & ]( size_t i ) -> size_t {
         for( size_t rule = 0; rule < sources.size(); ++rule )
            if( ( ( asked[ i ] ^ sources[ rule ].address.value() ) & sources[ rule ].mask.value() ) == 0 ) return permitsAt( rule );
         return 0;
      } );
   } );
   group.row( "an access list of gapped masks, match, chained", grouped( count ),
              group.way( "matcher", asked.size(),
                         [ & ] {
                            MatchInput_ input;
                            Quoin::Ptr<Routing::Policy::PolicyEvalContext> none;
                            return chained( asked.size(), [ & ]( size_t i ) -> size_t {
                               input.prefixIs( IpGenPrefix( Ferule::IpAddr( asked[ i ] ), 32 ) );
                               return matcher.match( &input, none );
                            } );
                         } ),
              linear );
   group.run();
}

void measureAll() {
   measureCompilation();
   for( const size_t count : { 10u, 10'000u, 1'000'000u } ) measureMatch( "an access list", rules( count ) );
   // No rule is inside the prefix of an earlier rule, so the index holds all of them.
   Prefixes longestFirst = rules( 1'000'000 );
   std::stable_sort( longestFirst.begin(), longestFirst.end(), []( const auto & a, const auto & b ) { return a.length() > b.length(); } );
   measureMatch( "an access list, longest first", longestFirst );
   for( const size_t count : { 10u, 10'000u } ) measureThreads( count );
   for( const size_t count : { 10'000u, 1'000'000u } ) measureGapped( count );
}

}   // namespace

int main( int argc, char ** argv ) {
   return Bench::benchMain( argc, argv, measureAll );
}
