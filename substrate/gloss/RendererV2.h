/// @file substrate/gloss/RendererV2.h
/// Writes JSON into one growing buffer. Evaluation logs render themselves through it. `Gloss` is rendering.
/// Threading: one thread.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "routepolicy_export.h"
#include "substrate/routemap/Options.h"

namespace Gloss {

/// A JSON text under construction. In modes other than kStructured, no function writes anything.
class ROUTEPOLICY_API RendererV2 {
 public:
   /// The mode that writes JSON.
   static constexpr int kStructured = 2;

   explicit RendererV2( int mode = kStructured ) noexcept : mode_( mode ) {}

   int mode() const noexcept { return mode_; }
   /// Whether the next item is the first of its object and needs no comma in front of it.
   bool firstItem() const noexcept { return firstItem_; }
   void firstItemIs( bool first ) noexcept { firstItem_ = first; }

   /// Appends the text unchanged.
   void write( std::string_view text ) {
      if( mode_ == kStructured ) buffer_ += text;
   }
   /// Appends a comma, unless the next item is the first.
   void writeComma() {
      if( !firstItem_ ) write( "," );
   }
   /// Appends the text with quotes, backslashes and control characters escaped. The caller writes the surrounding quotes. `text` must not
   /// point into this renderer's buffer.
   void writeQuotedString( std::string_view text );
   void writeQuotedString( const Routing::RouteMap::MatchOption & option );

   /// Opens an object under `key`. The caller closes it with endJsonObject(), or writes "}" and sets firstItem to false.
   void _startJsonObject( std::string_view key );
   /// Closes the object that _startJsonObject() opened.
   void endJsonObject();
   /// Appends a member of an object; with an empty key, an element of an array.
   void _addJsonKeyValuePair( std::string_view key, bool value );
   void _addJsonKeyValuePair( std::string_view key, uint32_t value );

   /// The text so far.
   const std::string & text() const noexcept { return buffer_; }

 private:
   void addPair( std::string_view key, std::string_view value );

   int mode_;
   bool firstItem_ = true;
   std::string buffer_;
};

}   // namespace Gloss
