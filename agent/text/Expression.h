/// @file agent/text/Expression.h
/// The regular expressions of community and AS path lists.
#pragma once

#include <string>
#include <string_view>

namespace Agent {

/// Translates an expression for RE2. A "_" outside of brackets and not after a backslash stands for the start, the end, a blank, a comma,
/// a brace, a parenthesis or a square bracket (sets of a confederation are printed in those).
std::string expressionOf( std::string_view text );

}   // namespace Agent
