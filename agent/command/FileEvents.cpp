#include "command/FileEvents.h"

#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <deque>
#include <filesystem>
#include <system_error>

namespace Agent {

namespace fs = std::filesystem;

namespace {

constexpr int kMostLinks = 40;   // on the way to a file; the kernel follows no more
constexpr uint32_t kComplete = IN_CLOSE_WRITE | IN_MOVED_TO;
constexpr uint32_t kInProgress = IN_MODIFY | IN_CREATE | IN_DELETE | IN_MOVED_FROM;
constexpr uint32_t kOfDirectory = IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;

// The components that name something.
std::deque<fs::path> namesOf( const fs::path & path ) {
   std::deque<fs::path> names( path.begin(), path.end() );
   std::erase_if( names, []( const fs::path & name ) { return name.empty() || name == "." || name == "/"; } );
   return names;
}

// Calls `visit( directory, name )` for each name that leads to the file: its own, and those of the symbolic links on the way.
template <class Visit>
void forEachName( const fs::path & file, Visit && visit ) {
   fs::path directory = file.is_absolute() ? "/" : ".";
   std::deque<fs::path> rest = namesOf( file );
   for( int links = 0; !rest.empty() && links <= kMostLinks; ) {
      const fs::path name = rest.front();
      rest.pop_front();
      const fs::path path = directory / name;
      std::error_code fault;
      const fs::path target = fs::read_symlink( path, fault );
      const bool isLink = !fault;
      if( isLink || rest.empty() ) visit( directory.string(), name.string() );
      if( isLink ) {
         ++links;
         const auto names = namesOf( target );
         rest.insert( rest.begin(), names.begin(), names.end() );
      }
      if( !isLink )
         directory = path;
      else if( target.is_absolute() )
         directory = "/";
   }
}

}   // namespace

FileEvents::FileEvents() : fd_( inotify_init1( IN_NONBLOCK | IN_CLOEXEC ) ) {
   if( fd_ < 0 ) fault_ = std::generic_category().message( errno );
}

FileEvents::~FileEvents() {
   if( fd_ >= 0 ) close( fd_ );
}

void FileEvents::filesAre( const std::vector<std::string> & files ) {
   if( fd_ < 0 ) return;
   const auto before = std::exchange( watches_, {} );
   names_.clear();
   fault_.clear();
   watchesAll_ = true;
   for( const auto & file : files )
      forEachName( file, [ & ]( const std::string & directory, const std::string & name ) { watch( directory, name ); } );
   std::set<int> used;
   for( const auto & [ directory, watch ] : watches_ ) used.insert( watch );
   // What was deleted in a directory that is followed, or on the way to it, may come back: until then, the change is in progress.
   if( watchesAll_ ) std::erase_if( inProgress_, [ & ]( const Name & name ) { return name.first >= 0 && !used.contains( name.first ); } );
   for( const auto & [ directory, watch ] : before )
      if( !used.contains( watch ) ) inotify_rm_watch( fd_, watch );
}

void FileEvents::watch( const std::string & directory, const std::string & name ) {
   auto at = watches_.find( directory );
   if( at == watches_.end() ) {
      const int watch = inotify_add_watch( fd_, directory.c_str(), kComplete | kInProgress | kOfDirectory );
      if( watch < 0 ) {
         watchesAll_ = false;
         if( errno != ENOENT && errno != ENOTDIR ) fault_ = std::generic_category().message( errno );
         return;
      }
      at = watches_.emplace( directory, watch ).first;
   }
   names_.emplace( at->second, name );
}

bool FileEvents::isWatched( int watch ) const {
   return std::ranges::any_of( watches_, [ = ]( const auto & watched ) { return watched.second == watch; } );
}

bool FileEvents::take() {
   bool changed = false;
   alignas( inotify_event ) char buffer[ 1 << 14 ];
   for( ssize_t size; fd_ >= 0 && ( size = read( fd_, buffer, sizeof buffer ) ) > 0; )
      for( const char * at = buffer; at < buffer + size; ) {
         inotify_event event;
         std::memcpy( &event, at, sizeof event );
         const Name name( event.wd, event.len ? at + sizeof event : "" );
         at += sizeof event + event.len;
         const bool isOfDirectory =
            event.mask & IN_Q_OVERFLOW || ( event.mask & ( IN_DELETE_SELF | IN_MOVE_SELF ) && isWatched( event.wd ) );
         if( !isOfDirectory && !names_.contains( name ) ) continue;
         changed = true;
         if( isOfDirectory || event.mask & kInProgress )
            inProgress_.insert( name );
         else if( event.mask & kComplete )
            inProgress_.erase( name );
      }
   return changed;
}

}   // namespace Agent
