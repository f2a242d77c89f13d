/// @file policy/LogText.h
/// The indented lines of an evaluation log's text form.
#pragma once

#include <cstdint>

#include "substrate/quoin/TextStream.h"

namespace Routing::Policy {

/// Collects lines, each opened by three blanks per level and closed by a newline.
class LogText {
 public:
   explicit LogText( uint32_t level ) : level_( level ) {}

   template <class... Parts>
   void line( const Parts &... parts ) {
      for( uint32_t i = 0; i < level_; ++i ) os_ << "   ";
      ( os_ << ... << parts ) << '\n';
   }
   /// Whole lines that bring their own indentation.
   void nested( const Quoin::String & lines ) { os_ << lines; }
   Quoin::String text() const { return os_.text(); }

 private:
   uint32_t level_;
   Quoin::TextStream os_;
};

}   // namespace Routing::Policy
