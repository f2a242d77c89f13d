/// @file substrate/trailmark/Trailmark.h
/// A trace into a fixed ring: what happened last, at the price of a few stores. Tracing changes no behaviour.
/// Threading: any number of threads write; a reader sees records that are whole, and misses those being written. A writer never
/// waits: a record that comes round the ring while an older one is still being written in its place is lost.
#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <vector>

#include "routepolicy_export.h"

namespace Trailmark {

/// A message, registered once per call site as a static object. The text is a literal.
class ROUTEPOLICY_API MsgDesc {
 public:
   explicit MsgDesc( const char * text ) noexcept;
   uint32_t id() const noexcept { return id_; }   // from 1 on, in the order of making
   const char * text() const noexcept { return text_; }

 private:
   uint32_t id_;
   const char * text_;
};

/// One thing that happened.
struct Record {
   uint64_t number;   // counts from 1 in the order of writing
   const MsgDesc * message;
   std::chrono::nanoseconds took;
};

/// A ring of the last records.
class ROUTEPOLICY_API Handle {
 public:
   static constexpr size_t kRecords = 4096;
   void write( const MsgDesc & message, std::chrono::nanoseconds took ) noexcept;
   /// How many writes there have been, lost ones included.
   uint64_t written() const noexcept { return written_.load( std::memory_order_acquire ); }
   /// The records that still stand, the oldest first.
   std::vector<Record> read() const;

 private:
   static constexpr uint64_t kBeingWritten = ~uint64_t( 0 );
   // A slot is whole when `number` is the same before and after the rest has been read; 0 before its first record.
   struct Slot {
      std::atomic<uint64_t> number{ 0 };
      std::atomic<const MsgDesc *> message{ nullptr };
      std::atomic<int64_t> tookNs{ 0 };
   };
   std::atomic<uint64_t> written_{ 0 };
   std::array<Slot, kRecords> slots_;
};

/// The process's handle.
ROUTEPOLICY_API Handle & defaultTrailmarkHandle();

/// Writes one record, with the time that its block took, when the block ends.
class ROUTEPOLICY_API BlockTimer {
 public:
   explicit BlockTimer( const MsgDesc & message, Handle & handle = defaultTrailmarkHandle() ) noexcept
         : message_( message ), handle_( handle ), start_( std::chrono::steady_clock::now() ) {}
   ~BlockTimer() { handle_.write( message_, std::chrono::steady_clock::now() - start_ ); }
   BlockTimer( const BlockTimer & ) = delete;
   BlockTimer & operator=( const BlockTimer & ) = delete;

 private:
   const MsgDesc & message_;
   Handle & handle_;
   std::chrono::steady_clock::time_point start_;
};

}   // namespace Trailmark
