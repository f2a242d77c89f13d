#include "substrate/weft/SmControl.h"

#include <gmock/gmock.h>

namespace {

using Quoin::makeNode;
using Weft::SmControl;
using Zeugma::TaskPriority;
using Zeugma::TaskScheduler;

TEST( SmControl, aNewOneLeavesEverythingToThePipeline ) {
   const SmControl control;
   EXPECT_EQ( control.scheduler(), nullptr ) << "the process's own is found when it is needed";
   EXPECT_EQ( control.priority(), TaskPriority::normal );
   EXPECT_FALSE( control.synchronous() );
   EXPECT_EQ( control.trailmarkHandle(), &Trailmark::defaultTrailmarkHandle() );
}

TEST( SmControl, isMadeForAScheduler ) {
   const auto scheduler = makeNode<TaskScheduler>();
   {
      const SmControl control( scheduler );
      EXPECT_EQ( control.scheduler(), scheduler );
      EXPECT_EQ( scheduler->useCount(), 2u );
      EXPECT_EQ( control.priority(), TaskPriority::normal );
      EXPECT_FALSE( control.synchronous() );
   }
   EXPECT_EQ( scheduler->useCount(), 1u );
}

TEST( SmControl, aTrailNeedsARing ) {
   Trailmark::Handle handle;
   SmControl control;
   control.trailmarkHandleIs( &handle );
   try {
      control.trailmarkHandleIs( nullptr );
      ADD_FAILURE() << "taken";
   } catch( const Plinth::MutatorArgNullPointerException & e ) { EXPECT_STREQ( e.what(), "trailmarkHandleIs: the argument is null" ); }
   EXPECT_EQ( control.trailmarkHandle(), &handle );
}

TEST( SmControl, isAPlainValue ) {
   const auto scheduler = makeNode<TaskScheduler>();
   Trailmark::Handle handle;
   SmControl control;
   const SmControl before = control;
   control.schedulerIs( scheduler );
   control.priorityIs( TaskPriority::routeMap );
   control.synchronousIs( true );
   control.trailmarkHandleIs( &handle );
   const SmControl copy = control;
   EXPECT_EQ( copy.scheduler(), scheduler );
   EXPECT_EQ( copy.priority(), TaskPriority::routeMap );
   EXPECT_TRUE( copy.synchronous() );
   EXPECT_EQ( copy.trailmarkHandle(), &handle );
   EXPECT_EQ( scheduler->useCount(), 3u );
   control = before;
   EXPECT_EQ( control.scheduler(), nullptr );
   EXPECT_EQ( control.priority(), TaskPriority::normal );
   EXPECT_FALSE( control.synchronous() );
   EXPECT_EQ( control.trailmarkHandle(), &Trailmark::defaultTrailmarkHandle() );
   EXPECT_EQ( copy.scheduler(), scheduler ) << "a copy goes its own way";
}

}   // namespace
