#include "command/FileSaves.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace Agent {
namespace {

namespace fs = std::filesystem;
using std::chrono::milliseconds;

constexpr milliseconds kInterval{ 250 };
constexpr milliseconds kUntold{ 2000 };
constexpr milliseconds kTogether{ 20 };

/// A folder that is removed with all that is in it, and a clock that stands until the test moves it. An event of a file is told as soon as the
/// call that caused it has returned.
class Saves : public testing::Test {
 protected:
   Saves() {
      std::string pattern = testing::TempDir() + "savesXXXXXX";
      EXPECT_NE( mkdtemp( pattern.data() ), nullptr );
      folder_ = pattern;
      fs::create_directory( path( "d" ) );
      write( "d/a.conf" );
      write( "d/b.conf" );
   }
   ~Saves() override { fs::remove_all( folder_ ); }

   fs::path path( const std::string & name ) const { return folder_ / name; }
   // Each text has another size.
   void write( const std::string & name ) { std::ofstream( path( name ) ) << std::string( ++size_, 'x' ); }
   void follow( const std::vector<std::string> & names ) {
      std::vector<std::string> files;
      for( const auto & name : names ) files.push_back( path( name ) );
      saves_.emplace( files, kInterval, kUntold,
                      [ this ] { return std::exchange( now_, now_ + std::exchange( jump_, milliseconds( 0 ) ) ); } );
      EXPECT_EQ( saves_->fault(), "" );
   }

   bool look() { return saves_->look(); }
   // Nothing happens to the files: the change is complete in that time, and not before. The caller sleeps for wait(), or another file wakes it
   // every few milliseconds.
   void expectCompleteIn( milliseconds time, bool isWoken ) {
      for( const auto end = now_ + time; now_ < end; ) {
         ASSERT_EQ( saves_->wait(), end - now_ );
         now_ = isWoken ? std::min<FileSaves::Clock::time_point>( end, now_ + milliseconds( 3 ) ) : end;
         if( isWoken ) write( "d/.a.conf.swp" );
         ASSERT_EQ( look(), now_ == end );
      }
      EXPECT_EQ( saves_->wait(), kUntold );
      EXPECT_FALSE( look() ) << "nothing more has changed";
   }
   // Time passes, and the change goes on.
   void expectNothingFor( milliseconds time, bool isWoken ) {
      const auto end = now_ + time;
      while( isWoken && now_ < end ) {
         write( "d/.a.conf.swp" );
         ASSERT_FALSE( look() );
         now_ += milliseconds( 5 );
      }
      now_ = end;
      ASSERT_FALSE( look() );
   }
   template <class Test>
   void eitherWay( Test test ) {
      for( const bool isWoken : { false, true } ) {
         SCOPED_TRACE( isWoken ? "another file is written meanwhile" : "nothing else happens" );
         test( isWoken );
      }
   }

   fs::path folder_;
   size_t size_ = 0;
   FileSaves::Clock::time_point now_{};
   milliseconds jump_{ 0 };   // behind the next look at the clock
   std::optional<FileSaves> saves_;
};

TEST_F( Saves, aFileIsCompleteWhenItIsClosedOrRenamed ) {
   follow( { "d/a.conf" } );
   EXPECT_FALSE( look() );
   EXPECT_EQ( saves_->wait(), kUntold );
   write( "d/a.conf" );
   EXPECT_TRUE( look() );
   write( "d/new" );
   EXPECT_FALSE( look() );
   fs::rename( path( "d/new" ), path( "d/a.conf" ) );
   EXPECT_TRUE( look() );
   EXPECT_FALSE( look() );
   EXPECT_EQ( saves_->wait(), kUntold );
}

TEST_F( Saves, aFileThatStaysOpenIsCompleteWhenItDoesNotChangeForTheInterval ) {
   eitherWay( [ & ]( bool isWoken ) {
      follow( { "d/a.conf" } );
      std::ofstream file( path( "d/a.conf" ) );
      file << "half" << std::flush;
      EXPECT_FALSE( look() );
      expectNothingFor( milliseconds( 240 ), isWoken );
      file << "more" << std::flush;
      EXPECT_FALSE( look() );
      expectCompleteIn( kInterval, isWoken );
      file << "still more" << std::flush;
      EXPECT_FALSE( look() );
      expectNothingFor( milliseconds( 100 ), isWoken );
      file.close();
      EXPECT_TRUE( look() );
   } );
}

TEST_F( Saves, filesThatAreSavedTogetherAreCompleteTogether ) {
   for( const std::vector<std::string> & given : { std::vector<std::string>{ "d" }, { "d/a.conf", "d/b.conf" } } )
      eitherWay( [ & ]( bool isWoken ) {
         follow( given );
         write( "d/a.conf" );
         EXPECT_FALSE( look() );
         expectNothingFor( milliseconds( 10 ), isWoken );
         write( "d/b.conf" );
         EXPECT_FALSE( look() );
         expectCompleteIn( kTogether, isWoken );
      } );
}

TEST_F( Saves, aFileThatComesBackWithinTheIntervalWasNotDeleted ) {
   for( const std::vector<std::string> & given : { std::vector<std::string>{ "d" }, { "d/a.conf", "d/b.conf" } } )
      eitherWay( [ & ]( bool isWoken ) {
         follow( given );
         fs::rename( path( "d/b.conf" ), path( "d/b.conf~" ) );
         EXPECT_FALSE( look() );
         expectNothingFor( milliseconds( 200 ), isWoken );
         write( "d/b.conf" );
         EXPECT_FALSE( look() );
         expectCompleteIn( kTogether, isWoken );

         fs::remove( path( "d/b.conf" ) );
         EXPECT_FALSE( look() );
         expectCompleteIn( kInterval, isWoken );
         write( "d/b.conf" );
      } );
}

// While the link leads nowhere, it is no file of the directory.
TEST_F( Saves, aFileBehindALinkComesBackToo ) {
   eitherWay( [ & ]( bool isWoken ) {
      fs::create_directories( path( "store" ) );
      write( "store/b" );
      fs::remove( path( "d/b.conf" ) );
      fs::create_symlink( "../store/b", path( "d/b.conf" ) );
      follow( { "d" } );
      fs::remove( path( "store/b" ) );
      EXPECT_FALSE( look() );
      expectNothingFor( milliseconds( 200 ), isWoken );
      write( "store/b" );
      EXPECT_FALSE( look() );
      expectCompleteIn( kTogether, isWoken );
   } );
}

TEST_F( Saves, aNewFileMayBeHalfWrittenUntilItsEndIsTold ) {
   eitherWay( [ & ]( bool isWoken ) {
      follow( { "d" } );
      write( "d/a.conf" );
      EXPECT_FALSE( look() );
      std::ofstream file( path( "d/new.conf" ) );
      file << "half" << std::flush;
      EXPECT_FALSE( look() );
      expectNothingFor( milliseconds( 200 ), isWoken );
      file.close();
      EXPECT_FALSE( look() );
      expectCompleteIn( kTogether, isWoken );
      fs::remove( path( "d/new.conf" ) );
   } );
}

TEST_F( Saves, aChangeThatTheKernelDoesNotTellIsCompleteAfterTheInterval ) {
   fs::create_hard_link( path( "d/a.conf" ), path( "alias" ) );
   eitherWay( [ & ]( bool isWoken ) {
      follow( { "d/a.conf" } );
      now_ += kUntold;
      write( "alias" );
      EXPECT_FALSE( look() );
      expectNothingFor( milliseconds( 200 ), isWoken );
      write( "alias" );
      EXPECT_FALSE( look() );
      expectCompleteIn( kInterval, isWoken );
   } );
}

TEST_F( Saves, theIntervalBeginsWhenTheChangeIsSeen ) {
   follow( { "d/a.conf" } );
   std::ofstream file( path( "d/a.conf" ) );
   file << "half" << std::flush;
   jump_ = milliseconds( 300 );   // the process has slept inside the look
   EXPECT_FALSE( look() );
   expectCompleteIn( kInterval, false );
}

}   // namespace
}   // namespace Agent
