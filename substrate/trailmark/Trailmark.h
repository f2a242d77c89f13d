/// @file substrate/trailmark/Trailmark.h
/// `Trailmark` is the ring of recent events. Compilation, evaluation and pipelines write records at the cost of a few stores; an agent
/// reads them for diagnosis. Writing never changes behaviour.
/// Threading: thread-safe. A reader sees complete records only, and skips records whose writing is in progress. A writer never waits: if
/// an older record is still being written to the same place of the ring, the new record is lost.
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

/// The message of a record: one static object per call site. The text is a literal. Its first "{}" is replaced by the record's name, the
/// second by the number, the third by the label.
class ROUTEPOLICY_API MsgDesc {
 public:
   explicit MsgDesc( const char * text ) noexcept;
   uint32_t id() const noexcept { return id_; }   // counts from 1, in the order of construction
   const char * text() const noexcept { return text_; }

 private:
   uint32_t id_;
   const char * text_;
};

/// One event.
struct ROUTEPOLICY_API Record {
   uint64_t number;   // counts from 1, in the order of writing
   const MsgDesc * message;
   std::chrono::nanoseconds took;   // the duration of a timed block; negative for every other event
   std::string name;                // the object of the event, cut at kNameSize bytes or at a zero byte; empty for a timed block
   uint64_t value;                  // the number that belongs to the name
   const char * label = nullptr;    // a further text that is never deleted, or null

   /// The greatest length of a name, in bytes.
   static constexpr size_t kNameSize = 48;
   /// Whether the event is a timed block.
   bool timed() const noexcept { return took.count() >= 0; }
   /// The message with name, number and label inserted; for a timed block, the message and " took N ns".
   std::string text() const;
};

/// A ring of the most recent records.
class ROUTEPOLICY_API Handle {
 public:
   /// The capacity of the ring, in records.
   static constexpr size_t kRecords = 4096;
   /// Writes the record of a timed block.
   void write( const MsgDesc & message, std::chrono::nanoseconds took ) noexcept { write( message, took, {}, 0, nullptr ); }
   /// Writes the record of an event that has a name and a number. `label` must never be deleted.
   void write( const MsgDesc & message, std::string_view name, uint64_t value, const char * label = nullptr ) noexcept {
      write( message, std::chrono::nanoseconds( -1 ), name, value, label );
   }
   /// The number of writes so far, including lost records.
   uint64_t written() const noexcept { return written_.load( std::memory_order_acquire ); }
   /// Copies the records that are still in the ring, the oldest first.
   std::vector<Record> read() const;

 private:
   void write( const MsgDesc & message, std::chrono::nanoseconds took, std::string_view name, uint64_t value, const char * label ) noexcept;

   static constexpr uint64_t kBeingWritten = ~uint64_t( 0 );
   // A slot was read completely if `number` was the same before and after. It is 0 before the first record.
   struct Slot {
      std::atomic<uint64_t> number{ 0 };
      std::atomic<const MsgDesc *> message{ nullptr };
      std::atomic<int64_t> tookNs{ 0 };
      std::atomic<uint64_t> value{ 0 };
      std::atomic<const char *> label{ nullptr };
      std::array<std::atomic<uint64_t>, Record::kNameSize / 8> name{};   // padded with zero bytes
   };
   std::atomic<uint64_t> written_{ 0 };
   std::array<Slot, kRecords> slots_;
};

/// The default ring of the process.
ROUTEPOLICY_API Handle & defaultTrailmarkHandle();

/// Measures a block of code: writes one record with the duration of the block when the block ends.
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
