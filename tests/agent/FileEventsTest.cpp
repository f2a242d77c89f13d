#include "command/FileEvents.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <string>

namespace Agent {
namespace {

namespace fs = std::filesystem;

/// A folder with the file "followed", which is removed with all that is in it.
class Events : public testing::Test {
 protected:
   Events() {
      std::string pattern = testing::TempDir() + "eventsXXXXXX";
      EXPECT_NE( mkdtemp( pattern.data() ), nullptr );
      folder_ = pattern;
      write( "followed" );
   }
   ~Events() override { fs::remove_all( folder_ ); }

   fs::path path( const std::string & name ) const { return folder_ / name; }
   void write( const std::string & name ) const { std::ofstream( path( name ) ) << "text\n"; }
   void follow( FileEvents & events, const std::string & name ) const { events.filesAre( { path( name ) } ); }

   fs::path folder_;
};

TEST_F( Events, aCompleteSaveIsTold ) {
   struct Save {
      const char * what;
      std::function<void()> save;
      bool isTold = true;
      bool inProgress = false;
   };
   const Save saves[] = {
      { "nothing", [] {}, false },
      { "in place", [ & ] { write( "followed" ); } },
      { "another file", [ & ] { write( "other" ); }, false },
      { "a rename over it", [ & ] { fs::rename( path( "other" ), path( "followed" ) ); } },
      { "deleted", [ & ] { fs::remove( path( "followed" ) ); }, true, true },
      { "created again", [ & ] { write( "followed" ); } },
      { "renamed away", [ & ] { fs::rename( path( "followed" ), path( "backup" ) ); }, true, true },
      { "renamed back", [ & ] { fs::rename( path( "backup" ), path( "followed" ) ); } },
   };
   FileEvents events;
   follow( events, "followed" );
   ASSERT_TRUE( events.watchesAll() );
   for( const auto & [ what, save, isTold, inProgress ] : saves ) {
      save();
      EXPECT_EQ( events.take(), isTold ) << what;
      EXPECT_EQ( events.inProgress(), inProgress ) << what;
      EXPECT_FALSE( events.take() ) << what;
   }
}

TEST_F( Events, aFileThatIsStillOpenIsInProgress ) {
   FileEvents events;
   follow( events, "followed" );
   {
      std::ofstream file( path( "followed" ) );
      file << "half" << std::flush;
      EXPECT_TRUE( events.take() );
      EXPECT_TRUE( events.inProgress() );
      write( "other" );
      events.take();
      EXPECT_TRUE( events.inProgress() );
   }
   EXPECT_TRUE( events.take() );
   EXPECT_FALSE( events.inProgress() );
}

TEST_F( Events, eachLinkOnTheWayIsFollowed ) {
   fs::create_directories( path( "one" ) );
   fs::create_directories( path( "two" ) );
   write( "one/policy" );
   write( "two/policy" );
   fs::create_directory_symlink( "one", path( "now" ) );
   fs::create_symlink( path( "now/policy" ), path( "link" ) );
   FileEvents events;
   follow( events, "link" );
   ASSERT_TRUE( events.watchesAll() );
   const auto isTold = [ & ]( const char * what, bool told ) {
      EXPECT_EQ( events.take(), told ) << what;
      follow( events, "link" );
   };
   write( "one/policy" );
   isTold( "the file behind the links", true );
   write( "two/policy" );
   isTold( "the same name elsewhere", false );
   fs::create_directory_symlink( "two", path( "next" ) );
   isTold( "another link", false );
   fs::rename( path( "next" ), path( "now" ) );
   isTold( "a directory's link that leads elsewhere", true );
   write( "two/policy" );
   isTold( "the file behind the new link", true );
   write( "one/policy" );
   isTold( "the file behind the old link", false );
}

TEST_F( Events, theDeletionOfADirectoryThatIsNotFollowedAnyMoreIsNotTold ) {
   fs::create_directories( path( "inner" ) );
   FileEvents events;
   follow( events, "inner/policy" );
   fs::remove_all( path( "inner" ) );   // told to the watch that is removed next
   follow( events, "followed" );
   EXPECT_FALSE( events.take() );
   EXPECT_FALSE( events.inProgress() );
}

TEST_F( Events, aDirectoryThatIsNotFollowedAnyMoreIsNotInProgress ) {
   fs::create_directories( path( "inner" ) );
   write( "inner/policy" );
   FileEvents events;
   follow( events, "inner/policy" );
   fs::remove_all( path( "inner" ) );
   EXPECT_TRUE( events.take() );
   follow( events, "inner/policy" );
   EXPECT_TRUE( events.inProgress() );
   follow( events, "other" );
   EXPECT_FALSE( events.inProgress() );
}

// The files of a directory are listed again in each step: one that is being replaced is missing for a moment.
TEST_F( Events, aFileThatIsMissingForAMomentIsInProgress ) {
   FileEvents events;
   events.filesAre( { path( "followed" ), path( "other" ) } );
   fs::remove( path( "followed" ) );
   EXPECT_TRUE( events.take() );
   events.filesAre( { path( "other" ) } );
   EXPECT_TRUE( events.inProgress() );
}

TEST_F( Events, aLinkThatIsReplacedIsInProgressUntilItIsBack ) {
   fs::create_directories( path( "one" ) );
   write( "one/policy" );
   fs::create_directory_symlink( "one", path( "now" ) );
   FileEvents events;
   follow( events, "now/policy" );
   fs::remove( path( "now" ) );
   EXPECT_TRUE( events.take() );
   follow( events, "now/policy" );
   EXPECT_TRUE( events.inProgress() );
}

TEST_F( Events, aDirectoryThatComesBackIsFollowedAgain ) {
   fs::create_directories( path( "inner" ) );
   write( "inner/policy" );
   FileEvents events;
   follow( events, "inner/policy" );
   fs::remove_all( path( "inner" ) );
   EXPECT_TRUE( events.take() );
   follow( events, "inner/policy" );
   EXPECT_FALSE( events.watchesAll() );
   EXPECT_EQ( events.fault(), "" );
   fs::create_directories( path( "inner" ) );
   follow( events, "inner/policy" );
   EXPECT_TRUE( events.watchesAll() );
   write( "inner/policy" );
   EXPECT_TRUE( events.take() );
}

TEST_F( Events, aDirectoryThatIsRenamedOrReplacedIsTold ) {
   fs::create_directories( path( "inner" ) );
   FileEvents events;
   follow( events, "inner/policy" );
   fs::rename( path( "inner" ), path( "away" ) );
   EXPECT_TRUE( events.take() );
   EXPECT_TRUE( events.inProgress() );
   events.endProgress();
   follow( events, "inner/policy" );
   EXPECT_FALSE( events.watchesAll() );

   fs::create_directories( path( "inner" ) );
   follow( events, "inner/policy" );
   write( "away/policy" );
   EXPECT_FALSE( events.take() );
   fs::rename( path( "away" ), path( "inner" ) );   // which is empty
   EXPECT_TRUE( events.take() );
   follow( events, "inner/policy" );
   write( "inner/policy" );
   EXPECT_TRUE( events.take() );
}

TEST_F( Events, aPathMayEndBehindASlash ) {
   for( const char * name : { "inner/", "inner/." } ) {
      fs::create_directories( path( "inner" ) );
      FileEvents events;
      follow( events, name );
      EXPECT_TRUE( events.watchesAll() );
      fs::remove_all( path( "inner" ) );
      EXPECT_TRUE( events.take() ) << name;
   }
}

TEST_F( Events, aLinkToItselfEnds ) {
   fs::create_symlink( "loop", path( "loop" ) );
   FileEvents events;
   follow( events, "loop" );
   EXPECT_TRUE( events.watchesAll() );
}

TEST_F( Events, theReasonIsToldIfTheKernelHasNoMoreOfThem ) {
   rlimit usual{};
   ASSERT_EQ( getrlimit( RLIMIT_NOFILE, &usual ), 0 );
   const rlimit none{ 0, usual.rlim_max };
   ASSERT_EQ( setrlimit( RLIMIT_NOFILE, &none ), 0 );
   FileEvents events;
   ASSERT_EQ( setrlimit( RLIMIT_NOFILE, &usual ), 0 );
   EXPECT_LT( events.fd(), 0 );
   EXPECT_NE( events.fault(), "" );
   follow( events, "followed" );
   EXPECT_FALSE( events.watchesAll() );
   EXPECT_FALSE( events.take() );
}

}   // namespace
}   // namespace Agent
