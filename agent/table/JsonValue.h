/// @file agent/table/JsonValue.h
/// One value of a JSON document that is neither an array nor an object.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "text/Constants.h"

namespace Agent {

struct JsonValue {
   enum class Kind : uint8_t { text, natural, truth, other };   // other: null, and numbers that are negative or have a fraction
   Kind kind = Kind::other;
   std::string_view text{};   // of kind text; lives until the call ends
   uint64_t natural = 0;      // of kind natural
   bool truth = false;        // of kind truth

   bool isText() const noexcept { return kind == Kind::text; }
   bool isTrue() const noexcept { return kind == Kind::truth && truth; }
   std::optional<uint32_t> number32() const noexcept {
      if( kind != Kind::natural || natural > kMax32 ) return std::nullopt;
      return static_cast<uint32_t>( natural );
   }
};

}   // namespace Agent
