/// @file agent/table/TextReader.h
/// Lines, single characters and blocks of bytes out of an input. Memory does not grow with the length of a line.
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
   /// The input outlives the reader. `maxLine`: the longest line that is given whole, without its end.
   TextReader( Input & input, size_t maxLine );

   /// Steps to the next line; false at the end. A line ends with a line feed, one carriage return before it taken off, or with
   /// the input. The text lives until the next call of anything here.
   bool nextLine();
   std::string_view line() const noexcept { return line_; }
   /// The line at hand is longer than `maxLine`: line() is its beginning only.
   bool lineTooLong() const noexcept { return lineTooLong_; }
   /// False of the last line when the input ends without a line feed.
   bool lineTerminated() const noexcept { return lineTerminated_; }

   static constexpr int kEnd = -1;
   /// The character that get() would give, or kEnd.
   int peek();
   int get();
   /// The first character behind a byte order mark and white space, which all stay to be read; kEnd when there is none in the
   /// first 64 KiB. To be asked before anything is read.
   int peekBehindSpace();

   /// The bytes that are to be read next: `size` of them, fewer at the end. They live until the next call of anything here, and the
   /// buffer grows with their number. Bytes count in no line or column.
   std::string_view peekBytes( size_t size );
   std::string_view takeBytes( size_t size );
   /// Passes over bytes, and returns how many there were.
   uint64_t skipBytes( uint64_t size );

   /// From 1 on: of the line at hand, or of the character that get() gave last.
   uint64_t lineNumber() const noexcept { return lineNumber_; }
   /// Bytes of the present line that get() has given.
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
