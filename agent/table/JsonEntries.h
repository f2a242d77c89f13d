/// @file agent/table/JsonEntries.h
/// What the readers of JSON tables share: they read a document of any length with the memory of one entry. A reader (IpRouteJson.cpp,
/// BgpJson.cpp) derives from JsonDocument the handler that the parser calls, and says there where an entry begins.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <nlohmann/json.hpp>
#include <string>

#include "table/TextReader.h"

namespace Agent {

/// The input of the parser: the characters of the document, until an entry is longer than allowed.
struct EntryBytes {
   TextReader & text;
   size_t maxEntry;
   size_t taken = 0;   // by the present entry
   bool exhausted() const noexcept { return taken > maxEntry; }
};

class EntryIterator {
 public:
   using iterator_category = std::input_iterator_tag;
   using value_type = char;
   using difference_type = std::ptrdiff_t;
   using pointer = const char *;
   using reference = char;

   EntryIterator() = default;   // the end
   explicit EntryIterator( EntryBytes & bytes ) : bytes_( &bytes ) {}

   char operator*() const { return static_cast<char>( bytes_->text.peek() ); }
   EntryIterator & operator++() {
      bytes_->text.get();
      ++bytes_->taken;
      return *this;
   }
   friend bool operator==( const EntryIterator & a, const EntryIterator & b ) { return a.atEnd() == b.atEnd(); }

 private:
   bool atEnd() const { return !bytes_ || bytes_->exhausted() || bytes_->text.peek() == TextReader::kEnd; }
   EntryBytes * bytes_ = nullptr;
};

/// The base of a handler: counts entries, ignores what no reader uses, and keeps the fault.
class JsonDocument {
 public:
   using Json = nlohmann::json;

   /// Called by the parser.
   bool parse_error( size_t, const std::string &, const Json::exception & e );

 protected:
   explicit JsonDocument( EntryBytes & bytes ) noexcept : bytes_( bytes ) {}

   /// The bytes of another entry begin here.
   void restartBytes() noexcept { bytes_.taken = 0; }
   /// Ignores the array or object that begins here.
   bool skip() noexcept {
      ++skipped_;
      return true;
   }
   bool skipping() const noexcept { return skipped_ != 0; }
   bool leaveSkipped() noexcept {
      if( skipped_ == 0 ) return false;
      --skipped_;
      return true;
   }
   /// Adds the place.
   void faultIs( const std::string & text );

   std::string fault_;    // why the document could not be read to its end; empty if it was
   uint64_t index_ = 0;   // of the next entry

 private:
   EntryBytes & bytes_;
   size_t skipped_ = 0;   // depth within an ignored array or object
};

/// Reads one document, and not a character more: another document may follow.
template <class Handler>
void parseDocument( EntryBytes & bytes, Handler & handler ) {
   constexpr bool kNothingBehind = false;
   nlohmann::json::sax_parse( EntryIterator( bytes ), EntryIterator(), &handler, nlohmann::json::input_format_t::json, kNothingBehind );
}

}   // namespace Agent
