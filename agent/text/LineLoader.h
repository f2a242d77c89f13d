/// @file agent/text/LineLoader.h
/// Reads a policy in the lines of a router's configuration.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "text/PolicyText.h"

namespace Agent {

/// Takes in one text behind the other, as one configuration. Threading: one thread.
///
///    LineLoader loader;
///    loader.load( "edge.conf", bytes );
///    if( loader.errors().empty() ) livePolicy.apply( loader.text() );
///
/// Numbering without "seq" goes in fives, behind the highest number there is. A line that is there already changes nothing.
/// A wrong line is an error and changes nothing either; reading goes on behind it.
class LineLoader {
 public:
   LineLoader();
   ~LineLoader();
   LineLoader( LineLoader && ) noexcept;
   LineLoader & operator=( LineLoader && ) noexcept;

   /// Any bytes. `file` is what errors call it. The same bytes under the same name a second time change nothing at all, and bring no
   /// errors again: their number and two hashes tell. All else is a file of its own in text().files, also under a name that
   /// there is.
   void load( const std::string & file, std::string_view bytes );

   const PolicyText & text() const noexcept;
   /// In the order of the text.
   const std::vector<TextError> & errors() const noexcept;
   /// "FILE:LINE:COLUMN: REASON".
   std::string toString( const TextError & error ) const;

 private:
   class Reader;
   std::unique_ptr<Reader> reader_;
};

}   // namespace Agent
