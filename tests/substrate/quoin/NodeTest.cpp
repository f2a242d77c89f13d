#include "substrate/quoin/Node.h"

#include <algorithm>
#include <functional>
#include <iterator>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <rapidcheck/gtest.h>

#include "substrate/quoin/Ptr.h"
#include "tests/policy/Fixtures.h"
#include "tests/substrate/quoin/Program.h"

namespace {

using Quoin::makeNode;
using Quoin::Node;
using Quoin::Ptr;
using Quoin::ReleaseScope;
using Quoin::ThreadControl;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

using Log = std::vector<std::string>;

/// Writes down what happens to it.
struct Item : Node {
   Item( Log & l, std::string n, Ptr<const Item> o = nullptr ) : log( l ), name( std::move( n ) ), owned( std::move( o ) ) {}
   ~Item() override { log.push_back( "~" + name ); }
   void lastUserGone() const override { log.push_back( "last user of " + name ); }
   Log & log;
   std::string name;
   Ptr<const Item> owned;
};

/// Every case in both kinds of counting.
class NodeCount : public testing::TestWithParam<bool> {
 protected:
   void SetUp() override {
      ThreadControl::threadedIs( GetParam() );
      if( ThreadControl::threaded() != GetParam() ) GTEST_SKIP() << "plain counts need a process that has had no threads";
   }
   void TearDown() override { ThreadControl::threadedIs( false ); }
   Log log;
};

INSTANTIATE_TEST_SUITE_P( Node, NodeCount, testing::Bool(), []( const auto & mode ) { return mode.param ? "atomic" : "plain"; } );

TEST_P( NodeCount, startsAtOneAndDestroysAtZero ) {
   const Item * item = new Item( log, "a" );
   EXPECT_EQ( item->useCount(), 1u );
   item->incUse();
   item->incUse();
   EXPECT_EQ( item->useCount(), 3u );
   item->decUseImpl();
   item->decUseImpl();
   EXPECT_EQ( item->useCount(), 1u );
   EXPECT_THAT( log, IsEmpty() );
   item->decUseImpl();
   EXPECT_THAT( log, ElementsAre( "last user of a", "~a" ) );
}

TEST_P( NodeCount, anOwnedNodeGoesAfterItsOwner ) {
   auto inner = makeNode<Item>( log, "inner" );
   auto outer = makeNode<Item>( log, "outer", inner );
   inner = nullptr;
   EXPECT_THAT( log, IsEmpty() );
   outer = nullptr;
   EXPECT_THAT( log, ElementsAre( "last user of outer", "~outer", "last user of inner", "~inner" ) );
}

TEST_P( NodeCount, aUseIsTakenOnlyWhileThereIsOne ) {
   struct Weak : Node {
      explicit Weak( bool & r ) : revived( r ) {}
      void lastUserGone() const override { revived = incUseUnlessGone() || useCount() != 0; }
      bool & revived;
   };
   bool revived = true;
   auto weak = makeNode<Weak>( revived );
   EXPECT_TRUE( weak->incUseUnlessGone() );
   EXPECT_EQ( weak->useCount(), 2u );
   weak->decUseImpl();
   EXPECT_TRUE( revived );
   weak = nullptr;
   EXPECT_FALSE( revived );
}

TEST_P( NodeCount, flagsAndUsesDoNotTouchEachOther ) {
   auto item = makeNode<Item>( log, "a" );
   EXPECT_EQ( item->nodeFlag(), 0u );
   item->nodeFlagSet( 0x10000001 );
   item->nodeFlagSet( 0x10 );
   EXPECT_EQ( item->nodeFlag(), 0x10000011u );
   EXPECT_EQ( item->useCount(), 1u );
   item->incUse();
   item->decUseImpl();
   item->nodeFlagClear( 0x10000002 );
   EXPECT_EQ( item->nodeFlag(), 0x11u );
   EXPECT_EQ( item->useCount(), 1u );
}

TEST_P( NodeCount, noFlagReachesTheRelease ) {
   auto item = makeNode<Item>( log, "a" );
   item->nodeFlagSet( ~0u );
   EXPECT_EQ( item->nodeFlag(), 0x1fffffffu );
   item = nullptr;
   EXPECT_THAT( log, ElementsAre( "last user of a", "~a" ) );
}

/// Its memory stays, so that a second destruction would show. One at a time.
struct InPlace : Item {
   using Item::Item;
   static void * operator new( size_t ) { return memory; }
   static void operator delete( void * ) {}
   alignas( Item ) static inline char memory[ sizeof( Item ) ];
};

TEST_P( NodeCount, noFlagReachesANodeThatWaits ) {
   for( const uint32_t set : { 0u, ~0u } ) {
      auto item = makeNode<InPlace>( log, "a" );
      InPlace * const raw = item.get();
      {
         ReleaseScope scope;
         item = nullptr;
         raw->nodeFlagSet( set );
         raw->nodeFlagClear( ~0u );
         { const Ptr<InPlace> again( raw ); }
         raw->nodeFlagSet( set );
         log.clear();
      }
      EXPECT_THAT( log, ElementsAre( "~a" ) ) << set;
   }
}

/// Does what it is told when its last user goes.
struct Hooked : Node {
   using Hook = std::function<void( const Hooked & )>;
   Hooked( Log & l, Hook h ) : log( l ), hook( std::move( h ) ) {}
   ~Hooked() override { log.push_back( "destroyed" ); }
   void lastUserGone() const override {
      log.push_back( "hook" );
      hook( *this );
   }
   Log & log;
   Hook hook;
};

TEST_P( NodeCount, aHookMayTakeAndDropHandlesOfItsOwnObject ) {
   Log ofOthers;
   const struct {
      const char * name;
      Hooked::Hook hook;
   } rows[] = {
      { "one", []( const Hooked & me ) { const Ptr<const Hooked> p( &me ); } },
      { "one after the other",
        []( const Hooked & me ) {
           for( int i = 0; i < 3; ++i ) { const Ptr<const Hooked> p( &me ); }
        } },
      { "two at once",
        []( const Hooked & me ) {
           const Ptr<const Hooked> p( &me ), q = p;
           EXPECT_EQ( me.useCount(), 2u );
        } },
      { "one in a scope",
        []( const Hooked & me ) {
           ReleaseScope scope;
           const Ptr<const Hooked> p( &me );
        } },
      { "one beside another object",
        [ & ]( const Hooked & me ) {
           const Ptr<const Hooked> p( &me );
           makeNode<Item>( ofOthers, "a" );
        } },
   };
   for( const auto & row : rows )
      for( const bool inScope : { false, true } ) {
         SCOPED_TRACE( testing::Message() << row.name << ( inScope ? ", all of it in a scope" : "" ) );
         log.clear();
         std::unique_ptr<ReleaseScope> scope( inScope ? new ReleaseScope : nullptr );
         makeNode<Hooked>( log, row.hook );
         EXPECT_EQ( log.size(), inScope ? 1u : 2u );
         scope = nullptr;
         EXPECT_THAT( log, ElementsAre( "hook", "destroyed" ) );
      }
   EXPECT_THAT( ofOthers, UnorderedElementsAre( "last user of a", "~a", "last user of a", "~a" ) );
}

TEST_P( NodeCount, aHookMayKeepItsObject ) {
   Ptr<const Hooked> kept;
   int times = 2;
   makeNode<Hooked>( log, [ & ]( const Hooked & me ) {
      if( times-- > 0 ) kept = Ptr<const Hooked>( &me );
   } );
   EXPECT_THAT( log, ElementsAre( "hook" ) );
   ASSERT_TRUE( kept );
   EXPECT_EQ( kept->useCount(), 1u );
   { const Ptr<const Hooked> second = kept; }
   EXPECT_THAT( log, ElementsAre( "hook" ) );
   kept = nullptr;
   EXPECT_THAT( log, ElementsAre( "hook", "hook" ) );
   ASSERT_TRUE( kept );
   EXPECT_EQ( kept->useCount(), 1u );
   kept = nullptr;
   EXPECT_THAT( log, ElementsAre( "hook", "hook", "hook", "destroyed" ) );
}

TEST_P( NodeCount, aHookMayKeepItsObjectInAScope ) {
   const struct {
      const char * name;
      bool dropped;   // before the scope ends
   } rows[] = { { "beyond its end", false }, { "within it", true } };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.name );
      log.clear();
      Ptr<const Hooked> kept;
      bool keep = true;
      {
         ReleaseScope scope;
         makeNode<Hooked>( log, [ & ]( const Hooked & me ) {
            if( std::exchange( keep, false ) ) kept = Ptr<const Hooked>( &me );
         } );
         EXPECT_THAT( log, ElementsAre( "hook" ) );
         if( row.dropped ) kept = nullptr;
         EXPECT_EQ( std::count( log.begin(), log.end(), "destroyed" ), 0 );
      }
      EXPECT_EQ( log.size(), row.dropped ? 3u : 1u );
      kept = nullptr;
      EXPECT_THAT( log, ElementsAre( "hook", "hook", "destroyed" ) );
   }
}

/// Its successor goes before it does.
struct Early : Node {
   explicit Early( Ptr<Early> n ) : next( std::move( n ) ) {}
   ~Early() override {
      ++destroyed;
      EXPECT_TRUE( hookRan );
   }
   void lastUserGone() const override {
      EXPECT_FALSE( std::exchange( hookRan, true ) );
      deepest = std::max( deepest, ++depth );
      next = nullptr;
      --depth;
   }
   mutable Ptr<Early> next;
   mutable bool hookRan = false;
   static inline size_t depth, deepest, destroyed;
};

TEST_P( NodeCount, chainWhoseHooksDropTheNextNeedsTheSameStackWhateverItsLength ) {
   for( const bool inScope : { false, true } ) {
      SCOPED_TRACE( inScope );
      size_t deepest[ 2 ];
      const size_t lengths[ 2 ] = { 1000, 200000 };
      for( int i = 0; i < 2; ++i ) {
         Early::depth = Early::deepest = Early::destroyed = 0;
         Ptr<Early> head;
         for( size_t n = lengths[ i ]; n; --n ) head = makeNode<Early>( std::move( head ) );
         {
            std::unique_ptr<ReleaseScope> scope( inScope ? new ReleaseScope : nullptr );
            head = nullptr;
            EXPECT_EQ( Early::destroyed, inScope ? 0u : lengths[ i ] );
         }
         EXPECT_EQ( Early::destroyed, lengths[ i ] );
         deepest[ i ] = Early::deepest;
      }
      EXPECT_EQ( deepest[ 0 ], deepest[ 1 ] );
   }
}

TEST( Node, isWholeWhenItsLastUserGoes ) {
   struct Base : Node {
      explicit Base( Log & l ) : log( l ) {}
      ~Base() override { log.push_back( "~Base " + name() ); }
      void lastUserGone() const override { log.push_back( "last user of " + name() ); }
      virtual std::string name() const { return "Base"; }
      Log & log;
   };
   struct Derived : Base {
      using Base::Base;
      std::string name() const override { return text; }
      std::string text = "Derived";
   };
   Log log;
   { const Ptr<Base> p = makeNode<Derived>( log ); }
   EXPECT_THAT( log, ElementsAre( "last user of Derived", "~Base Base" ) );
}

TEST( Node, itsVirtualOperationsStandInTheirOrder ) {
   using Routing::Policy::Fixtures::slotOf;
   if( slotOf( &Node::lastUserGone ) < 0 ) GTEST_SKIP() << "this platform does not tell";
   EXPECT_EQ( slotOf( &Node::lastUserGone ), 2 ) << "right behind the destructor's two";
   EXPECT_EQ( slotOf( &Node::publisher ), 3 );
   EXPECT_EQ( slotOf( &Node::useCount ), -1 );
}

/// One of a chain; knows how many destructors of its kind run inside each other.
struct Link : Node {
   struct Nesting {
      ~Nesting() { --depth; }
      static inline size_t depth = 0, deepest = 0, destroyed = 0;
   };
   explicit Link( Ptr<Link> n ) : next( std::move( n ) ) {}
   ~Link() override {
      ++Nesting::destroyed;
      Nesting::deepest = std::max( Nesting::deepest, ++Nesting::depth );
   }
   Nesting nesting;   // before `next`: destroyed behind it
   Ptr<Link> next;
};

template <class OneLink = Link>
Ptr<Link> chainOf( size_t length ) {
   Link::Nesting::deepest = Link::Nesting::destroyed = 0;
   Ptr<Link> head;
   while( length-- ) head = makeNode<OneLink>( std::move( head ) );
   return head;
}

TEST_P( NodeCount, releaseOfAChainNeedsTheSameStackWhateverItsLength ) {
   const struct {
      const char * name;
      int scopes;
   } rows[] = { { "at once", 0 }, { "in a scope", 1 }, { "in nested scopes", 3 } };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.name );
      size_t deepest[ 2 ];
      const size_t lengths[ 2 ] = { 1000, 1000000 };
      for( int i = 0; i < 2; ++i ) {
         auto chain = chainOf( lengths[ i ] );
         {
            std::vector<std::unique_ptr<ReleaseScope>> scopes;
            for( int s = 0; s < row.scopes; ++s ) scopes.push_back( std::make_unique<ReleaseScope>() );
            chain = nullptr;
            EXPECT_EQ( Link::Nesting::destroyed, row.scopes ? 0 : lengths[ i ] );
         }
         EXPECT_EQ( Link::Nesting::destroyed, lengths[ i ] );
         deepest[ i ] = Link::Nesting::deepest;
      }
      EXPECT_EQ( deepest[ 0 ], deepest[ 1 ] );
   }
}

TEST( Node, chainThatIsDroppedByADestructorNeedsNoMoreStack ) {
   struct Owner : Node {
      explicit Owner( Ptr<Link> c ) : chain( std::move( c ) ) {}
      ~Owner() override {
         ReleaseScope scope;
         chain = nullptr;
         EXPECT_EQ( Link::Nesting::destroyed, 0u );
      }
      Ptr<Link> chain;
   };
   makeNode<Owner>( chainOf( 1000 ) );
   EXPECT_EQ( Link::Nesting::destroyed, 1000u );
   const size_t deepest = Link::Nesting::deepest;
   makeNode<Owner>( chainOf( 1000000 ) );
   EXPECT_EQ( Link::Nesting::destroyed, 1000000u );
   EXPECT_EQ( Link::Nesting::deepest, deepest );
}

TEST( Node, chainWhoseDestructorsOpenScopesNeedsNoMoreStack ) {
   struct Opener : Link {
      using Link::Link;
      ~Opener() override {
         Nesting::deepest = std::max( Nesting::deepest, ++Nesting::depth );
         {
            ReleaseScope scope;
            next = nullptr;
         }
         --Nesting::depth;
      }
   };
   for( bool inScope : { false, true } ) {
      SCOPED_TRACE( inScope );
      size_t deepest[ 2 ];
      const size_t lengths[ 2 ] = { 1000, 1000000 };
      for( int i = 0; i < 2; ++i ) {
         auto chain = chainOf<Opener>( lengths[ i ] );
         {
            std::unique_ptr<ReleaseScope> scope( inScope ? new ReleaseScope : nullptr );
            chain = nullptr;
         }
         EXPECT_EQ( Link::Nesting::destroyed, lengths[ i ] );
         deepest[ i ] = Link::Nesting::deepest;
      }
      EXPECT_EQ( deepest[ 0 ], deepest[ 1 ] );
   }
}

TEST( ReleaseScope, keepsANodeWholeUntilItEnds ) {
   Log log;
   auto item = makeNode<Item>( log, "a", makeNode<Item>( log, "b" ) );
   const Item * raw = item.get();
   {
      ReleaseScope scope;
      item = nullptr;
      EXPECT_THAT( log, ElementsAre( "last user of a" ) );
      EXPECT_EQ( raw->name, "a" );
      EXPECT_EQ( raw->owned->name, "b" );
   }
   EXPECT_THAT( log, ElementsAre( "last user of a", "~a", "last user of b", "~b" ) );
}

TEST( ReleaseScope, doesNotPutOffTheHook ) {
   Log log;
   Ptr<Item> held = makeNode<Item>( log, "c" );
   const auto dropsHeld = [ & ]( const Hooked & ) { held = nullptr; };
   auto hooked = makeNode<Hooked>( log, dropsHeld );
   {
      ReleaseScope outer, inner;
      makeNode<Item>( log, "a" );
      EXPECT_THAT( log, ElementsAre( "last user of a" ) );
      hooked = nullptr;
      EXPECT_THAT( log, ElementsAre( "last user of a", "hook", "last user of c" ) );
      log.clear();
   }
   EXPECT_THAT( log, UnorderedElementsAre( "~a", "destroyed", "~c" ) );
}

TEST( ReleaseScope, aUseGainedAndLostInItChangesNothing ) {
   Log log;
   auto first = makeNode<Item>( log, "first" ), second = makeNode<Item>( log, "second" );
   const auto *a = first.get(), *b = second.get();
   {
      ReleaseScope scope;
      first = second = nullptr;
      for( int i = 0; i < 2; ++i ) {
         { const Ptr<const Item> again( a ); }
         { const Ptr<const Item> again( b ); }
      }
      EXPECT_EQ( std::count( log.begin(), log.end(), "last user of first" ), 3 );
      EXPECT_EQ( std::count( log.begin(), log.end(), "last user of second" ), 3 );
      log.clear();
   }
   EXPECT_THAT( log, UnorderedElementsAre( "~first", "~second" ) );
}

TEST( ReleaseScope, aNodeWithANewUserOutlivesIt ) {
   Log log;
   auto item = makeNode<Item>( log, "a", makeNode<Item>( log, "b" ) );
   item->nodeFlagSet( 5 );
   Ptr<const Item> again;
   {
      ReleaseScope scope;
      const Item * raw = item.get();
      item = nullptr;
      again = Ptr<const Item>( raw );
      log.clear();
   }
   EXPECT_THAT( log, IsEmpty() );
   EXPECT_EQ( again->useCount(), 1u );
   EXPECT_EQ( again->nodeFlag(), 5u );
   EXPECT_EQ( again->owned->useCount(), 1u );
   again = nullptr;
   EXPECT_THAT( log, ElementsAre( "last user of a", "~a", "last user of b", "~b" ) );
}

TEST( ReleaseScope, mayBeOpenedByADestructor ) {
   struct Opener : Node {
      Opener( Log & l, Ptr<Item> i ) : log( l ), item( std::move( i ) ) {}
      ~Opener() override {
         ReleaseScope scope;
         item = nullptr;
         log.push_back( "~Opener" );
      }
      Log & log;
      Ptr<Item> item;
   };
   for( bool inScope : { false, true } ) {
      SCOPED_TRACE( inScope );
      Log log;
      {
         std::unique_ptr<ReleaseScope> scope( inScope ? new ReleaseScope : nullptr );
         makeNode<Opener>( log, makeNode<Item>( log, "a" ) );
      }
      EXPECT_THAT( log, ElementsAre( "last user of a", "~Opener", "~a" ) );
   }
}

/// A step of a random life of nodes that own each other.
struct Step {
   enum Kind { make, drop, take, openScope, closeScope } kind;
   uint32_t a, b;   // picks, modulo what there is
   friend std::ostream & operator<<( std::ostream & os, const Step & s ) {
      const char * const names[] = { "make", "drop", "take", "open scope", "close scope" };
      return os << names[ s.kind ] << ' ' << s.a << ' ' << s.b;
   }
};

rc::Gen<std::vector<Step>> anyLife() {
   const auto kind = rc::gen::weightedElement<Step::Kind>(
      { { 6, Step::make }, { 8, Step::drop }, { 2, Step::take }, { 1, Step::openScope }, { 1, Step::closeScope } } );
   return programOf<Step>( rc::gen::set( &Step::kind, kind ), rc::gen::set( &Step::a ), rc::gen::set( &Step::b ) );
}

struct Vertex : Node {
   using Alive = std::map<int, Vertex *>;
   Vertex( int i, Alive & a, std::vector<Ptr<Vertex>> o ) : id( i ), alive( a ), owned( std::move( o ) ) { alive[ id ] = this; }
   ~Vertex() override { alive.erase( id ); }
   int id;
   Alive & alive;
   std::vector<Ptr<Vertex>> owned;
};

RC_GTEST_PROP( ReleaseScope, outsideOfScopesExactlyWhatIsReachableLives, () ) {
   Vertex::Alive alive, atOpening;
   std::vector<Ptr<Vertex>> roots;
   std::vector<std::unique_ptr<ReleaseScope>> scopes;
   int ids = 0;
   for( const Step & step : *anyLife() ) {
      const auto pick = [ & ]( uint32_t by ) { return roots.begin() + static_cast<ptrdiff_t>( by % roots.size() ); };
      switch( step.kind ) {
         case Step::make: {
            std::vector<Ptr<Vertex>> owned;
            if( !roots.empty() ) owned = { *pick( step.a ), *pick( step.b ) };
            roots.push_back( makeNode<Vertex>( ids, alive, std::move( owned ) ) );
            if( !scopes.empty() ) atOpening[ ids ] = roots.back().get();
            ++ids;
            break;
         }
         case Step::drop:
            if( !roots.empty() ) roots.erase( pick( step.a ) );
            break;
         case Step::take:   // in a scope this may be one without a user
            if( !alive.empty() ) {
               auto any = std::next( alive.begin(), static_cast<ptrdiff_t>( step.a % alive.size() ) );
               roots.emplace_back( any->second );
            }
            break;
         case Step::openScope:
            if( scopes.empty() ) atOpening = alive;
            scopes.push_back( std::make_unique<ReleaseScope>() );
            break;
         case Step::closeScope:
            if( !scopes.empty() ) scopes.pop_back();
            break;
      }
      if( !scopes.empty() ) {
         RC_ASSERT( alive == atOpening );
         continue;
      }
      Vertex::Alive reachable;
      std::vector<Vertex *> todo;
      todo.reserve( roots.size() );
      for( const auto & r : roots ) todo.push_back( r.get() );
      while( !todo.empty() ) {
         Vertex * v = todo.back();
         todo.pop_back();
         if( reachable.emplace( v->id, v ).second )
            for( const auto & o : v->owned ) todo.push_back( o.get() );
      }
      RC_ASSERT( alive == reachable );
   }
   roots.clear();
   scopes.clear();
   RC_ASSERT( alive.empty() );
}

}   // namespace
