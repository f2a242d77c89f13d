// What does it cost to match a tag set, and to change one tag? A change counts from the edit until the set is published, and until the route
// map that refers to the set is in force.

#include <memory>
#include <unordered_set>
#include <vector>

#include "bench/Configurations.h"
#include "bench/Tables.h"
#include "policy/PolicyEvalContext.h"
#include "policy/TagSetMatcher.h"
#include "substrate/routemap/TagSetProducer.h"

namespace {

using namespace Bench;
using Routing::RouteTag;
using Routing::Policy::MatchInput_;
using Routing::Policy::TagSetMatcher;
using Routing::RouteMap::TagSetProducer;
using Routing::RouteMap::TagSetStatus;

constexpr size_t kAsked = 1 << 14;    // per pass
constexpr size_t kChanges = 20'000;   // per pass, for every size
constexpr const char * kSet = "SET";

/// Different tags in random order: the first half is in the set, the others are not.
std::vector<RouteTag> someTags( size_t size ) {
   Random random( 60 + size );
   std::unordered_set<RouteTag> seen;
   std::vector<RouteTag> tags;
   while( tags.size() < 2 * size )
      if( const auto tag = RouteTag( random.bits() ); seen.insert( tag ).second ) tags.push_back( tag );
   return tags;
}

void measureMatch( size_t size ) {
   if( !wanted( "a tag set, match" ) ) return;
   const auto tags = someTags( size );
   const auto set = makeNode<TagSetStatus>( kSet );
   for( size_t i = 0; i < size; ++i ) set->tagIs( tags[ i ] );
   const TagSetMatcher matcher( kSet, set );
   const std::unordered_set<RouteTag> hash( tags.begin(), tags.begin() + std::ptrdiff_t( size ) );
   for( const bool isHit : { true, false } ) {
      Random random( 61 );
      std::vector<RouteTag> queries( kAsked );
      for( auto & q : queries ) q = tags[ ( isHit ? 0 : size ) + random.below( size ) ];
      MatchInput_ route;
      const Quoin::Ptr<Routing::Policy::PolicyEvalContext> noContext;
      Group group;
      const auto ours = group.way( "matcher", kAsked, [ & ] {
         return overlapped( kAsked, [ & ]( size_t i ) -> size_t {
            route.tagIs( queries[ i ] );
            return matcher.match( &route, noContext );
         } );
      } );
      const auto theirs = group.way( "std::unordered_set", kAsked,
                                     [ & ] { return overlapped( kAsked, [ & ]( size_t i ) { return hash.count( queries[ i ] ); } ); } );
      group.row( isHit ? "a tag set, match of a tag in it" : "a tag set, match of another tag", grouped( size ), ours, theirs );
      group.run();
   }
}

/// A set under a route map, or under none. A random tag is removed from it, or added if the set does not contain it.
class Edited {
 public:
   Edited( size_t size, bool isUsed )
         : agent_( configOf( isUsed, 1,
                             []( const Ptr<Map> & map, uint32_t ) {
                                map->mapEntryIs( 10 )->matchRuleIs( { .listName = kSet, .option = MatchOption::matchTagSet } );
                             } ) ),
           set_( agent_.root->tagSetTable(), kSet ),
           tags_( someTags( size ) ) {
      for( size_t i = 0; i < size; ++i ) set_.tagIs( tags_[ i ] );
      set_.publish();
      agent_.settle();
   }
   uint64_t change() {
      for( size_t i = 0; i < kChanges; ++i ) {
         const RouteTag tag = tags_[ random_.below( tags_.size() ) ];
         if( !set_.tagDel( tag ) ) set_.tagIs( tag );
         set_.publish();
         agent_.settle();
      }
      return kChanges;
   }

 private:
   Agent agent_;
   TagSetProducer set_;
   std::vector<RouteTag> tags_;
   Random random_{ 1 };
};

void measureChanges( bool isUsed ) {
   const std::string question = std::string( "a tag set, one change, " ) + ( isUsed ? "in force" : "published" );
   if( !wanted( question ) ) return;
   Group group;
   const auto way = [ & ]( size_t size ) {
      return group.way( "a set of " + grouped( size ), kChanges,
                        [ edited = std::make_shared<Edited>( size, isUsed ) ] { return edited->change(); } );
   };
   const auto least = way( 100 );
   for( const size_t size : { 10'000u, 100'000u } ) group.row( question, grouped( size ), way( size ), least );
   group.run();
}

void measureAll() {
   for( const size_t size : { 10u, 1'000u, 100'000u } ) measureMatch( size );
   measureChanges( false );
   measureChanges( true );
}

}   // namespace

int main( int argc, char ** argv ) {
   return Bench::benchMain( argc, argv, measureAll );
}
