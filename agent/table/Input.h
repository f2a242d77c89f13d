/// @file agent/table/Input.h
/// The bytes of a table: from a file or from memory, plain or compressed. The first bytes of a stream show its compression; names do
/// not count. Memory does not grow with the input. Threading: one thread per object.
#pragma once

#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace Agent {

/// Where bytes come from, as they are stored.
class ByteSource {
 public:
   virtual ~ByteSource() = default;
   /// Fills up to `capacity` bytes and returns how many; 0 at the end. Errors: std::system_error.
   virtual size_t read( char * to, size_t capacity ) = 0;
};

class FileSource final : public ByteSource {
 public:
   /// Opens a file; "-" is standard input. Errors: std::system_error.
   explicit FileSource( const std::string & path );
   ~FileSource() override;
   FileSource( const FileSource & ) = delete;
   FileSource & operator=( const FileSource & ) = delete;

   size_t read( char * to, size_t capacity ) override;

 private:
   int fd_;
};

/// Reads bytes that the caller keeps.
class MemorySource final : public ByteSource {
 public:
   explicit MemorySource( std::string_view bytes ) noexcept : rest_( bytes ) {}
   size_t read( char * to, size_t capacity ) override;

 private:
   std::string_view rest_;
};

enum class Compression : uint8_t { none, gzip, bzip2, xz };
const char * stringValue( Compression c ) noexcept;

/// The compression that the first bytes of a stream show. Ten bytes are enough.
Compression compressionOf( std::string_view firstBytes ) noexcept;

class Unpacker;

/// The plain bytes of a source.
/// Joined streams are one text. Zeros after a gzip stream are ignored.
/// A stream that is cut short or damaged, or a source that fails, ends the input with a fault; the bytes before it are valid. So does a
/// stream that unpacks to more than a thousand times its size, once it is long: a routing table shrinks to a tenth or so.
class Input {
 public:
   static constexpr uint64_t kNoLimit = std::numeric_limits<uint64_t>::max();
   static constexpr uint64_t kTableLimit = uint64_t( 64 ) << 30;   // of a table, unless the operator sets another
   static constexpr uint64_t kMostGrowth = 1000;                   // plain bytes for one byte of a compressed stream
   static constexpr uint64_t kFreeGrowth = uint64_t( 1 ) << 30;    // plain bytes that may exceed it

   /// The source outlives the input. `maxBytes`: an input with more plain bytes than this ends there with a fault.
   explicit Input( ByteSource & source, uint64_t maxBytes = kNoLimit, uint64_t freeGrowth = kFreeGrowth );
   ~Input();
   Input( const Input & ) = delete;
   Input & operator=( const Input & ) = delete;

   /// Fills up to `capacity` bytes, which is not 0, and returns how many; 0 at the end.
   size_t read( char * to, size_t capacity );

   /// Known from the first read on.
   Compression compression() const noexcept { return compression_; }
   /// Why the input ended early, such as "gzip data is cut short"; empty if it did not.
   const std::string & fault() const noexcept { return fault_; }

 private:
   size_t take( char * to, size_t capacity );
   void start();
   bool refill();
   void unpack( char *& out, char * outEnd );
   void end( std::string fault = {} );

   ByteSource & source_;
   std::vector<char> stored_;   // bytes as they came from the source, from next_ to end_
   const char * next_ = nullptr;
   const char * end_ = nullptr;
   std::unique_ptr<Unpacker> unpacker_;   // null: plain
   std::string fault_;
   const uint64_t maxBytes_;
   const uint64_t freeGrowth_;
   uint64_t plainBytes_ = 0;   // returned so far
   uint64_t storedBytes_ = 0;
   Compression compression_ = Compression::none;
   bool started_ = false;
   bool sourceEnded_ = false;
   bool streamEnded_ = false;   // of the present compressed stream; another may follow
   bool ended_ = false;
};

}   // namespace Agent
