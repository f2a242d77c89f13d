/// @file tests/agent/TableFixture.h
/// What the tests of the table readers share: compressed bytes, and a table read into memory.
#pragma once

#include <gtest/gtest.h>

#include <boost/iostreams/copy.hpp>
#include <boost/iostreams/device/array.hpp>
#include <boost/iostreams/device/back_inserter.hpp>
#include <boost/iostreams/filter/bzip2.hpp>
#include <boost/iostreams/filter/gzip.hpp>
#include <boost/iostreams/filter/lzma.hpp>
#include <boost/iostreams/filtering_stream.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "table/TableReader.h"

namespace Agent {

inline std::string compressed( std::string_view text, Compression how ) {
   namespace io = boost::iostreams;
   std::string bytes;
   io::filtering_ostream out;
   switch( how ) {
      case Compression::none: break;
      case Compression::gzip: out.push( io::gzip_compressor() ); break;
      case Compression::bzip2: out.push( io::bzip2_compressor() ); break;
      case Compression::xz: out.push( io::lzma_compressor() ); break;
   }
   out.push( io::back_inserter( bytes ) );
   out.write( text.data(), static_cast<std::streamsize>( text.size() ) );
   out.reset();
   return bytes;
}

constexpr Compression kCompressions[] = { Compression::none, Compression::gzip, Compression::bzip2, Compression::xz };

/// Delivers at most `step` bytes a read, as a slow pipe does.
class TricklingSource final : public ByteSource {
 public:
   TricklingSource( std::string_view bytes, size_t step ) : rest_( bytes ), step_( step ) {}
   size_t read( char * to, size_t capacity ) override { return rest_.read( to, std::min( capacity, step_ ) ); }

 private:
   MemorySource rest_;
   size_t step_;
};

/// A table in memory. Broken places as "line 3: reason".
struct Table : TableHandler {
   TableSummary summary;
   std::vector<TableRoute> routes;
   std::vector<std::string> broken;

   void handleRoute( const TableRoute & route ) override { routes.push_back( route ); }
   void handleBroken( const Broken & place ) override { broken.push_back( placeOf( place ) + ": " + std::string( place.reason ) ); }

   std::vector<std::string> prefixes() const {
      std::vector<std::string> texts;
      for( const auto & route : routes ) texts.emplace_back( route.prefix.toStrep().view() );
      return texts;
   }
};

inline Table readBack( ByteSource & source, const TableLimits & limits = {} ) {
   Table table;
   table.summary = readTable( source, table, limits );
   EXPECT_EQ( table.summary.routes, table.routes.size() );
   EXPECT_EQ( table.summary.broken, table.broken.size() );
   return table;
}

inline Table readBack( std::string_view bytes, const TableLimits & limits = {} ) {
   MemorySource source( bytes );
   return readBack( source, limits );
}

using Strings = std::vector<std::string>;

}   // namespace Agent
