// Readers of a tag set on other threads, while new generations come and old ones go.
#include <atomic>
#include <mutex>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "substrate/routemap/TagSetProducer.h"

namespace {

using namespace Routing::RouteMap;

constexpr uint32_t kTags = 2000;

/// A set, and the tag that it alone has not.
struct Published {
   Quoin::Ptr<const TagSetStatus> set;
   uint32_t missing = 0;
};

TEST( TagSetThreads, oldGenerationsAnswerWhileNewOnesCome ) {
   const auto table = Quoin::makeNode<TagSetSymbolDedupTable>();
   TagSetProducer producer( table, "TS" );
   for( uint32_t tag = 1; tag < kTags; ++tag ) producer.tagIs( tag );
   producer.publish();

   std::mutex mutex;
   Published present{ producer.symbol()->status(), 0 };
   std::atomic<bool> ends = false;
   std::atomic<int> wrong = 0;
   std::atomic<size_t> asked = 0;
   std::vector<std::thread> readers;
   for( uint32_t t = 0; t < 2; ++t )
      readers.emplace_back( [ &, t ] {
         std::vector<Published> held( 5 );   // some are the last users of their generation
         for( uint32_t i = t; !ends || asked < 1000; ++i ) {
            Published & mine = held[ i % held.size() ];
            {
               Published taken;
               {
                  const std::lock_guard lock( mutex );
                  taken = present;
               }
               std::swap( mine, taken );
            }
            const uint32_t other = i * 7919 % kTags;
            wrong += mine.set->tag().contains( mine.missing );
            wrong += mine.set->tag().contains( other ) != ( other != mine.missing );
            ++asked;
         }
      } );

   for( uint32_t i = 1; i < 3000; ++i ) {
      const uint32_t missing = i * 31 % kTags, before = present.missing;
      if( missing == before ) continue;
      EXPECT_TRUE( producer.tagDel( missing ) );
      EXPECT_TRUE( producer.tagIs( before ) );
      producer.publish();
      Published next{ producer.symbol()->status(), missing };
      const std::lock_guard lock( mutex );
      std::swap( present, next );
   }
   ends = true;
   for( auto & reader : readers ) reader.join();
   EXPECT_EQ( wrong, 0 );
}

}   // namespace
