/// @file agent/command/FileSaves.h
/// When the saves of a policy's files are complete, for `watch`.
///
///    what the kernel tells                                     complete
///    the file is closed, or renamed over the old one           at once; of several files, after 20 ms without another change
///    the file is written and stays open, or is deleted         after an interval without another change
///    nothing, but the time, size or inode of a file differs   after an interval without another change
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "command/FileEvents.h"

namespace Agent {

/// Follows the files of a policy. Time alone tells whether nothing changes any more: other files of the same directories wake the caller, too.
/// Threading: one thread.
class FileSaves {
 public:
   using Clock = std::chrono::steady_clock;
   using Now = std::function<Clock::time_point()>;
   using milliseconds = std::chrono::milliseconds;

   /// Follows the files of `given`, or those in a directory that is given. `interval`: a change that lasts is complete when nothing happened
   /// in this time. `untold`: between two looks at files whose changes the kernel tells.
   FileSaves( std::vector<std::string> given, milliseconds interval, milliseconds untold, Now now = Clock::now );

   /// Why the kernel does not tell all changes; empty if it does.
   const std::string & fault() const noexcept { return events_.fault(); }
   /// Readable when look() is due before wait() has passed; below 0 for never.
   int events() const noexcept { return events_.fd(); }
   /// The time to the next look, if nothing happens before.
   milliseconds wait() const;
   /// Looks at the files. Returns whether they have changed since this was last true, or since the start, and the change is complete.
   bool look();

 private:
   /// Changes whenever the file changes; nothing for a file that does not exist.
   using Stamp = std::optional<std::tuple<int64_t, int64_t, uint64_t, uint64_t>>;
   static Stamp stampOf( const std::string & file );
   std::vector<Stamp> stamps() const;
   void follow();
   Clock::duration quietTime() const noexcept;

   const std::vector<std::string> given_;
   const milliseconds interval_;
   const milliseconds untold_;
   const Now now_;
   FileEvents events_;
   std::vector<std::string> files_;   // at the last complete change
   std::vector<Stamp> stamps_;        // of these files
   std::vector<Stamp> seen_;          // at the last look
   Clock::time_point lastChange_;     // when it was seen
   bool isLastTold_ = false;          // the kernel has told the last change
   bool isChanged_ = false;           // the kernel has told a change since the last complete one
   bool isPending_ = false;           // a change waits for its end
};

}   // namespace Agent
