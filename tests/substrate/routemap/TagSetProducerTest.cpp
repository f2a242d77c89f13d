#include "substrate/routemap/TagSetProducer.h"

#include <memory>

#include <gmock/gmock.h>

#include "tests/substrate/routemap/SymbolWatcher.h"

namespace Routing::RouteMap {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class TagSetProducerTest : public testing::Test {
 protected:
   const Quoin::Ptr<TagSetSymbolDedupTable> table = Quoin::makeNode<TagSetSymbolDedupTable>();
   std::unique_ptr<TagSetProducer> set = std::make_unique<TagSetProducer>( table, "TS" );
};

TEST_F( TagSetProducerTest, aChangeIsToldOfOnceWhenAllIsInPlace ) {
   const SymbolWatcher watcher( set->symbol() );
   EXPECT_TRUE( set->tagIs( 7 ) );
   EXPECT_TRUE( set->tagIs( 0 ) );
   EXPECT_TRUE( set->tagIs( 0xffffffff ) );
   EXPECT_TRUE( set->edited() );
   EXPECT_THAT( watcher.take(), ElementsAre( "not current" ) );
   set->publish();
   EXPECT_THAT( watcher.take(), ElementsAre( "status", "current", "version 1, current, defined" ) );
   const auto status = set->symbol()->status();
   EXPECT_EQ( status->name(), "TS" );
   EXPECT_EQ( status->tag().count(), 3u );
   EXPECT_TRUE( status->tag().contains( 0 ) && status->tag().contains( 7 ) && status->tag().contains( 0xffffffff ) );
   EXPECT_TRUE( set->tagDel( 7 ) );
   EXPECT_EQ( status->tag().count(), 3u ) << "what is published is not written again";
   set->publish();
   EXPECT_FALSE( set->symbol()->status()->tag().contains( 7 ) );
   EXPECT_EQ( set->symbol()->notifier()->version(), 2u );
}

TEST_F( TagSetProducerTest, anEditThatChangesNothingBeginsNothing ) {
   set->tagIs( 7 );
   set->publish();
   const SymbolWatcher watcher( set->symbol() );
   EXPECT_FALSE( set->tagIs( 7 ) );
   EXPECT_FALSE( set->tagDel( 8 ) );
   EXPECT_FALSE( set->edited() );
   EXPECT_THAT( watcher.take(), IsEmpty() );
   EXPECT_THAT( set->tags(), ElementsAre( 7 ) );
}

TEST_F( TagSetProducerTest, theNameIsUndefinedAgainWhenItGoes ) {
   set->publish();
   const auto symbol = set->symbol();
   EXPECT_NE( symbol->status(), nullptr ) << "a set without tags is not undefined";
   const SymbolWatcher watcher( symbol );
   set = nullptr;
   EXPECT_THAT( watcher.take(), ElementsAre( "not current", "status", "current", "version 2, current, undefined" ) );
}

TEST_F( TagSetProducerTest, theNameIsUndefinedUntilTheFirstPublication ) {
   EXPECT_EQ( set->symbol()->status(), nullptr );
   EXPECT_TRUE( set->symbol()->statusCurrent() );
   EXPECT_FALSE( set->edited() );
   EXPECT_EQ( set->symbol()->notifier()->version(), 0u );
   EXPECT_EQ( table->symbol( "TS" ), set->symbol() );
}

TEST_F( TagSetProducerTest, oneThatGoesWithAnEditUnderWayLeavesNobodyWaiting ) {
   const auto symbol = set->symbol();
   EXPECT_TRUE( set->tagIs( 7 ) );
   EXPECT_FALSE( symbol->statusCurrent() );
   set = nullptr;
   EXPECT_TRUE( symbol->statusCurrent() );
   EXPECT_EQ( symbol->status(), nullptr );
   EXPECT_EQ( symbol->notifier()->version(), 0u ) << "it has never been defined";
}

TEST_F( TagSetProducerTest, oneThatGoesLeavesTheSetOfItsSuccessor ) {
   set->publish();
   TagSetProducer second( table, "TS" );
   EXPECT_TRUE( second.tagIs( 7 ) );
   second.publish();
   const auto status = second.symbol()->status();
   set = nullptr;
   EXPECT_EQ( second.symbol()->status(), status );
   EXPECT_TRUE( second.symbol()->statusCurrent() );
   EXPECT_EQ( second.symbol()->notifier()->version(), 2u );
}

TEST_F( TagSetProducerTest, aReactionMayDropTheProducer ) {
   const auto symbol = set->symbol();
   SymbolWatcher watcher( symbol );
   watcher.reaction = [ this ] { set = nullptr; };
   auto & raw = *set;
   raw.publish();
   EXPECT_EQ( set, nullptr );
   EXPECT_EQ( symbol->status(), nullptr );
   EXPECT_TRUE( symbol->statusCurrent() );
   EXPECT_EQ( symbol->notifier()->version(), 2u );
}

TEST_F( TagSetProducerTest, aReactionMayEditAndPublishTheSet ) {
   SymbolWatcher watcher( set->symbol() );
   set->tagIs( 1 );
   watcher.reaction = [ this ] {
      EXPECT_TRUE( set->tagIs( 2 ) );
      EXPECT_TRUE( set->edited() && !set->symbol()->statusCurrent() );
      set->publish();
   };
   set->publish();
   EXPECT_EQ( set->symbol()->status()->tag().count(), 2u );
   EXPECT_TRUE( !set->edited() && set->symbol()->statusCurrent() );
   EXPECT_EQ( set->symbol()->notifier()->version(), 2u );
}

TEST_F( TagSetProducerTest, standsASymbolWithoutANotifier ) {
   const auto symbol = set->symbol();
   symbol->notifierIs( nullptr );
   set->publish();
   EXPECT_NE( symbol->status(), nullptr );
   set = nullptr;
   EXPECT_EQ( symbol->status(), nullptr );
}

}   // namespace
}   // namespace Routing::RouteMap
