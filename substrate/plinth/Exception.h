/// @file substrate/plinth/Exception.h
/// The error of a writer whose argument must not be null. The writers of attributes and collections raise it.
#pragma once

#include <stdexcept>
#include <string>

#include "routepolicy_export.h"

namespace Plinth {

/// A null argument where an object is required. what() names the writer.
class ROUTEPOLICY_API MutatorArgNullPointerException : public std::invalid_argument {
 public:
   explicit MutatorArgNullPointerException( const std::string & what ) : std::invalid_argument( what ) {}
   ~MutatorArgNullPointerException() override;
};

/// Throws MutatorArgNullPointerException with the text "<mutator>: the argument is null". `mutator` is the name of the writer.
[[noreturn]] ROUTEPOLICY_API void throwMutatorArgNullPointerException( const char * mutator );

}   // namespace Plinth
