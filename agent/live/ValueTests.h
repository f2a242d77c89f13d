/// @file agent/live/ValueTests.h
/// The match clauses that steps test. Threading: thread-safe.
#pragma once

#include <stdexcept>
#include <string_view>

#include "dialect/CompiledRules.h"
#include "live/AgentRoute.h"

namespace Agent {

/// Neither a route nor an assumption answers a match clause. The text names the place, the sequence, the clause and what can answer it.
struct Unanswered : std::runtime_error {
   using std::runtime_error::runtime_error;
};

/// Errors: Unanswered if a set clause with these words has set a value that only the daemon knows.
void expectKnown( const TableRoute & route, std::string_view words );

/// The first test of the step that does not hold for the route; null if all hold.
/// Errors: Unanswered if all others hold and one cannot be answered.
const StepTest * failedTest( const StepText & step, const AgentRoute & route );

}   // namespace Agent
