#include "substrate/plinth/Exception.h"

namespace Plinth {

MutatorArgNullPointerException::~MutatorArgNullPointerException() = default;

void throwMutatorArgNullPointerException( const char * mutator ) {
   throw MutatorArgNullPointerException( std::string( mutator ) + ": the argument is null" );
}

}   // namespace Plinth
