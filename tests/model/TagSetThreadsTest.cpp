// Readers of a tag set on other threads, while new generations come and old ones go.
#include <gtest/gtest.h>

#include "substrate/routemap/TagSetProducer.h"
#include "tests/model/GenerationReaders.h"

namespace {

using namespace Routing::RouteMap;

constexpr uint32_t kTags = 2000;

TEST( TagSetThreads, oldGenerationsAnswerWhileNewOnesCome ) {
   const auto table = Quoin::makeNode<TagSetSymbolDedupTable>();
   TagSetProducer producer( table, "TS" );
   for( uint32_t tag = 1; tag < kTags; ++tag ) producer.tagIs( tag );
   producer.publish();

   GenerationReaders<TagSetStatus> readers( { producer.symbol()->status(), 0 }, []( const auto & generation, uint32_t i ) {
      const auto & tags = generation.list->tag();
      const uint32_t other = i * 7919 % kTags;
      return tags.contains( generation.missing ) + ( tags.contains( other ) != ( other != generation.missing ) );
   } );

   for( uint32_t i = 1; i < 3000; ++i ) {
      const uint32_t missing = i * 31 % kTags, before = readers.missing();
      if( missing == before ) continue;
      EXPECT_TRUE( producer.tagDel( missing ) );
      EXPECT_TRUE( producer.tagIs( before ) );
      producer.publish();
      readers.presentIs( { producer.symbol()->status(), missing } );
   }
   EXPECT_EQ( readers.end(), 0 );
}

}   // namespace
