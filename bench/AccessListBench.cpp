// How long does it take to compile an access list in slices, how long is the longest slice, and what does the list cost per route?

#include "bench/AccessLists.h"
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

void measureMatch( size_t count ) {
   if( !wanted( "an access list, match, " + grouped( count ) ) ) return;
   const Prefixes table = rules( count );
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
   group.row( "an access list, match, chained", grouped( count ),
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

void measureAll() {
   measureCompilation();
   for( const size_t count : { 10u, 10'000u, 1'000'000u } ) measureMatch( count );
}

}   // namespace

int main( int argc, char ** argv ) {
   return Bench::benchMain( argc, argv, measureAll );
}
