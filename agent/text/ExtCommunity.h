/// @file agent/text/ExtCommunity.h
/// Extended communities. A configuration writes a word for the kind and a value: "rt 64500:1", "soo 192.0.2.1:1", "color 5". A route has
/// them as "RT:64500:1"; one of a kind without a word is written by its octets, as 0x followed by sixteen digits.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace Agent {

/// Its eight octets. Source: RFC 4360, RFC 5668.
enum class ExtCommunity : uint64_t {};

/// "rt", "soo", ... and the value behind it. Nothing if either is wrong.
std::optional<ExtCommunity> extCommunityOf( std::string_view kind, std::string_view value ) noexcept;
/// In the form of a route.
std::optional<ExtCommunity> extCommunityOf( std::string_view text );
/// The word of its kind, empty for a kind without a word, and its value.
std::pair<std::string_view, std::string> wordsOf( ExtCommunity community );
/// In the form of a route, as FRR writes route targets and sites of origin.
std::string communityText( ExtCommunity community );

}   // namespace Agent
