/// @file agent/text/LargeCommunity.h
#pragma once

#include <compare>
#include <cstddef>
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
   size_t hash() const noexcept {
      return static_cast<size_t>( ( globalAdministrator * uint64_t( 0x9e3779b97f4a7c15 ) + localData1 ) * 0x9e3779b97f4a7c15 + localData2 );
   }
   friend auto operator<=>( const LargeCommunity &, const LargeCommunity & ) = default;
};

/// Nothing for a text that is not a large community.
std::optional<LargeCommunity> largeCommunityOf( std::string_view text ) noexcept;
std::string communityText( const LargeCommunity & community );

}   // namespace Agent
