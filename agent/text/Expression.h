/// @file agent/text/Expression.h
/// The regular expressions of community and AS path lists.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "text/Dialect.h"

namespace re2 {
class RE2;
}

namespace Agent {

/// Translates an expression of the native dialect for RE2. A "_" outside of brackets and not after a backslash stands for the start, the end,
/// a blank, a comma, a brace, a parenthesis or a square bracket (sets of a confederation are printed in those).
std::string expressionOf( std::string_view text );

/// Translates an expression of FRR, a POSIX extended one as glibc reads it, for RE2 with POSIX syntax. Each "_", wherever it is, first becomes
/// (^|[,{}() ]|$). Errors: std::invalid_argument with a reason.
std::string posixExpressionOf( std::string_view text );

/// Compiles it. Errors: std::invalid_argument as above; others are those of RE2.
std::unique_ptr<const re2::RE2> compileExpression( std::string_view text, Dialect dialect );

}   // namespace Agent
