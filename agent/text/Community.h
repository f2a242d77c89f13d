/// @file agent/text/Community.h
/// Communities as a configuration writes them: "64500:1", "4226580481", or by a well-known name.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "text/PolicyText.h"

namespace Agent {

/// Nothing for a text that is not a community. Source of the names: the IANA registry of well-known communities, as FRR spells them.
std::optional<Community> communityOf( std::string_view text ) noexcept;
/// The well-known name, or AS and value.
std::string communityText( Community community );
/// The well-known name; empty for none.
std::string_view wellKnownName( Community community ) noexcept;
/// All of them, with blanks between.
std::string communitiesText( const std::vector<Community> & communities );

}   // namespace Agent
