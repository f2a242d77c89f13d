/// @file substrate/trailmark/Trailmark.h
/// A trace into a fixed ring: what happened last, at the price of a few stores. Tracing changes no behaviour.
/// Threading: any number of threads write; a reader sees records that are whole, and misses those being written. A writer never
/// waits: a record that comes round the ring while an older one is still being written in its place is lost.
#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "routepolicy_export.h"

namespace Trailmark {

/// A message, registered once per call site as a static object. The text is a literal; one that names something has "{}" where the
/// name goes, again where its number goes, and again where its label does.
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
struct ROUTEPOLICY_API Record {
   uint64_t number;   // counts from 1 in the order of writing
   const MsgDesc * message;
   std::chrono::nanoseconds took;   // of a timed block, negative for anything else
   std::string name;                // what the message names, cut at kNameSize bytes or a zero byte; empty for a timed block
   uint64_t value;                  // the number that goes with the name
   const char * label = nullptr;    // and a text that lives as long as the process; null for none

   static constexpr size_t kNameSize = 48;
   bool timed() const noexcept { return took.count() >= 0; }
   /// The message with its name and number in place, or with the time that its block took behind it.
   std::string text() const;
};

/// A ring of the last records.
class ROUTEPOLICY_API Handle {
 public:
   static constexpr size_t kRecords = 4096;
   void write( const MsgDesc & message, std::chrono::nanoseconds took ) noexcept { write( message, took, {}, 0, nullptr ); }
   /// Of something that has a name and a number.
   void write( const MsgDesc & message, std::string_view name, uint64_t value, const char * label = nullptr ) noexcept {
      write( message, std::chrono::nanoseconds( -1 ), name, value, label );
   }
   /// How many writes there have been, lost ones included.
   uint64_t written() const noexcept { return written_.load( std::memory_order_acquire ); }
   /// The records that still stand, the oldest first.
   std::vector<Record> read() const;

 private:
   void write( const MsgDesc & message, std::chrono::nanoseconds took, std::string_view name, uint64_t value, const char * label ) noexcept;

   static constexpr uint64_t kBeingWritten = ~uint64_t( 0 );
   // A slot is whole when `number` is the same before and after the rest has been read; 0 before its first record.
   struct Slot {
      std::atomic<uint64_t> number{ 0 };
      std::atomic<const MsgDesc *> message{ nullptr };
      std::atomic<int64_t> tookNs{ 0 };
      std::atomic<uint64_t> value{ 0 };
      std::atomic<const char *> label{ nullptr };
      std::array<std::atomic<uint64_t>, Record::kNameSize / 8> name{};   // filled up with zero bytes
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
