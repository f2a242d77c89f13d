#include "substrate/quoin/NotifyingNode.h"

#include <functional>
#include <vector>

#include <gmock/gmock.h>

#include "substrate/plinth/Attribute.h"
#include "substrate/quoin/Ptr.h"

namespace {

using Quoin::FieldId;
using Quoin::makeNode;
using Quoin::Ptr;
using testing::ElementsAre;

class Lamp final : public Quoin::NotifyingNode {
 public:
   PLINTH_ATTR( bright, brightIs, 1, int );
};

struct Watcher : Quoin::Subscriber {
   void onChange( const Quoin::Change & change ) override {
      heard.push_back( change.field );
      if( action ) action();
   }
   std::vector<FieldId> heard;
   std::function<void()> action;
};

TEST( NotifyingNode, aPlainNodeTellsOfNothing ) {
   struct Plain : Quoin::Node {};
   EXPECT_EQ( makeNode<Plain>()->publisher(), nullptr );
}

TEST( NotifyingNode, oneThatMayOnlyBeReadMayBeWatched ) {
   const auto lamp = makeNode<Lamp>(), other = makeNode<Lamp>();
   const Ptr<const Quoin::Node> readOnly = lamp;
   ASSERT_NE( readOnly->publisher(), nullptr );
   EXPECT_NE( readOnly->publisher(), other->publisher() );
   Watcher watcher;
   readOnly->publisher()->subscriberAdd( &watcher );
   lamp->brightIs( 5 );
   lamp->brightIs( 5 );
   other->brightIs( 5 );
   EXPECT_THAT( watcher.heard, ElementsAre( 1 ) );
}

TEST( NotifyingNode, mayGoInsideItsOwnWrite ) {
   auto lamp = makeNode<Lamp>();
   Watcher first, second;
   for( auto * w : { &first, &second } ) lamp->publisher()->subscriberAdd( w );
   first.action = [ & ] { lamp = nullptr; };
   lamp->brightIs( 5 );
   EXPECT_THAT( first.heard, ElementsAre( 1 ) );
   EXPECT_THAT( second.heard, ElementsAre() );
   EXPECT_FALSE( first.subscribed() || second.subscribed() );
}

}   // namespace
