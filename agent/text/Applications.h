/// @file agent/text/Applications.h
/// Where other stanzas of a router's configuration apply the lists and route maps of its policy.
#pragma once

#include <vector>

#include "text/LineCursor.h"
#include "text/PolicyText.h"

namespace Agent {

/// Adds what a line of another stanza applies; nothing of one that begins with "no". True when the line has the form of one that
/// applies something, behind a "no" as well. A line that looks like the definition of a list or a route map has not.
bool addApplications( LineCursor line, std::vector<Application> & applications );

}   // namespace Agent
