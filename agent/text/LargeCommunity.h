/// @file agent/text/LargeCommunity.h
#pragma once

#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace Agent {

/// A large community: "64500:1:2". Source: RFC 8092.
struct LargeCommunity {
   uint32_t globalAdministrator = 0;   // an AS
   uint32_t localData1 = 0;
   uint32_t localData2 = 0;
   friend auto operator<=>( const LargeCommunity &, const LargeCommunity & ) = default;
};

/// Nothing for a text that is not a large community.
std::optional<LargeCommunity> largeCommunityOf( std::string_view text ) noexcept;
std::string communityText( const LargeCommunity & community );

}   // namespace Agent
