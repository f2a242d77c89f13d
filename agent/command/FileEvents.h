/// @file agent/command/FileEvents.h
/// The saves of files, told by the kernel (inotify). `watch` asks it whether the files of a policy must be read again.
#pragma once

#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace Agent {

/// Tells when files are saved, by the notifications of the kernel (inotify). It watches the directories in which the names of the files
/// stand, and those of all symbolic links on the way to them, so that a file may also be renamed, deleted, created again or reached by
/// another link. Threading: one thread.
///
/// A change on another machine, of a network file system, and a write under another name of the same file are not told.
class FileEvents {
 public:
   FileEvents();
   ~FileEvents();
   FileEvents( const FileEvents & ) = delete;
   FileEvents & operator=( const FileEvents & ) = delete;

   /// Follows these files from now on. Events that have not been taken are kept. A path may be missing, or name a directory: then its deletion
   /// and its creation are told, not what happens inside.
   void filesAre( const std::vector<std::string> & files );
   /// Whether all directories are watched: none is missing.
   bool watchesAll() const noexcept { return watchesAll_; }
   /// Why the kernel watches nothing, or not everything, although the directories exist; empty if it does.
   const std::string & fault() const noexcept { return fault_; }
   /// Readable while events wait to be taken; below 0 for none at all.
   int fd() const noexcept { return fd_; }

   /// Takes the events that wait. Returns whether one of the files may have changed.
   bool take();
   /// Whether a file changes at this moment: it was written and is not closed, or was deleted or created. This may stay true: the caller sets
   /// a limit, and then calls endProgress().
   bool inProgress() const noexcept { return !inProgress_.empty(); }
   /// The changes in progress count as complete.
   void endProgress() { inProgress_.clear(); }

 private:
   using Name = std::pair<int, std::string>;   // the watch of a directory, and a name in that directory
   void watch( const std::string & directory, const std::string & name );
   bool isWatched( int watch ) const;   // false for one that was removed, whose last events still come

   int fd_;
   std::map<std::string, int> watches_;   // by directory
   std::set<Name> names_;
   std::set<Name> inProgress_;
   bool watchesAll_ = false;
   std::string fault_;
};

}   // namespace Agent
