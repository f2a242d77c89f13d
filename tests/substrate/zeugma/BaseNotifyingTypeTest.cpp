#include "substrate/zeugma/BaseNotifyingType.h"

#include <vector>

#include <gmock/gmock.h>

#include "substrate/plinth/Attribute.h"
#include "substrate/quoin/Ptr.h"

namespace {

using Quoin::FieldId;
using Quoin::makeNode;
using Quoin::Ptr;
using testing::ElementsAre;
using Zeugma::BaseNotifyingType;

class Pair final : public BaseNotifyingType {
 public:
   explicit Pair( int i = 0 ) : id( i ) {}
   PLINTH_ATTR( low, lowIs, 1, int );
   PLINTH_ATTR( high, highIs, 2, int );

 public:
   void clone( const BaseNotifyingType & other ) override {
      const auto & source = static_cast<const Pair &>( other );
      lowIs( source.low() );
      highIs( source.high() );
   }
   const int id;   // fixed at construction
};

struct Watcher : Quoin::Subscriber {
   void onChange( const Quoin::Change & change ) override { heard.push_back( change.field ); }
   std::vector<FieldId> heard;
};

TEST( BaseNotifyingType, hasAPublisherOfItsOwn ) {
   const auto a = makeNode<Pair>(), b = makeNode<Pair>();
   const Ptr<Quoin::Node> node = a;
   ASSERT_NE( a->publisher(), nullptr );
   EXPECT_EQ( node->publisher(), a->publisher() );
   EXPECT_NE( a->publisher(), b->publisher() );
   Watcher watcher;
   node->publisher()->subscriberAdd( &watcher );
   a->lowIs( 5 );
   b->lowIs( 5 );
   EXPECT_THAT( watcher.heard, ElementsAre( 1 ) );
}

}   // namespace
