// A million random uses of the symbols of one root against plain counts of who uses what.
#include <algorithm>
#include <array>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "compile/PolicyRoot.h"
#include "compile/RouteMapSymbolAndNotifier.h"
#include "tests/compile/Fixtures.h"
#include "tests/model/RandomCases.h"

namespace {

using namespace Routing::Policy;
using CompileFixtures::Reaction;
using Quoin::makeNode;
using Quoin::Ptr;
using Routing::RouteMap::PolicySymbol;

/// A table of the root, whatever its symbols are.
struct Table {
   const char * name;
   bool ofRouteMaps;
   size_t ( *count )( const PolicyRoot & );
   Ptr<PolicySymbol> ( *symbol )( const PolicyRoot &, const Quoin::String & name );
   Ptr<PolicySymbol> ( *dedup )( const PolicyRoot &, const Quoin::String & name );   // of a symbol that is made first
};

template <auto reader>
Table table( const char * name ) {
   using SymbolPtr = decltype( ( std::declval<const PolicyRoot &>().*reader )()->symbol( "" ) );
   using Symbol = typename SymbolPtr::element_type;
   return { name, std::is_same_v<Symbol, RouteMapSymbol>, []( const PolicyRoot & root ) { return ( root.*reader )()->count(); },
            []( const PolicyRoot & root, const Quoin::String & n ) -> Ptr<PolicySymbol> { return ( root.*reader )()->symbol( n ); },
            []( const PolicyRoot & root, const Quoin::String & n ) -> Ptr<PolicySymbol> {
               return makeNode<Symbol>( n )->dedup( ( root.*reader )() );
            } };
}

const std::array kTables = {
   table<&PolicyRoot::routeMapTable>( "routeMapTable" ),
   table<&PolicyRoot::peerFilterTable>( "peerFilterTable" ),
   table<&PolicyRoot::commListTable>( "commListTable" ),
   table<&PolicyRoot::extCommListTable>( "extCommListTable" ),
   table<&PolicyRoot::largeCommListTable>( "largeCommListTable" ),
   table<&PolicyRoot::ipv4PrefixListTable>( "ipv4PrefixListTable" ),
   table<&PolicyRoot::ipv6PrefixListTable>( "ipv6PrefixListTable" ),
   table<&PolicyRoot::ipv4AclListTable>( "ipv4AclListTable" ),
   table<&PolicyRoot::asPathListTable>( "asPathListTable" ),
   table<&PolicyRoot::dynPrefixListTable>( "dynPrefixListTable" ),
   table<&PolicyRoot::roaTableDedupTable>( "roaTableDedupTable" ),
   table<&PolicyRoot::tunnelRibTable>( "tunnelRibTable" ),
   table<&PolicyRoot::tagSetTable>( "tagSetTable" ),
};

/// Runs `atEnd` when it goes.
struct EndMatcher final : Matcher {
   explicit EndMatcher( std::function<void()> f ) : atEnd( std::move( f ) ) {}
   ~EndMatcher() override { atEnd(); }
   bool match( const MatchInput_ *, const Ptr<PolicyEvalContext> & ) const override { return true; }
   RouteMapFeatures getFeatures() const override { return {}; }
   void formatDerivedType( std::ostream & os ) const override { os << "EndMatcher"; }
   std::function<void()> atEnd;
};

/// Has one use of a symbol, and runs `f` in its destructor, before or behind the end of that use.
struct Owner final : Quoin::Node {
   Owner( Ptr<PolicySymbol> s, bool b, std::function<void()> f ) : symbol( std::move( s ) ), before( b ), function( std::move( f ) ) {}
   ~Owner() override {
      if( before ) function();
      symbol = nullptr;
      if( !before ) function();
   }
   Ptr<PolicySymbol> symbol;
   bool before;
   std::function<void()> function;
};

/// The tables with their users on one side, and what is expected of each name on the other.
/// A name of a route map may have an heir: a status that, when it goes, interns the name again.
class World {
 public:
   World( Random & random ) : random_( random ) {
      for( int i = 0; i < 6; ++i ) names_.emplace_back( "N" + std::to_string( i ) );
      names_.emplace_back( "" );
      names_.emplace_back( std::string( 50, 'n' ) );
      expected_.resize( kTables.size() * names_.size() );
      for( int i = 0; i < 3; ++i ) statuses_.push_back( makeNode<RouteMapStatus>( "S" ) );
   }

   void step() {
      static constexpr const char * kNames[] = {
         "intern",        "intern",         "intern",          "create, intern",     "create, intern", "copy", "drop",
         "drop",          "drop",           "raise a version", "update a route map", "list or unlist", "pair", "drop in a reaction",
         "drop an owner", "drop in a scope"
      };
      const uint32_t kind = random_.below( std::size( kNames ) );
      random_.say( kNames[ kind ] );
      switch( kind ) {
         case 0:
         case 1:
         case 2: intern( anyKey(), false ); break;
         case 3:
         case 4: intern( anyKey(), true ); break;
         case 5: copy(); break;
         case 6:
         case 7:
         case 8: drop( anySlot() ); break;
         case 9: raise(); break;
         case 10: update(); break;
         case 11: list(); break;
         case 12: pair(); break;
         case 13: dropInReaction(); break;
         case 14: dropAnOwner(); break;
         case 15: dropInScope(); break;
      }
      settle();
      ++steps_;
   }

   void check() {
      std::vector<size_t> standing( kTables.size() );
      for( size_t key = 0; key < expected_.size(); ++key ) {
         const auto & e = expected_[ key ];
         if( e.uses == 0 ) continue;
         ++standing[ tableOf( key ) ];
         ASSERT_EQ( e.symbol->useCount(), e.uses ) << where( key );
         ASSERT_EQ( e.symbol->name(), nameOf( key ) ) << where( key );
         ASSERT_EQ( e.symbol->notifier()->version(), e.version ) << where( key );
         ASSERT_TRUE( e.symbol->isDeduped() ) << where( key );
         if( isRouteMap( key ) ) { ASSERT_EQ( routeMap( e.symbol )->rmStatus().get(), e.status ) << where( key ); }
      }
      for( const auto & slot : slots_ ) {
         if( slot.used() ) { ASSERT_EQ( slot.symbol(), expected_[ slot.key ].symbol ) << where( slot.key ); }
      }
      for( size_t t = 0; t < kTables.size(); ++t ) ASSERT_EQ( kTables[ t ].count( *root_ ), standing[ t ] ) << kTables[ t ].name;
   }

   void dropAll() {
      for( bool any = true; any; ) {
         any = false;
         for( size_t i = 0; i < slots_.size(); ++i ) any |= drop( i );
         for( size_t key = 0; key < expected_.size(); ++key )
            if( expected_[ key ].listed ) unlist( key );
         settle();
         for( const auto & slot : slots_ ) any |= slot.used();
      }
      for( const auto & t : kTables ) EXPECT_EQ( t.count( *root_ ), 0u ) << t.name;
      for( const auto & e : expected_ ) EXPECT_EQ( e.uses, 0u );
      for( const auto & status : statuses_ ) EXPECT_EQ( status->useCount(), 1u ) << "no symbol that holds it is left";
   }

   size_t made() const { return made_; }
   size_t inherited() const { return inheritedInAll_; }

 private:
   /// One use, plain or by way of a pair.
   struct Use {
      size_t key = 0;
      Ptr<PolicySymbol> plain;
      Ptr<RouteMapSymbolAndNotifier> pair;
      bool used() const { return plain || pair; }
      const PolicySymbol * symbol() const { return plain ? plain.get() : pair->rmSymbol().get(); }
   };
   struct Expected {
      size_t uses = 0;
      PolicySymbol * symbol = nullptr;
      uint32_t version = 0;
      const RouteMapStatus * status = nullptr;
      bool heir = false;     // the status is one that interns the name again
      bool listed = false;   // one of the uses is that of the collection of all
   };

   size_t tableOf( size_t key ) const { return key / names_.size(); }
   const Quoin::String & nameOf( size_t key ) const { return names_[ key % names_.size() ]; }
   bool isRouteMap( size_t key ) const { return kTables[ tableOf( key ) ].ofRouteMaps; }
   static RouteMapSymbol * routeMap( PolicySymbol * symbol ) { return static_cast<RouteMapSymbol *>( symbol ); }
   std::string where( size_t key ) const {
      return std::string( kTables[ tableOf( key ) ].name ) + " '" + nameOf( key ).data() + "' after step " + std::to_string( steps_ );
   }

   size_t anySlot() {
      const size_t slot = below( random_, slots_.size() );
      random_.say( "slot ", slot, slots_[ slot ].used() ? " of '" : "",
                   slots_[ slot ].used() ? nameOf( slots_[ slot ].key ) : Quoin::String(), slots_[ slot ].used() ? "'" : "" );
      return slot;
   }
   size_t said( size_t key ) {
      random_.say( kTables[ tableOf( key ) ].name, " '", nameOf( key ), "'" );
      return key;
   }
   size_t anyKey() {
      const size_t table = oneIn( random_, 3 ) ? below( random_, 2 ) : below( random_, kTables.size() );   // route maps, often
      return said( table * names_.size() + below( random_, names_.size() ) );
   }
   /// A slot that is used, by a route map if that is asked for; gives up now and then.
   Use * usedSlot( bool ofRouteMap = false ) {
      for( int tries = 0; tries < 8; ++tries ) {
         Use & slot = slots_[ anySlot() ];
         if( slot.used() && ( !ofRouteMap || isRouteMap( slot.key ) ) ) return &slot;
      }
      return nullptr;
   }

   Ptr<PolicySymbol> symbolOf( size_t key, bool madeFirst = false ) const {
      const auto & t = kTables[ tableOf( key ) ];
      return ( madeFirst ? t.dedup : t.symbol )( *root_, nameOf( key ) );
   }

   // What is expected when a use has come, and when it has gone.
   void gained( size_t key, const PolicySymbol * symbol ) {
      auto & e = expected_[ key ];
      if( e.uses++ != 0 ) {
         EXPECT_EQ( e.symbol, symbol ) << where( key ) << ": two symbols of one name";
         return;
      }
      e = { 1, const_cast<PolicySymbol *>( symbol ), 0, nullptr, false, false };
      ++made_;
      EXPECT_EQ( symbol->notifier()->version(), 0u ) << where( key ) << ": not a new one";
      EXPECT_TRUE( symbol->statusCurrent() ) << where( key );
      if( isRouteMap( key ) ) { EXPECT_EQ( routeMap( e.symbol )->rmStatus(), nullptr ) << where( key ); }
   }
   void lost( size_t key ) {
      auto & e = expected_[ key ];
      if( --e.uses != 0 ) return;
      if( e.heir ) heirsDue_.push_back( key );
      e = {};
   }

   void place( size_t slot, Use next ) {
      gained( next.key, next.symbol() );
      replace( slot, std::move( next ) );
   }
   void replace( size_t slot, Use next ) {
      std::swap( slots_[ slot ], next );
      if( !next.used() ) return;
      const size_t old = next.key;
      next = {};
      lost( old );
   }
   /// What the heirs have interned becomes a use like any other.
   void settle() {
      while( !inherited_.empty() || !heirsDue_.empty() ) {
         std::vector<size_t> keys;
         for( const auto & use : inherited_ ) keys.push_back( use.key );
         ASSERT_THAT( keys, testing::UnorderedElementsAreArray( heirsDue_ ) ) << "after step " << steps_;
         inheritedInAll_ += keys.size();
         heirsDue_.clear();
         auto uses = std::exchange( inherited_, {} );
         for( const auto & use : uses ) gained( use.key, use.symbol() );   // all of them, before any other use goes
         for( auto & use : uses ) replace( anySlot(), std::move( use ) );
      }
   }

   /// A use that is settled with those of the heirs: it came while they did.
   void comesToo( size_t key, Ptr<PolicySymbol> symbol ) {
      heirsDue_.push_back( key );
      inherited_.push_back( { key, std::move( symbol ), nullptr } );
   }

   void intern( size_t key, bool madeFirst ) { place( anySlot(), { key, symbolOf( key, madeFirst ), nullptr } ); }

   void copy() {
      if( const Use * from = usedSlot() ) place( anySlot(), Use( *from ).pair ? Use{ from->key, symbolOf( from->key ), nullptr } : *from );
   }

   bool drop( size_t slot ) {
      if( !slots_[ slot ].used() ) return false;
      const size_t key = slots_[ slot ].key;
      slots_[ slot ] = {};
      lost( key );
      return true;
   }

   void raise() {
      const Use * use = usedSlot();
      if( !use ) return;
      auto & e = expected_[ use->key ];
      const auto by = uint32_t( below( random_, 3 ) );
      e.symbol->notifier()->versionInc( by );
      e.version += by;
   }

   void update() {
      const Use * use = usedSlot( true );
      if( !use ) return;
      const size_t key = use->key;
      auto & e = expected_[ key ];
      Ptr<const RouteMapStatus> status;
      const bool heir = oneIn( random_, 3 );
      if( heir ) {
         auto seq = makeNode<RouteMapSeqStatus>( 10 );
         seq->matcherIs( MatchOption::matchTag, makeNode<EndMatcher>( [ this, key ] {
                            inherited_.push_back( { key, symbolOf( key ), nullptr } );
                         } ) );
         auto map = makeNode<RouteMapStatus>( "HEIR" );
         map->seqStatusIs( seq );
         status = map;
      } else if( !oneIn( random_, 4 ) ) {
         status = anyOf( random_, statuses_ );
      }
      if( e.heir ) heirsDue_.push_back( key );   // the old status goes, and finds the symbol standing
      e.status = status.get();
      e.heir = heir;
      ++e.version;
      if( oneIn( random_, 4 ) ) {
         e.symbol->notifier()->versionInc( 1 );
         routeMap( e.symbol )->rmStatusIs( std::move( status ) );
      } else {
         routeMap( e.symbol )->updateAndNotify( std::exchange( status, nullptr ) );
      }
   }

   AllRouteMapSymbol & all( size_t key ) const { return *all_[ tableOf( key ) ]; }
   void list() {
      const Use * use = usedSlot( true );
      if( !use ) return;
      const size_t key = use->key;
      if( oneIn( random_, 2 ) ) return unlist( key );
      all( key ).symbolIs( Ptr<RouteMapSymbol>( routeMap( expected_[ key ].symbol ) ) );
      if( std::exchange( expected_[ key ].listed, true ) ) return;
      gained( key, expected_[ key ].symbol );
   }
   void unlist( size_t key ) {
      if( !std::exchange( expected_[ key ].listed, false ) ) return;
      EXPECT_TRUE( all( key ).symbolDel( nameOf( key ) ) ) << where( key );
      lost( key );
   }

   void pair() {
      size_t key = anyKey();
      key = ( tableOf( key ) % 2 ) * names_.size() + key % names_.size();   // of a route map
      const auto symbol = Quoin::staticPtrCast<RouteMapSymbol>( symbolOf( key ) );
      Use * use = usedSlot( true );
      if( !use || !use->pair || oneIn( random_, 3 ) )
         return place( anySlot(), { key, nullptr, makeNode<RouteMapSymbolAndNotifier>( symbol ) } );
      gained( key, symbol.get() );
      const size_t old = std::exchange( use->key, key );
      use->pair->rmSymbolIs( symbol );
      use->pair->rmSymbolNotifierIs( symbol->notifier() );
      lost( old );
   }

   void dropUsesOf( size_t key ) {
      for( size_t i = 0; i < slots_.size(); ++i )
         if( slots_[ i ].used() && slots_[ i ].key == key ) drop( i );
      if( expected_[ key ].listed ) unlist( key );
   }

   /// All users of a symbol go when they hear of its version, and the name is interned again behind that.
   void dropInReaction() {
      const Use * use = usedSlot();
      if( !use ) return;
      const size_t key = use->key;
      PolicySymbol * symbol = expected_[ key ].symbol;
      const auto notifier = symbol->notifier();
      const bool again = oneIn( random_, 2 );
      const bool updates = isRouteMap( key ) && oneIn( random_, 2 );
      Ptr<PolicySymbol> next;
      ++expected_[ key ].version;
      Reaction first( *notifier, [ & ]( const Quoin::Change & ) {
         if( updates ) ++expected_[ key ].uses;   // the update's own
         dropUsesOf( key );
         if( again ) next = symbolOf( key );
      } );
      Reaction second( *notifier );
      if( updates ) {
         routeMap( symbol )->updateAndNotify( routeMap( symbol )->rmStatus() );
         if( next ) gained( key, next.get() );
         lost( key );
         settle();
         if( next ) {
            EXPECT_EQ( next.get(), symbol ) << where( key ) << ": its update was under way";
            replace( anySlot(), { key, std::move( next ), nullptr } );
         }
      } else {
         notifier->versionInc( 1 );
         if( next ) comesToo( key, std::move( next ) );
      }
      EXPECT_EQ( second.heard, 1 ) << where( key );
   }

   void dropAnOwner() {
      Use * use = usedSlot();
      if( !use || !use->plain ) return;
      const size_t key = use->key;
      const bool before = oneIn( random_, 2 );
      Ptr<PolicySymbol> next;
      auto owner = makeNode<Owner>( std::exchange( use->plain, nullptr ), before, [ & ] { next = symbolOf( key ); } );
      owner = nullptr;
      if( before ) {
         EXPECT_EQ( next.get(), expected_[ key ].symbol ) << where( key );
         slots_[ size_t( use - slots_.data() ) ] = { key, std::move( next ), nullptr };
         return;
      }
      lost( key );
      comesToo( key, std::move( next ) );
   }

   /// Symbols go while their destruction is put off, and their names are asked for meanwhile.
   void dropInScope() {
      const Quoin::ReleaseScope scope;
      for( auto n = 1 + below( random_, 4 ); n; --n ) {
         const size_t slot = anySlot();
         if( slots_[ slot ].pair ) continue;   // it would be put off itself, and its symbol with it
         const size_t key = slots_[ slot ].key;
         drop( slot );
         if( oneIn( random_, 2 ) ) place( slot, { key, symbolOf( key, oneIn( random_, 2 ) ), nullptr } );
         if( oneIn( random_, 4 ) ) raise();
      }
   }

   Random & random_;
   Ptr<PolicyRoot> root_ = makeNode<PolicyRoot>();
   std::array<Ptr<AllRouteMapSymbol>, 2> all_{ allRouteMapSymbolFactory(), allRouteMapSymbolFactory() };
   std::vector<Quoin::String> names_;
   std::vector<Ptr<const RouteMapStatus>> statuses_;
   std::vector<Expected> expected_;   // by table and name
   std::vector<size_t> heirsDue_;     // names whose heir must have interned them
   std::vector<Use> inherited_;       // what the heirs have interned
   std::array<Use, 48> slots_;
   size_t steps_ = 0, made_ = 0, inheritedInAll_ = 0;
};

TEST( SymbolTableModel, tablesAreEmptyWhenTheLastUsersHaveGone ) {
   constexpr int kSteps = 1000000;
   forSomeCases( 1, [ & ]( Random & random ) {
      World world( random );
      for( int i = 0; i < kSteps && !caseFailed() && random.step(); ++i ) {
         world.step();
         if( i % 64 == 0 ) world.check();
      }
      if( caseFailed() ) return;
      world.check();
      world.dropAll();
      world.check();
      EXPECT_GT( world.made(), 100000u ) << "too few names went and came again";
      EXPECT_GT( world.inherited(), 1000u ) << "too few names were interned as they went";
   } );
}

TEST( SymbolTableModel, manyShortLives ) {
   forRandomCases( 2, []( Random & random ) {
      World world( random );
      for( auto steps = below( random, 300 ); steps && !caseFailed() && random.step(); --steps ) {
         world.step();
         world.check();
      }
      if( caseFailed() ) return;
      world.dropAll();
      world.check();
   } );
}

}   // namespace
