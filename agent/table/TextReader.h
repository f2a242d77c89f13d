/// @file agent/table/TextReader.h
/// Reads lines, single characters and blocks of bytes from an input. Memory does not grow with the length of a line.
/// Threading: one thread per object.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "table/Input.h"
#include "text/Constants.h"
#include "text/Printable.h"

namespace Agent {

class TextReader {
 public:
   /// The input outlives the reader. `maxLine`: the longest line that is returned whole, without its line end.
   TextReader( Input & input, size_t maxLine );

   /// Moves to the next line; false at the end. A line ends with a line feed, of which one preceding carriage return is part, or with the
   /// input. The text is valid until the next call.
   bool nextLine();
   std::string_view line() const noexcept { return line_; }
   /// The present line is longer than `maxLine`: line() is its beginning.
   bool lineTooLong() const noexcept { return lineTooLong_; }
   /// False for a last line without a line feed.
   bool lineTerminated() const noexcept { return lineTerminated_; }

   static constexpr int kEnd = -1;
   /// The character that get() would return, or kEnd.
   int peek();
   int get();
   /// The first character after a byte order mark and white space, without reading any; kEnd if the first 64 KiB contain none. To be
   /// called before anything is read.
   int peekBehindSpace();

   /// The next `size` bytes, without reading them; fewer at the end. Valid until the next call; the buffer grows with `size`. Bytes read
   /// like this do not count in lines and columns.
   std::string_view peekBytes( size_t size );
   std::string_view takeBytes( size_t size );
   /// Skips bytes, and returns their number.
   uint64_t skipBytes( uint64_t size );

   /// From 1: of the present line, or of the last character that get() returned.
   uint64_t lineNumber() const noexcept { return lineNumber_; }
   /// Bytes of the present line that get() has returned.
   uint64_t column() const noexcept { return column_; }

 private:
   bool fill();
   void skipLine();

   Input & input_;
   size_t maxLine_;
   std::vector<char> buffer_;   // text from begin_ to end_
   size_t begin_ = 0;
   size_t end_ = 0;
   std::string_view line_;
   uint64_t lineNumber_ = 0;   // 0 until anything has been read
   uint64_t column_ = 0;
   bool lineTooLong_ = false;
   bool lineTerminated_ = false;
   bool lineEnded_ = true;   // the next character begins a line
};

constexpr bool isSpace( int c ) noexcept {
   return c == ' ' || ( c >= '\t' && c <= '\r' );
}

}   // namespace Agent
