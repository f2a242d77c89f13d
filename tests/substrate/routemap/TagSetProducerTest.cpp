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
   EXPECT_TRUE( set->tags().count() == 1 && set->tags().contains( 7 ) );
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

}   // namespace
}   // namespace Routing::RouteMap
