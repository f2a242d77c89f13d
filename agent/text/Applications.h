/// @file agent/text/Applications.h
/// Where other stanzas of a router's configuration apply the lists and route maps of its policy.
#pragma once

#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "text/LineCursor.h"
#include "text/PolicyText.h"

namespace Agent {

/// Adds what a line of another stanza applies; nothing of one that begins with "no". True when the line has the form of one that
/// applies something, behind a "no" as well. A line that looks like the definition of a list or a route map has not.
bool addApplications( LineCursor line, std::vector<Application> & applications );

/// Adds the line's words, but for those of more than 64 bytes.
void addOtherWords( LineCursor line, std::unordered_set<std::string> & words );

/// What stands behind such a word applies nothing and defines nothing, whatever it looks like: "description", "log".
bool beginsRemark( std::string_view word ) noexcept;

}   // namespace Agent
