// Route maps and sequences that come and go under the same few names, also inside the notifications of every object that has subscribers:
// what is published in the end is what is configured.

#include <map>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "policy/TagMatcher.h"
#include "tests/model/CompilationModel.h"
#include "tests/model/RandomCases.h"

namespace {

using namespace CompilationModel;
using Routing::Policy::CompileFixtures::Reaction;
using Tags = std::map<uint32_t, uint32_t>;   // by sequence number

/// Each sequence gets a tag that no other ever had, so that a former sequence shows.
class Coming {
 public:
   explicit Coming( Choices & random ) : random_( random ) {}

   void run() {
      for( int i = 0; i < 40 && random_.step(); ++i ) {
         inside_ = 8;
         if( !agent_.machine && random_.oneIn( 4 ) ) {
            random_.say( "start" );
            agent_.start();
         } else if( random_.oneIn( 6 ) ) {
            agent_.scheduler->runOne();
         } else {
            edit();
         }
      }
      settle();
      check();
   }

 private:
   static constexpr unsigned kNames = 2;
   static constexpr uint32_t kNumbers[] = { 10, 20, 30 };

   Quoin::String anyName() { return mapName( random_.below( kNames ) ); }

   void edit() {
      const auto name = anyName();
      const uint32_t seqno = kNumbers[ random_.below( 3 ) ];
      const auto map = agent_.config->routeMap( name );
      switch( random_.below( 10 ) ) {
         case 0:
            random_.say( "delete ", name );
            agent_.config->routeMapDel( name );
            break;
         case 1:
            if( !random_.oneIn( 3 ) ) break;
            random_.say( "delete all" );
            agent_.config->routeMapDelAll();
            break;
         case 2:
            if( !map ) break;
            random_.say( "delete all of ", name );
            map->mapEntryDelAll();
            break;
         case 3:
            if( !map ) break;
            random_.say( "delete ", name, ' ', seqno );
            map->mapEntryDel( seqno );
            break;
         case 4: watch(); break;
         case 5: raise( name ); break;
         default:
            random_.say( name, ' ', seqno );
            const auto entry = agent_.config->routeMapIs( name )->mapEntryIs( seqno );
            entry->matchRuleIs( { .numericValue = ++lastTag_, .option = MatchOption::matchTag } );
            if( random_.oneIn( 2 ) ) raise( name );
      }
   }
   void raise( const Quoin::String & name ) const {
      if( const auto map = agent_.config->routeMap( name ) ) map->versionIs( map->version() + 1 );
   }

   // Adds a subscriber. On an object of the configuration it comes before the machines if they do not exist yet.
   void watch() {
      const auto name = anyName();
      const auto map = agent_.config->routeMap( name );
      const auto copy = agent_.filtered->routeMap( name );
      const auto entry = map ? map->mapEntry( kNumbers[ random_.below( 3 ) ] ) : nullptr;
      const auto symbol = agent_.root->routeMapTable()->symbol( name );
      const std::pair<const char *, const Quoin::Node *> all[] = { { "configuration", agent_.config.get() },
                                                                   { "copies", agent_.filtered.get() },
                                                                   { "route map", map.get() },
                                                                   { "copy", copy.get() },
                                                                   { "sequence", entry.get() },
                                                                   { "symbol", symbol.get() },
                                                                   { "notifier", symbol->notifier().get() } };
      const auto & [ what, node ] = all[ random_.below( std::size( all ) ) ];
      if( !node || watchers_.size() > 12 ) return;
      random_.say( "watch ", what, ' ', name );
      symbols_.push_back( symbol );
      watchers_.push_back( std::make_unique<Reaction>( *node, [ this ]( const Quoin::Change & ) { react(); } ) );
   }
   void react() {
      if( inside_ == 0 || !random_.oneIn( 2 ) ) return;
      --inside_;
      random_.say( "inside:" );
      edit();
   }

   void settle() {
      inside_ = 0;
      if( !agent_.machine ) agent_.start();
      for( unsigned i = 0; i < kNames; ++i ) raise( mapName( i ) );
      agent_.scheduler->runUntilIdle();
   }
   void check() const {
      for( const auto & difference : agent_.machine->verify() ) ADD_FAILURE() << difference;
      for( unsigned i = 0; i < kNames; ++i ) {
         SCOPED_TRACE( mapName( i ) );
         const auto map = agent_.config->routeMap( mapName( i ) );
         const auto symbol = agent_.root->routeMapTable()->symbol( mapName( i ) );
         ASSERT_EQ( symbol->rmStatus() != nullptr, map != nullptr );
         if( !map ) continue;
         EXPECT_TRUE( symbol->statusCurrent() );
         Tags configured, published;
         for( const auto & [ seqno, entry ] : map->mapEntry() )
            configured[ seqno ] = uint32_t( entry->matchRule( MatchOption::matchTag ).numericValue );
         for( const auto & [ seqno, seq ] : symbol->rmStatus()->seqStatus() ) {
            const auto matcher = seq->matcher( MatchOption::matchTag );
            const auto * tag = dynamic_cast<const TagMatcher *>( matcher.get() );
            published[ seqno ] = tag ? tag->tag() : 0;
         }
         EXPECT_EQ( published, configured );
      }
   }

   Choices & random_;
   Agent agent_{ makeNode<Config>() };
   uint32_t lastTag_ = 0;
   int inside_ = 0;   // edits that subscribers may still make in this step
   std::vector<Ptr<RouteMapSymbol>> symbols_;
   std::vector<std::unique_ptr<Reaction>> watchers_;
};

TEST( IdentityModel, whatIsPublishedIsWhatIsConfigured ) {
   forRandomCases( 50, []( Choices & random ) { Coming( random ).run(); } );
}

}   // namespace
