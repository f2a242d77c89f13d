/// @file substrate/gloss/RendererV2.h
/// Structured output into one growing buffer. Threading: one thread.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "routepolicy_export.h"
#include "substrate/routemap/Options.h"

namespace Gloss {

class ROUTEPOLICY_API RendererV2 {
 public:
   static constexpr int kStructured = 2;   // the mode that writes JSON; in every other one nothing below writes

   explicit RendererV2( int mode = kStructured ) noexcept : mode_( mode ) {}

   int mode() const noexcept { return mode_; }
   /// True when the next item needs no comma in front of it.
   bool firstItem() const noexcept { return firstItem_; }
   void firstItemIs( bool first ) noexcept { firstItem_ = first; }

   /// The text as it is.
   void write( std::string_view text ) {
      if( mode_ == kStructured ) buffer_ += text;
   }
   /// A comma, unless this is the first item.
   void writeComma() {
      if( !firstItem_ ) write( "," );
   }
   /// The text with quotes, backslashes and control characters escaped; the surrounding quotes are the caller's. `text` is not
   /// this renderer's own.
   void writeQuotedString( std::string_view text );
   void writeQuotedString( const Routing::RouteMap::MatchOption & option );

   /// Opens an object under `key`; who closes it writes "}" and turns first-item off.
   void _startJsonObject( std::string_view key );
   /// Closes what _startJsonObject() opened.
   void endJsonObject();
   /// A member; without a key, an element.
   void _addJsonKeyValuePair( std::string_view key, bool value );
   void _addJsonKeyValuePair( std::string_view key, uint32_t value );

   /// What has been written so far.
   const std::string & text() const noexcept { return buffer_; }

 private:
   void addPair( std::string_view key, std::string_view value );

   int mode_;
   bool firstItem_ = true;
   std::string buffer_;
};

}   // namespace Gloss
