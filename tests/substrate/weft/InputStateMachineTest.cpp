#include "substrate/weft/InputStateMachine.h"

#include <functional>

#include <gmock/gmock.h>

namespace {

using Quoin::makeNode;
using Quoin::Ptr;
using Weft::Gen::InputStateMachine;

/// Runs functions as if it stood in a notification.
class Machine final : public InputStateMachine {
 public:
   explicit Machine( bool & g ) : gone( g ) { handleInitialized(); }
   ~Machine() override {
      gone = true;
      stop();
   }
   void handleInitialized() override { ++initialized; }
   void handleChangeMissed() override {}
   void react( const std::function<void()> & action ) {
      const InReactor inReactor( *this );
      action();
   }
   bool & gone;
   int initialized = 0;
};

class InputStateMachineTest : public testing::Test {
 protected:
   bool gone = false;
   Ptr<Machine> sm = makeNode<Machine>( gone );
};

TEST_F( InputStateMachineTest, aNewOneStandsInNoNotification ) {
   EXPECT_FALSE( sm->inReactor() );
   EXPECT_FALSE( sm->hasNotificationActive() );
   EXPECT_EQ( sm->initialized, 1 );
}

TEST_F( InputStateMachineTest, saysSoWhileItIsInANotification ) {
   bool in = false;
   sm->react( [ & ] { in = sm->inReactor(); } );
   EXPECT_TRUE( in );
   EXPECT_FALSE( sm->inReactor() );
}

TEST_F( InputStateMachineTest, theInnerOfTwoNotificationsLeavesTheOuterOne ) {
   bool between = false;
   sm->react( [ & ] {
      sm->react( [] {} );
      between = sm->inReactor();
   } );
   EXPECT_TRUE( between );
   EXPECT_FALSE( sm->inReactor() );
}

TEST_F( InputStateMachineTest, aReactionMayDropTheMachine ) {
   auto * const raw = sm.get();
   raw->react( [ & ] {
      sm = nullptr;
      EXPECT_FALSE( gone ) << "the notification keeps it";
   } );
   EXPECT_TRUE( gone );
}

TEST_F( InputStateMachineTest, isWrittenByHandToo ) {
   sm->inReactorIs( true );
   EXPECT_TRUE( sm->inReactor() );
   sm->react( [] {} );
   EXPECT_TRUE( sm->inReactor() ) << "as it was before";
   sm->inReactorIs( false );
   EXPECT_FALSE( sm->inReactor() );
}

}   // namespace
