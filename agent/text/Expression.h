/// @file agent/text/Expression.h
/// The regular expressions of community and AS path lists.
#pragma once

#include <string>
#include <string_view>

namespace Agent {

/// The same for RE2: a "_" that stands neither in brackets nor behind a backslash becomes what it stands for, which is the start, the
/// end, a blank, a comma, a brace, a parenthesis or a square bracket (in which sets of a confederation are printed).
std::string expressionOf( std::string_view text );

}   // namespace Agent
