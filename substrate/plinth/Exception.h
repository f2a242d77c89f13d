/// @file substrate/plinth/Exception.h
/// What a writer raises when it is given a null that it must not take.
#pragma once

#include <stdexcept>
#include <string>

#include "routepolicy_export.h"

namespace Plinth {

class ROUTEPOLICY_API MutatorArgNullPointerException : public std::invalid_argument {
 public:
   explicit MutatorArgNullPointerException( const std::string & what ) : std::invalid_argument( what ) {}
   ~MutatorArgNullPointerException() override;
};

/// Raises "<mutator>: the argument is null". `mutator` is the writer's name.
[[noreturn]] ROUTEPOLICY_API void throwMutatorArgNullPointerException( const char * mutator );

}   // namespace Plinth
