/// @file substrate/quoin/DisplayPointer.h
/// The short printed identity of an object, which is its address. Traces and dumps print it.
#pragma once

#include <ostream>
#include <string>

#include "routepolicy_export.h"
#include "substrate/quoin/Ptr.h"

namespace Quoin {

/// Prints addresses of objects.
struct ROUTEPOLICY_API DisplayPointer {
   /// "0x" and the address in lower-case hexadecimal; "NULL" for a null pointer.
   static std::string toString( const void * object );
};

/// Prints a handle as the identity of its object. The stream's format flags and width have no effect.
template <class T>
std::ostream & operator<<( std::ostream & os, const Ptr<T> & p ) {
   const std::string text = DisplayPointer::toString( p.get() );
   return os.write( text.data(), static_cast<std::streamsize>( text.size() ) );
}

}   // namespace Quoin
