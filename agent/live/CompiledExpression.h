/// @file agent/live/CompiledExpression.h
#pragma once

#include <memory>
#include <string_view>

namespace re2 {
class RE2;
}

namespace Agent {

/// A regular expression of a community or AS path list, ready to be asked. Threading: any number of threads may ask at once.
class CompiledExpression {
 public:
   /// `expression` is as the list's text has it. One that cannot be compiled matches nothing.
   explicit CompiledExpression( std::string_view expression );
   CompiledExpression( CompiledExpression && ) noexcept;
   ~CompiledExpression();

   /// Whether a part of the text, or all of it, matches.
   bool matches( std::string_view text ) const;

 private:
   std::unique_ptr<const re2::RE2> re2_;
};

}   // namespace Agent
