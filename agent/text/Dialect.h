/// @file agent/text/Dialect.h
#pragma once

#include <cstdint>

namespace Agent {

/// Whose rules a configuration follows. The lines are nearly the same; what they mean differs.
enum class Dialect : uint8_t {
   frr,     // the rules of FRR
   native   // the rules of the library
};

}   // namespace Agent
