#include "substrate/quoin/Ptr.h"

#include <algorithm>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <type_traits>
#include <unordered_set>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <rapidcheck/gtest.h>

namespace {

using Quoin::dynamicPtrCast;
using Quoin::makeNode;
using Quoin::Node;
using Quoin::Ptr;
using Quoin::staticPtrCast;

struct Base : Node {
   ~Base() override { ++destroyed; }
   static inline int destroyed = 0;
};
struct Derived : Base {
   explicit Derived( int v = 0, std::unique_ptr<int> o = nullptr ) : value( v ), owned( std::move( o ) ) {}
   int value;
   std::unique_ptr<int> owned;
};
struct Other : Base {};

static_assert( sizeof( Ptr<Base> ) == sizeof( void * ) );
static_assert( std::is_convertible_v<Ptr<Derived>, Ptr<Base>> );
static_assert( std::is_convertible_v<Ptr<Base>, Ptr<const Base>> );
static_assert( std::is_convertible_v<std::nullptr_t, Ptr<Base>> );
static_assert( !std::is_constructible_v<Ptr<Derived>, Ptr<Base>> );
static_assert( !std::is_constructible_v<Ptr<Base>, Ptr<const Base>> );
static_assert( !std::is_convertible_v<Base *, Ptr<Base>>, "a use is not taken in passing" );
static_assert( !std::is_convertible_v<Ptr<Base>, bool> );
static_assert( std::is_nothrow_move_constructible_v<Ptr<Base>> && std::is_nothrow_copy_constructible_v<Ptr<Base>> );

class PtrTest : public testing::Test {
 protected:
   PtrTest() { Base::destroyed = 0; }
};

TEST_F( PtrTest, defaultAndNullHoldNothing ) {
   const Ptr<Base> a, b( nullptr ), c( static_cast<Base *>( nullptr ) );
   for( const auto * p : { &a, &b, &c } ) {
      EXPECT_EQ( p->get(), nullptr );
      EXPECT_FALSE( *p );
      EXPECT_TRUE( *p == nullptr );
      EXPECT_TRUE( nullptr == *p );
   }
   EXPECT_EQ( a, b );
}

TEST_F( PtrTest, makeNodeHandsOverTheOneUseAndForwards ) {
   const auto p = makeNode<Derived>( 7, std::make_unique<int>( 8 ) );
   EXPECT_EQ( p->useCount(), 1u );
   EXPECT_EQ( p->value, 7 );
   EXPECT_EQ( *( *p ).owned, 8 );
   EXPECT_TRUE( p );
   EXPECT_FALSE( p == nullptr );
}

TEST_F( PtrTest, eachCopyIsAUse ) {
   auto p = makeNode<Derived>();
   {
      const Ptr<Derived> copy( p );   // NOLINT(performance-unnecessary-copy-initialization): it counts
      const Ptr<Base> base = p;
      const Ptr<const Base> constant = base;
      const Ptr<Derived> raw( p.get() );
      EXPECT_EQ( p->useCount(), 5u );
      EXPECT_TRUE( copy == p && base == p && constant == p && raw == p );
   }
   EXPECT_EQ( p->useCount(), 1u );
   p = nullptr;
   EXPECT_EQ( Base::destroyed, 1 );
}

TEST_F( PtrTest, aMoveTakesTheUseAlong ) {
   auto p = makeNode<Derived>();
   const auto * raw = p.get();
   Ptr<Derived> same( std::move( p ) );
   EXPECT_EQ( p, nullptr );   // NOLINT(bugprone-use-after-move): that is the question
   Ptr<const Base> base( std::move( same ) );
   EXPECT_EQ( same, nullptr );   // NOLINT(bugprone-use-after-move): that is the question
   Ptr<const Base> assigned;
   assigned = std::move( base );
   EXPECT_EQ( base, nullptr );   // NOLINT(bugprone-use-after-move): that is the question
   EXPECT_EQ( assigned.get(), raw );
   EXPECT_EQ( raw->useCount(), 1u );
   EXPECT_EQ( Base::destroyed, 0 );
}

TEST_F( PtrTest, assignmentLetsTheOldNodeGo ) {
   Ptr<Base> p = makeNode<Derived>( 1 );
   const auto q = makeNode<Derived>( 2 );
   p = q;
   EXPECT_EQ( Base::destroyed, 1 );
   EXPECT_EQ( p, q );
   EXPECT_EQ( q->useCount(), 2u );
   p = makeNode<Derived>( 3 );
   EXPECT_EQ( q->useCount(), 1u );
   p = nullptr;
   EXPECT_EQ( Base::destroyed, 2 );
}

TEST_F( PtrTest, selfAssignmentChangesNothing ) {
   auto p = makeNode<Derived>( 7 );
   auto & self = p;
   p = self;
   EXPECT_EQ( p->value, 7 );
   EXPECT_EQ( p->useCount(), 1u );
   p = std::move( self );
   ASSERT_TRUE( p );
   EXPECT_EQ( p->value, 7 );
   EXPECT_EQ( p->useCount(), 1u );
   EXPECT_EQ( Base::destroyed, 0 );
}

TEST_F( PtrTest, theOldNodeGoesWhenTheNewOneStands ) {
   struct Watcher : Node {
      explicit Watcher( std::function<void()> f ) : atEnd( std::move( f ) ) {}
      ~Watcher() override { atEnd(); }
      std::function<void()> atEnd;
   };
   Ptr<Node> p;
   const Node * seen = nullptr;
   p = makeNode<Watcher>( [ & ] { seen = p.get(); } );
   const Ptr<Node> next = makeNode<Derived>();
   p = next;
   EXPECT_EQ( seen, next.get() );
}

TEST_F( PtrTest, aListMayBeWalkedByTheOneThatHoldsIt ) {
   struct Link : Base {
      explicit Link( Ptr<Link> n ) : next( std::move( n ) ) {}
      Ptr<Link> next;
   };
   for( bool move : { false, true } ) {
      SCOPED_TRACE( move );
      Base::destroyed = 0;
      Ptr<Link> head;
      for( int i = 0; i < 100; ++i ) head = makeNode<Link>( std::move( head ) );
      for( int walked = 1; head; ++walked ) {
         if( move )
            head = std::move( head->next );
         else
            head = head->next;
         ASSERT_EQ( Base::destroyed, walked );
      }
      EXPECT_EQ( Base::destroyed, 100 );
   }
}

TEST_F( PtrTest, adoptAndDetachLeaveTheCountAlone ) {
   auto * raw = new Derived( 7 );
   auto p = Ptr<Derived>::adopt( raw );
   EXPECT_EQ( raw->useCount(), 1u );
   EXPECT_EQ( p.detach(), raw );
   EXPECT_EQ( p, nullptr );
   EXPECT_EQ( p.detach(), nullptr );
   EXPECT_EQ( raw->useCount(), 1u );
   EXPECT_EQ( Base::destroyed, 0 );
   raw->decUseImpl();
   EXPECT_EQ( Base::destroyed, 1 );
}

TEST_F( PtrTest, comparesByIdentity ) {
   const auto a = makeNode<Derived>( 7 ), b = makeNode<Derived>( 7 );
   const Ptr<const Base> aBase = a;
   EXPECT_TRUE( a == a && a == aBase && aBase == a );
   EXPECT_TRUE( a != b && b != aBase );
   EXPECT_TRUE( ( a < b ) != ( b < a ) );
   EXPECT_EQ( a < b, std::less<>()( a.get(), b.get() ) );
   EXPECT_TRUE( a <= aBase && a >= aBase );
   EXPECT_TRUE( Ptr<Base>() < a );
   EXPECT_EQ( ( std::set<Ptr<const Base>>{ a, b, aBase, nullptr } ).size(), 3u );
   EXPECT_EQ( ( std::unordered_set<Ptr<const Base>>{ a, b, aBase, nullptr } ).size(), 3u );
}

TEST_F( PtrTest, orderAgreesWithIdentityWhereTheBaseHasAnAddressOfItsOwn ) {
   struct Side {
      virtual ~Side() = default;
      int word = 0;
   };
   struct Both : Side, Derived {};
   const auto both = makeNode<Both>();
   const Ptr<Derived> base = both;
   ASSERT_NE( static_cast<const void *>( base.get() ), static_cast<const void *>( both.get() ) );
   EXPECT_TRUE( both == base );
   EXPECT_TRUE( ( both <=> base ) == 0 );
   EXPECT_FALSE( both < base || base < both );
}

TEST_F( PtrTest, castsTakeAFurtherUse ) {
   const Ptr<Base> p = makeNode<Derived>( 7 );
   const auto down = staticPtrCast<Derived>( p );
   EXPECT_EQ( down->value, 7 );
   EXPECT_EQ( p->useCount(), 2u );
   const auto checked = dynamicPtrCast<const Derived>( p );
   EXPECT_EQ( checked, p );
   EXPECT_EQ( p->useCount(), 3u );
   EXPECT_EQ( dynamicPtrCast<Other>( p ), nullptr );
   EXPECT_EQ( dynamicPtrCast<Other>( Ptr<Base>() ), nullptr );
   EXPECT_EQ( p->useCount(), 3u );
}

RC_GTEST_PROP( Ptr, countsAreThoseOfTheHandlesThatStand, ( const std::vector<std::pair<uint32_t, uint32_t>> & steps ) ) {
   Base::destroyed = 0;
   std::vector<Ptr<Derived>> nodes;
   nodes.reserve( 4 );
   for( int i = 0; i < 4; ++i ) nodes.push_back( makeNode<Derived>( i ) );
   std::vector<Ptr<const Base>> handles( 8 );
   std::vector<int> model( 8, -1 );   // the node that each handle holds
   for( const auto & [ step, pick ] : steps ) {
      const size_t to = step % 8, from = pick % 8;
      switch( step / 8 % 4 ) {
         case 0:
            handles[ to ] = nodes[ pick % 4 ];
            model[ to ] = int( pick % 4 );
            break;
         case 1:
            handles[ to ] = handles[ from ];
            model[ to ] = model[ from ];
            break;
         case 2: {
            handles[ to ] = std::move( handles[ from ] );
            const int moved = std::exchange( model[ from ], -1 );
            model[ to ] = moved;
            break;
         }
         case 3: handles[ to ] = Ptr<const Base>::adopt( handles[ to ].detach() ); break;
      }
      for( int n = 0; n < 4; ++n )
         RC_ASSERT( nodes[ size_t( n ) ]->useCount() == 1u + uint32_t( std::count( model.begin(), model.end(), n ) ) );
      for( size_t h = 0; h < 8; ++h ) RC_ASSERT( handles[ h ] == ( model[ h ] < 0 ? Ptr<Derived>() : nodes[ size_t( model[ h ] ) ] ) );
   }
   RC_ASSERT( Base::destroyed == 0 );
}

}   // namespace
