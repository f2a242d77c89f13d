#include "substrate/routemap/PrefixListProducer.h"

#include <memory>
#include <string>

#include <gmock/gmock.h>

#include "tests/substrate/routemap/SymbolWatcher.h"

namespace Routing::RouteMap {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class PrefixListProducerTest : public testing::Test {
 protected:
   std::unique_ptr<PrefixListProducer> made( const char * name = "PL" ) {
      return std::make_unique<PrefixListProducer>( table, name, Ferule::AddressFamily::ipv4 );
   }
   static PrefixListEntry entry( uint32_t seqno, const char * prefix = "10.0.0.0/8" ) {
      return { seqno, Acl::MatchPermit::permit, Ferule::IpGenPrefix( prefix ), {}, {} };
   }
   const Quoin::Ptr<PrefixListSymbolDedupTable> table = Quoin::makeNode<PrefixListSymbolDedupTable>();
};

TEST_F( PrefixListProducerTest, theNameIsUndefinedUntilTheFirstPublication ) {
   const auto list = made();
   EXPECT_EQ( list->symbol()->status(), nullptr );
   EXPECT_TRUE( list->symbol()->statusCurrent() );
   EXPECT_EQ( list->symbol()->notifier()->version(), 0u );
   EXPECT_FALSE( list->edited() );
   list->publish();
   ASSERT_NE( list->symbol()->status(), nullptr ) << "a list without entries is not undefined";
   EXPECT_EQ( list->symbol()->status()->trie().prefixCount(), 0u );
   EXPECT_EQ( list->symbol()->status()->name(), "PL" );
}

TEST_F( PrefixListProducerTest, findsTheSymbolOfThoseWhoReferredToTheNameFirst ) {
   const auto referred = table->symbol( "PL" );
   EXPECT_EQ( made()->symbol(), referred );
   EXPECT_NE( made( "OTHER" )->symbol(), referred );
}

TEST_F( PrefixListProducerTest, aChangeIsToldOfOnceWhenAllIsInPlace ) {
   const auto list = made();
   const SymbolWatcher watcher( list->symbol() );
   EXPECT_FALSE( list->entryIs( entry( 10 ) ) );
   EXPECT_FALSE( list->entryIs( entry( 20, "10.1.0.0/16" ) ) );
   EXPECT_TRUE( list->edited() );
   EXPECT_THAT( watcher.take(), ElementsAre( "not current" ) ) << "the first edit";
   EXPECT_EQ( list->symbol()->status(), nullptr );
   list->publish();
   EXPECT_THAT( watcher.take(), ElementsAre( "status", "current", "version 1, current, defined" ) );
   EXPECT_FALSE( list->edited() );
   EXPECT_EQ( list->symbol()->status()->trie().prefixCount(), 2u );
}

TEST_F( PrefixListProducerTest, whoReadsDuringAChangeReadsTheOldList ) {
   const auto list = made();
   EXPECT_FALSE( list->entryIs( entry( 10 ) ) );
   list->publish();
   const auto before = list->symbol()->status();
   EXPECT_TRUE( list->entryDel( 10 ) );
   EXPECT_FALSE( list->symbol()->statusCurrent() );
   EXPECT_EQ( list->symbol()->status(), before );
   EXPECT_EQ( before->trie().prefixCount(), 1u );
   list->publish();
   EXPECT_EQ( before->trie().prefixCount(), 1u ) << "what was published is not written again";
   EXPECT_EQ( list->symbol()->status()->trie().prefixCount(), 0u );
   EXPECT_TRUE( list->symbol()->statusCurrent() );
}

TEST_F( PrefixListProducerTest, anEditThatCannotBeBeginsNothing ) {
   const auto list = made();
   EXPECT_FALSE( list->entryIs( entry( 10 ) ) );
   list->publish();
   const SymbolWatcher watcher( list->symbol() );
   const auto error = list->entryIs( entry( 10 ) );
   ASSERT_TRUE( error );
   EXPECT_EQ( error->reason, PrefixListError::Reason::duplicateSeqno );
   EXPECT_FALSE( list->entryDel( 20 ) );
   EXPECT_FALSE( list->edited() );
   EXPECT_THAT( watcher.take(), IsEmpty() );
   EXPECT_EQ( list->entries().size(), 1u );
}

TEST_F( PrefixListProducerTest, theNameIsUndefinedAgainWhenItGoes ) {
   auto list = made();
   list->publish();
   const auto symbol = list->symbol();
   const SymbolWatcher watcher( symbol );
   list = nullptr;
   EXPECT_THAT( watcher.take(), ElementsAre( "not current", "status", "current", "version 2, current, undefined" ) );
   EXPECT_EQ( table->symbol( "PL" ), symbol ) << "held by who refers to it";
   list = made();
   list->publish();
   EXPECT_THAT( watcher.take(), ElementsAre( "not current", "status", "current", "version 3, current, defined" ) );
}

TEST_F( PrefixListProducerTest, theLastUserOfASymbolIsItsProducerAtTheLatest ) {
   auto list = made();
   list->publish();
   EXPECT_EQ( table->count(), 1u );
   list = nullptr;
   EXPECT_EQ( table->count(), 0u );
}

}   // namespace
}   // namespace Routing::RouteMap
