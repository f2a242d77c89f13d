/// @file agent/text/Applications.h
/// Finds the lines of other stanzas that apply lists and route maps: "neighbor 192.0.2.1 route-map EDGE-IN in".
#pragma once

#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "text/LineCursor.h"
#include "text/PolicyText.h"

namespace Agent {

/// Adds what a line of another stanza applies; a line that begins with "no" applies nothing. Returns whether the line has the form of an
/// application, even after "no". A line that looks like the definition of a list or route map does not have this form.
bool addApplications( LineCursor line, std::vector<Application> & applications );

/// Adds the words of the line, except words of more than 64 bytes.
void addOtherWords( LineCursor line, std::unordered_set<std::string> & words );

/// Whether free text follows the word, which applies and defines nothing: "description", "log".
bool beginsRemark( std::string_view word ) noexcept;

}   // namespace Agent
