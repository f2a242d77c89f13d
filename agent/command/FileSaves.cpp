#include "command/FileSaves.h"

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <system_error>
#include <utility>

#include "command/PolicyFiles.h"

namespace Agent {

namespace {

constexpr std::chrono::milliseconds kTogether{ 20 };   // files that are saved within this time of each other belong together

}   // namespace

FileSaves::FileSaves( std::vector<std::string> given, milliseconds interval, milliseconds untold, Now now )
      : given_( std::move( given ) ), interval_( interval ), untold_( untold ), now_( std::move( now ) ) {
   follow();   // before the first look: no change is missed
   files_ = policyFilesOf( given_ );
   seen_ = stamps_ = stamps();
}

FileSaves::milliseconds FileSaves::wait() const {
   if( !isPending_ ) return events_.watchesAll() ? untold_ : interval_;
   return std::max( std::chrono::ceil<milliseconds>( lastChange_ + quietTime() - now_() ), milliseconds( 0 ) );
}

bool FileSaves::look() {
   const auto before = now_();   // what happens from now on may be missed
   const bool isTold = events_.take();
   follow();
   auto now = stamps();
   if( isTold || now != seen_ ) {
      lastChange_ = now_();
      isLastTold_ = isTold;
   }
   seen_ = now;
   isChanged_ = isChanged_ || isTold;
   isPending_ = isChanged_ || now != stamps_;
   const bool isQuiet = before - lastChange_ >= quietTime();
   const bool isComplete = isTold && !events_.inProgress() && now.size() == 1;
   if( !isPending_ || !( isQuiet || isComplete ) ) return false;
   events_.endProgress();
   isChanged_ = isPending_ = false;
   files_ = policyFilesOf( given_ );
   stamps_ = std::move( now );
   return true;
}

FileSaves::Stamp FileSaves::stampOf( const std::string & file ) {
   struct stat s {};
   if( ::stat( file.c_str(), &s ) != 0 ) return std::nullopt;
   return std::tuple<int64_t, int64_t, uint64_t, uint64_t>( s.st_mtim.tv_sec, s.st_mtim.tv_nsec, s.st_size, s.st_ino );
}

std::vector<FileSaves::Stamp> FileSaves::stamps() const {
   std::vector<Stamp> all;
   for( const auto & file : policyFilesOf( given_ ) ) all.push_back( stampOf( file ) );
   return all;
}

void FileSaves::follow() {
   auto files = policyFilesOf( given_ );
   for( const auto & given : given_ )   // of a directory: any new file may count
      if( std::error_code ignored; std::filesystem::is_directory( given, ignored ) ) files.push_back( given + "/frr.conf" );
   std::ranges::copy( files_, std::back_inserter( files ) );   // one that is missing for a moment is told when it is back
   events_.filesAre( files );
}

// Files that are closed may belong together; what the kernel has not told may be half a save.
FileSaves::Clock::duration FileSaves::quietTime() const noexcept {
   return isLastTold_ && !events_.inProgress() ? kTogether : interval_;
}

}   // namespace Agent
