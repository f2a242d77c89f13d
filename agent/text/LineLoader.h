/// @file agent/text/LineLoader.h
/// Reads a policy from the lines of a router's configuration, in the industry-standard stanza syntax.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "text/Dialect.h"
#include "text/PolicyText.h"

namespace Agent {

/// A file of a policy, as it was read.
struct SourceFile {
   std::string name;   // as in errors, and in PolicyText::files
   std::string bytes;
};

/// Whole lines of a file.
struct FileLines {
   std::string_view bytes;
   uint32_t count = 0;   // of lines
};

/// Loads texts one after the other, as one configuration. Threading: one thread.
///
///    LineLoader loader( Dialect::frr );
///    loader.load( "edge.conf", bytes );
///    if( loader.errors().empty() ) livePolicy.apply( loader.text() );
///
/// A line without "seq" gets a number above the highest one. A line that the list already has changes nothing.
/// A wrong line changes nothing either, and reading continues with the next line. It is an error; a lenient loader has no errors, and puts
/// the line into text().leftOut.
class LineLoader {
 public:
   /// `dialect`: whose lines the texts have. `lenient`: wrong lines are left out.
   explicit LineLoader( Dialect dialect, bool lenient = false );
   ~LineLoader();
   LineLoader( LineLoader && ) noexcept;
   LineLoader & operator=( LineLoader && ) noexcept;

   /// `bytes` may be any bytes; `file` is the name in errors. The same bytes under the same name a second time change nothing and report no
   /// errors again; their size and two hashes are compared. Any other text is a file of its own in text().files, even if the name repeats.
   void load( const std::string & file, std::string_view bytes );
   /// The same without the lines `unread`, parts of `bytes`, ascending; they are only counted. No file of the same name is loaded.
   void loadWithout( const std::string & file, std::string_view bytes, const std::vector<FileLines> & unread );

   const PolicyText & text() const noexcept;
   /// Moves the text out, and releases what else was needed for loading. Afterwards, the loader can only be destroyed.
   PolicyText takeText() noexcept;
   /// In the order of the text.
   const std::vector<TextError> & errors() const noexcept;
   /// "FILE:LINE:COLUMN: REASON".
   std::string toString( const TextError & error ) const;

 private:
   class Reader;
   std::unique_ptr<Reader> reader_;
};

}   // namespace Agent
