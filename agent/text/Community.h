/// @file agent/text/Community.h
/// Communities as a configuration writes them: "64500:1", "4226580481", or by a well-known name.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "text/PolicyText.h"

namespace Agent {

/// Nothing for a text that is not a community. Source of the names: RFC 1997, RFC 3765, RFC 7999, RFC 8326.
std::optional<Community> communityOf( std::string_view text ) noexcept;
/// The well-known name, or AS and value.
std::string communityText( Community community );
/// All of them, with blanks between.
std::string communitiesText( const std::vector<Community> & communities );

}   // namespace Agent
