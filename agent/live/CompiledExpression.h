/// @file agent/live/CompiledExpression.h
#pragma once

#include <memory>
#include <string_view>

#include "text/Dialect.h"

namespace re2 {
class RE2;
}

namespace Agent {

/// A compiled regular expression of a community or AS path list. Copies share what was compiled. Threading: thread-safe.
class CompiledExpression {
 public:
   /// `expression` is the text in the list. One that cannot be compiled matches nothing.
   CompiledExpression( std::string_view expression, Dialect dialect );
   /// Whether a part of the text, or all of it, matches.
   bool matches( std::string_view text ) const;
   /// Whether one is a copy of the other.
   friend bool operator==( const CompiledExpression &, const CompiledExpression & ) noexcept = default;

 private:
   std::shared_ptr<const re2::RE2> re2_;   // null if it cannot be translated
};

}   // namespace Agent
