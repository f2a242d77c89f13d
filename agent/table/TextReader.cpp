#include "table/TextReader.h"

#include <algorithm>
#include <cstring>

namespace Agent {

namespace {

constexpr size_t kFirstCapacity = 65536;

}   // namespace

TextReader::TextReader( Input & input, size_t maxLine ) : input_( input ), maxLine_( maxLine ), buffer_( kFirstCapacity ) {}

bool TextReader::nextLine() {
   lineTooLong_ = false;
   lineTerminated_ = true;
   size_t searched = 0;   // after begin_, known to contain no line feed
   for( ;; ) {
      const char * text = buffer_.data() + begin_;
      const size_t size = end_ - begin_;
      if( const void * found = std::memchr( text + searched, '\n', size - searched ) ) {
         line_ = { text, static_cast<size_t>( static_cast<const char *>( found ) - text ) };
         begin_ += line_.size() + 1;
         break;
      }
      if( size > maxLine_ + 1 ) {   // one more than the line: the last may be a carriage return
         skipLine();
         break;
      }
      searched = size;
      if( !fill() ) {
         if( size == 0 ) return false;
         line_ = { text, size };   // the last line, without a line feed
         begin_ = end_;
         lineTerminated_ = false;
         break;
      }
   }
   ++lineNumber_;
   column_ = 0;
   lineEnded_ = true;
   if( line_.ends_with( '\r' ) ) line_.remove_suffix( 1 );
   if( line_.size() > maxLine_ ) {
      lineTooLong_ = true;
      line_ = line_.substr( 0, maxLine_ );
   }
   return true;
}

// The line at the start of the buffer is too long: line() becomes its beginning, one byte longer than allowed, and the buffer continues
// after the line.
void TextReader::skipLine() {
   std::copy( buffer_.begin() + static_cast<ptrdiff_t>( begin_ ), buffer_.begin() + static_cast<ptrdiff_t>( end_ ), buffer_.begin() );
   const size_t kept = maxLine_ + 2;
   buffer_.resize( std::max( buffer_.size(), kept + kFirstCapacity ) );
   line_ = { buffer_.data(), kept };
   for( ;; ) {
      begin_ = end_ = kept;
      const size_t count = input_.read( buffer_.data() + kept, buffer_.size() - kept );
      if( count == 0 ) {
         lineTerminated_ = false;
         return;
      }
      end_ += count;
      if( const void * found = std::memchr( buffer_.data() + kept, '\n', count ) ) {
         begin_ = static_cast<size_t>( static_cast<const char *>( found ) - buffer_.data() ) + 1;
         return;
      }
   }
}

int TextReader::peek() {
   return begin_ != end_ || fill() ? static_cast<unsigned char>( buffer_[ begin_ ] ) : kEnd;
}

int TextReader::get() {
   const int c = peek();
   if( c == kEnd ) return kEnd;
   ++begin_;
   if( lineEnded_ ) {
      ++lineNumber_;
      column_ = 0;
   }
   ++column_;
   lineEnded_ = c == '\n';
   return c;
}

int TextReader::peekBehindSpace() {
   for( size_t at = 0;; ++at ) {
      if( at == end_ && ( end_ == buffer_.size() || !fill() ) ) return kEnd;
      const char c = buffer_[ at ];
      if( !isSpace( c ) && !( at < kByteOrderMark.size() && c == kByteOrderMark[ at ] ) ) return static_cast<unsigned char>( c );
   }
}

std::string_view TextReader::peekBytes( size_t size ) {
   while( end_ - begin_ < size && fill() ) {}
   return { buffer_.data() + begin_, std::min( size, end_ - begin_ ) };
}

std::string_view TextReader::takeBytes( size_t size ) {
   const auto bytes = peekBytes( size );
   begin_ += bytes.size();
   return bytes;
}

uint64_t TextReader::skipBytes( uint64_t size ) {
   uint64_t skipped = 0;
   while( skipped < size && ( begin_ != end_ || fill() ) ) {
      const size_t step = std::min<uint64_t>( size - skipped, end_ - begin_ );
      begin_ += step;
      skipped += step;
   }
   return skipped;
}

// Reads more text into the buffer; false at the end of the input.
bool TextReader::fill() {
   if( begin_ == end_ ) begin_ = end_ = 0;
   if( end_ == buffer_.size() ) {
      if( begin_ != 0 ) {
         std::copy( buffer_.begin() + static_cast<ptrdiff_t>( begin_ ), buffer_.begin() + static_cast<ptrdiff_t>( end_ ), buffer_.begin() );
         end_ -= begin_;
         begin_ = 0;
      } else {
         buffer_.resize( buffer_.size() * 2 );   // bounded: nextLine() needs no more than a line and a buffer
      }
   }
   const size_t count = input_.read( buffer_.data() + end_, buffer_.size() - end_ );
   end_ += count;
   return count != 0;
}

}   // namespace Agent
