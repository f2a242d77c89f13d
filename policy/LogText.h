/// @file policy/LogText.h
/// Builds the text form of an evaluation log, which consists of indented lines. SeqLog and PolicyEvaluationLog write through it.
#pragma once

#include <cstdint>

#include "substrate/quoin/TextStream.h"

namespace Routing::Policy {

/// Collects lines, each indented by three spaces per level and ended by a newline.
class LogText {
 public:
   explicit LogText( uint32_t level ) : level_( level ) {}

   template <class... Parts>
   /// Writes one line from its parts.
   void line( const Parts &... parts ) {
      for( uint32_t i = 0; i < level_; ++i ) os_ << "   ";
      ( os_ << ... << parts ) << '\n';
   }
   /// Appends whole lines that are already indented.
   void nested( const Quoin::String & lines ) { os_ << lines; }
   /// The lines so far.
   Quoin::String text() const { return os_.text(); }

 private:
   uint32_t level_;
   Quoin::TextStream os_;
};

}   // namespace Routing::Policy
