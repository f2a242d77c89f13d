#include "substrate/trailmark/Trailmark.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <string_view>
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

TEST_F( TrailmarkTest, aRecordKeepsItsNameAndItsNumber ) {
   const struct {
      const char * name;
      std::string written, read;
   } rows[] = {
      { "empty", "", "" },
      { "short", "RM1", "RM1" },
      { "a word", "RM345678", "RM345678" },
      { "one below the room", std::string( Record::kNameSize - 1, 'n' ), std::string( Record::kNameSize - 1, 'n' ) },
      { "the whole room", std::string( Record::kNameSize, 'n' ), std::string( Record::kNameSize, 'n' ) },
      { "one beyond the room", std::string( Record::kNameSize, 'n' ) + "x", std::string( Record::kNameSize, 'n' ) },
      { "a zero byte", std::string( "a\0b", 3 ), "a" },
      { "a zero byte first", std::string( "\0b", 2 ), "" },
      { "far beyond", std::string( 1000, 'n' ), std::string( Record::kNameSize, 'n' ) },
   };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.name );
      for( const uint64_t value : { uint64_t( 0 ), uint64_t( 7 ), ~uint64_t( 0 ) } ) {
         ring->write( message, row.written, value );
         const auto record = ring->read().back();
         EXPECT_EQ( record.message, &message );
         EXPECT_EQ( record.name, row.read );
         EXPECT_EQ( record.value, value );
         EXPECT_LT( record.took, nanoseconds( 0 ) ) << "it is of no timed block";
         EXPECT_FALSE( record.timed() );
      }
   }
}

TEST_F( TrailmarkTest, aNameGoesWithItsRecord ) {
   const std::string old( Record::kNameSize, 'o' );
   for( uint64_t i = 0; i < kRing; ++i ) ring->write( message, old, i );
   ring->write( message, "new", 1 );   // in the place of the first
   ring->write( message, nanoseconds( 5 ) );
   const auto records = ring->read();
   ASSERT_THAT( records, SizeIs( kRing ) );
   EXPECT_EQ( records[ 0 ].name, old );
   EXPECT_EQ( records[ 0 ].value, 2u );
   EXPECT_EQ( records[ kRing - 2 ].name, "new" );
   EXPECT_EQ( records[ kRing - 1 ].name, "" );
   EXPECT_EQ( records[ kRing - 1 ].value, 0u );
}

TEST_F( TrailmarkTest, theTextHasNameAndNumberInPlace ) {
   const struct {
      const char * name;
      const char * message;
      std::string with;
      uint64_t value;
      std::string text;
   } rows[] = {
      { "no place", "compiled", "RM1", 10, "compiled" },
      { "a name", "map {}", "RM1", 10, "map RM1" },
      { "a name and a number", "map {} seq {} compiled", "RM1", 10, "map RM1 seq 10 compiled" },
      { "at both ends", "{} has {}", "RM1", 10, "RM1 has 10" },
      { "side by side", "{}{}", "RM1", 10, "RM110" },
      { "an empty name", "map {} seq {}", "", 0, "map  seq 0" },
      { "a third place", "{} {} {}", "RM1", 10, "RM1 10 {}" },
      { "the greatest number", "map {} seq {}", "RM1", ~uint64_t( 0 ), "map RM1 seq 18446744073709551615" },
      { "a name cut", "map {} seq {}", std::string( 60, 'n' ), 1, "map " + std::string( Record::kNameSize, 'n' ) + " seq 1" },
      { "a name with a place in it", "map {} seq {}", "a{}b", 10, "map a{}b seq 10" },
   };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.name );
      const MsgDesc desc( row.message );
      ring->write( desc, row.with, row.value );
      EXPECT_EQ( ring->read().back().text(), row.text );
   }
}

TEST_F( TrailmarkTest, theTextOfATimedBlockHasItsTime ) {
   const MsgDesc withPlaces( "block {} of {}" );
   ring->write( message, nanoseconds( 1 ) );
   ring->write( message, std::chrono::seconds( 5000 ) );
   ring->write( message, nanoseconds( 0 ) );   // shorter than the clock tells
   ring->write( withPlaces, nanoseconds( 0 ) );
   const auto records = ring->read();
   EXPECT_EQ( records[ 0 ].text(), "message took 1 ns" );
   EXPECT_EQ( records[ 1 ].text(), "message took 5000000000000 ns" );
   EXPECT_EQ( records[ 2 ].text(), "message took 0 ns" );
   EXPECT_EQ( records[ 3 ].text(), "block {} of {} took 0 ns" );
   for( const Record & record : records ) EXPECT_TRUE( record.timed() );
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

TEST_F( TrailmarkThreadsTest, namesAreWholeWhileTheyAreWritten ) {
   constexpr uint64_t kEach = 50'000;
   for( uint64_t w = 0; w < kWriters; ++w )
      writers.emplace_back( [ this, w ] {
         const std::string name( Record::kNameSize, char( 'a' + w ) );
         for( uint64_t i = 0; i < kEach; ++i ) ring->write( messages[ w ], std::string_view( name ).substr( i % Record::kNameSize ), w );
      } );
   const auto whole = [ this ]( const Record & r ) {
      return r.value < kWriters && r.message == &messages[ r.value ] && !r.name.empty() &&
         r.name == std::string( r.name.size(), char( 'a' + r.value ) );
   };
   do {
      EXPECT_THAT( ring->read(), testing::Each( testing::Truly( whole ) ) );
   } while( !HasFailure() && ring->written() < kWriters * kEach );
   join();
}

}   // namespace
