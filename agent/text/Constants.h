/// @file agent/text/Constants.h
/// Constants that the readers of policies and of tables share.
#pragma once

#include <cstdint>
#include <limits>
#include <string_view>

namespace Agent {

inline constexpr uint64_t kMax32 = std::numeric_limits<uint32_t>::max();

inline constexpr std::string_view kByteOrderMark = "\xef\xbb\xbf";   // some editors begin a UTF-8 text with it

/// What FRR takes for an absent local preference.
inline constexpr uint32_t kDefaultLocalPreference = 100;

}   // namespace Agent
