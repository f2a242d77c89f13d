/// @file substrate/quoin/DisplayPointer.h
/// The short printed identity of an object.
#pragma once

#include <ostream>
#include <string>

#include "routepolicy_export.h"
#include "substrate/quoin/Ptr.h"

namespace Quoin {

struct ROUTEPOLICY_API DisplayPointer {
   /// "0x" and the address in lower-case hexadecimal; "NULL" for a null pointer.
   static std::string toString( const void * object );
};

/// A handle in its stream form: its printed identity. The stream's format flags and width stay out of it.
template <class T>
std::ostream & operator<<( std::ostream & os, const Ptr<T> & p ) {
   const std::string text = DisplayPointer::toString( p.get() );
   return os.write( text.data(), static_cast<std::streamsize>( text.size() ) );
}

}   // namespace Quoin
