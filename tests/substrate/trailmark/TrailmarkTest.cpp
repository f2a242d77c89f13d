#include "substrate/trailmark/Trailmark.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

namespace {

using std::chrono::nanoseconds;
using testing::IsEmpty;
using testing::SizeIs;
using Trailmark::BlockTimer;
using Trailmark::Handle;
using Trailmark::MsgDesc;
using Trailmark::Record;

constexpr uint64_t kRing = Handle::kRecords;

class TrailmarkTest : public testing::Test {
 protected:
   /// Writes records up to number `last`, each with its number as its time.
   void writeUpTo( uint64_t last ) {
      for( uint64_t number = ring->written() + 1; number <= last; ++number ) ring->write( message, nanoseconds( number ) );
   }
   /// Expects the records `first` to `last` of writeUpTo(), and no other.
   void expectNumbers( uint64_t first, uint64_t last ) const {
      const auto records = ring->read();
      ASSERT_EQ( records.size(), last - first + 1 );
      for( uint64_t i = 0; i < records.size(); ++i ) {
         ASSERT_EQ( records[ i ].number, first + i );
         ASSERT_EQ( records[ i ].message, &message );
         ASSERT_EQ( records[ i ].took, nanoseconds( first + i ) );
      }
   }
   const std::unique_ptr<Handle> ring = std::make_unique<Handle>();
   const MsgDesc message{ "message" };
};

const MsgDesc & siteA() {
   static const MsgDesc desc( "site A" );
   return desc;
}

TEST( MsgDesc, hasItsTextAndAnIdOfItsOwn ) {
   const MsgDesc a( "same" ), b( "same" ), c( "other" );
   EXPECT_STREQ( a.text(), "same" );
   EXPECT_STREQ( c.text(), "other" );
   EXPECT_GE( a.id(), 1u );
   EXPECT_EQ( b.id(), a.id() + 1 );
   EXPECT_EQ( c.id(), b.id() + 1 );
}

TEST( MsgDesc, isRegisteredOncePerCallSite ) {
   const uint32_t id = siteA().id();
   const MsgDesc other( "other" );
   EXPECT_EQ( siteA().id(), id );
   EXPECT_NE( other.id(), id );
}

TEST( MsgDesc, idsOfManyThreadsAreDistinct ) {
   constexpr int kThreads = 8, kEach = 100;
   std::vector<std::vector<uint32_t>> ids( kThreads );
   std::vector<std::thread> threads;
   for( auto & mine : ids )
      threads.emplace_back( [ &mine ] {
         for( int i = 0; i < kEach; ++i ) mine.push_back( MsgDesc( "threaded" ).id() );
      } );
   for( auto & t : threads ) t.join();
   std::vector<uint32_t> all;
   for( const auto & mine : ids ) all.insert( all.end(), mine.begin(), mine.end() );
   std::sort( all.begin(), all.end() );
   EXPECT_EQ( std::adjacent_find( all.begin(), all.end() ), all.end() );
   EXPECT_THAT( all, SizeIs( kThreads * kEach ) );
}

TEST_F( TrailmarkTest, startsEmpty ) {
   EXPECT_EQ( ring->written(), 0u );
   EXPECT_THAT( ring->read(), IsEmpty() );
}

TEST_F( TrailmarkTest, aRecordIsReadAsItWasWritten ) {
   const MsgDesc other( "other" );
   ring->write( message, nanoseconds( 5 ) );
   ring->write( other, nanoseconds( 0 ) );
   EXPECT_EQ( ring->written(), 2u );
   const auto records = ring->read();
   ASSERT_THAT( records, SizeIs( 2 ) );
   EXPECT_EQ( records[ 0 ].number, 1u );
   EXPECT_EQ( records[ 0 ].message, &message );
   EXPECT_EQ( records[ 0 ].took, nanoseconds( 5 ) );
   EXPECT_EQ( records[ 1 ].number, 2u );
   EXPECT_EQ( records[ 1 ].message, &other );
   EXPECT_EQ( records[ 1 ].took, nanoseconds( 0 ) );
}

TEST_F( TrailmarkTest, readingTakesNothingAway ) {
   writeUpTo( 3 );
   expectNumbers( 1, 3 );
   expectNumbers( 1, 3 );
}

TEST_F( TrailmarkTest, theRingKeepsTheLastRecords ) {
   const struct {
      const char * name;
      uint64_t written, first;
   } rows[] = {
      { "one below the ring", kRing - 1, 1 },  { "the whole ring", kRing, 1 },
      { "one above the ring", kRing + 1, 2 },  { "twice round less one", 2 * kRing - 1, kRing },
      { "twice round", 2 * kRing, kRing + 1 }, { "a third of the way on", 2 * kRing + kRing / 3, kRing + kRing / 3 + 1 },
   };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.name );
      writeUpTo( row.written );
      EXPECT_EQ( ring->written(), row.written );
      expectNumbers( row.first, row.written );
   }
}

TEST_F( TrailmarkTest, ringsAreApart ) {
   const auto other = std::make_unique<Handle>();
   writeUpTo( 2 );
   EXPECT_THAT( other->read(), IsEmpty() );
   EXPECT_EQ( other->written(), 0u );
}

TEST( Trailmark, theProcessHasOneHandle ) {
   EXPECT_EQ( &Trailmark::defaultTrailmarkHandle(), &Trailmark::defaultTrailmarkHandle() );
}

TEST_F( TrailmarkTest, aBlockTimerWritesWhenItsBlockEnds ) {
   {
      const BlockTimer timer( message, *ring );
      EXPECT_EQ( ring->written(), 0u );
   }
   const auto records = ring->read();
   ASSERT_THAT( records, SizeIs( 1 ) );
   EXPECT_EQ( records[ 0 ].message, &message );
   EXPECT_GE( records[ 0 ].took, nanoseconds( 0 ) );
}

TEST_F( TrailmarkTest, anInnerBlockIsWrittenFirstAndTakesNoLonger ) {
   const MsgDesc inner( "inner" );
   {
      const BlockTimer outerTimer( message, *ring );
      const BlockTimer innerTimer( inner, *ring );
   }
   const auto records = ring->read();
   ASSERT_THAT( records, SizeIs( 2 ) );
   EXPECT_EQ( records[ 0 ].message, &inner );
   EXPECT_EQ( records[ 1 ].message, &message );
   EXPECT_LE( records[ 0 ].took, records[ 1 ].took );
}

TEST_F( TrailmarkTest, aBlockTimerWritesWhenItsBlockIsLeftByAnException ) {
   try {
      const BlockTimer timer( message, *ring );
      throw 1;
   } catch( int ) {}
   EXPECT_EQ( ring->written(), 1u );
}

TEST_F( TrailmarkTest, aBlockTimerWritesToTheProcessUnlessTold ) {
   auto & process = Trailmark::defaultTrailmarkHandle();
   const uint64_t before = process.written();
   { const BlockTimer timer( message ); }
   EXPECT_EQ( process.written(), before + 1 );
   { const BlockTimer timer( message, *ring ); }
   EXPECT_EQ( process.written(), before + 1 );
   EXPECT_EQ( process.read().back().message, &message );
}

/// Each writer has a message of its own, and its times tell the writer: a record of two writers gives itself away.
class TrailmarkThreadsTest : public TrailmarkTest {
 protected:
   static constexpr uint64_t kWriters = 8;
   static constexpr int64_t kStride = int64_t( 1 ) << 40;

   void SetUp() override {
      for( uint64_t i = 0; i < kWriters; ++i ) messages.emplace_back( "writer" );
   }
   void start( uint64_t records ) {
      for( uint64_t w = 0; w < kWriters; ++w )
         writers.emplace_back( [ this, w, records ] {
            ++ready;
            while( ready < kWriters ) std::this_thread::yield();
            for( uint64_t i = 0; i < records; ++i ) ring->write( messages[ w ], nanoseconds( int64_t( w ) * kStride + int64_t( i ) ) );
         } );
   }
   void join() {
      for( auto & w : writers ) w.join();
   }
   /// Fails on a record that is not whole, on a number that comes twice, and on a writer whose records are out of order.
   void expectWhole( const std::vector<Record> & records ) const {
      ASSERT_LE( records.size(), kRing );
      std::vector<nanoseconds> last( kWriters, nanoseconds( -1 ) );
      for( size_t i = 0; i < records.size(); ++i ) {
         const auto & r = records[ i ];
         if( i > 0 ) { ASSERT_GT( r.number, records[ i - 1 ].number ); }
         const auto w = uint64_t( r.took.count() / kStride );
         ASSERT_LT( w, kWriters );
         ASSERT_EQ( r.message, &messages[ w ] ) << "record " << r.number;
         ASSERT_GT( r.took, last[ w ] ) << "record " << r.number;
         last[ w ] = r.took;
      }
   }
   std::deque<MsgDesc> messages;
   std::atomic<uint64_t> ready = 0;
   std::vector<std::thread> writers;
};

TEST_F( TrailmarkThreadsTest, nothingIsLostWithinTheRing ) {
   constexpr uint64_t kEach = kRing / kWriters;
   start( kEach );
   join();
   EXPECT_EQ( ring->written(), kRing );
   const auto records = ring->read();
   EXPECT_THAT( records, SizeIs( kRing ) );
   expectWhole( records );
}

TEST_F( TrailmarkThreadsTest, recordsAreWholeWhenWritersOvertakeEachOther ) {
   constexpr uint64_t kEach = 200'000;
   start( kEach );
   join();
   EXPECT_EQ( ring->written(), kWriters * kEach );
   const auto records = ring->read();
   expectWhole( records );
   ASSERT_FALSE( records.empty() );
   EXPECT_GT( records.front().number, kWriters * kEach - kRing ) << "an overtaken writer left an old record";
}

TEST_F( TrailmarkThreadsTest, recordsAreWholeWhileTheyAreWritten ) {
   constexpr uint64_t kEach = 200'000;
   start( kEach );
   do { expectWhole( ring->read() ); } while( !HasFatalFailure() && ring->written() < kWriters * kEach );
   join();
}

}   // namespace
