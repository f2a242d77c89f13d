/// @file agent/command/FileEvents.h
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

   /// Follows these files, or the directories at these paths, from now on. Events that have not been taken are kept. A path may be missing.
   void filesAre( const std::vector<std::string> & files );
   /// Whether all directories are watched: none is missing.
   bool watchAll() const noexcept { return watchAll_; }
   /// Why the kernel watches nothing, or not everything, although the directories exist; empty if it does.
   const std::string & fault() const noexcept { return fault_; }
   /// Readable while events wait to be taken; below 0 for none at all.
   int fd() const noexcept { return fd_; }

   /// Takes the events that wait. Returns whether one of the files may have changed.
   bool take();
   /// Whether a file changes at this moment: it was written and is not closed, or was deleted or created.
   bool inProgress() const noexcept { return !inProgress_.empty(); }
   /// The changes in progress count as complete.
   void endProgress() { inProgress_.clear(); }

 private:
   using Name = std::pair<int, std::string>;   // the watch of a directory, and a name in that directory
   void watch( const std::string & directory, const std::string & name );

   int fd_;
   std::map<std::string, int> watches_;   // by directory
   std::set<Name> names_;
   std::set<Name> inProgress_;
   bool watchAll_ = false;
   std::string fault_;
};

}   // namespace Agent
