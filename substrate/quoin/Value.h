/// @file substrate/quoin/Value.h
/// Helpers for value types such as addresses and prefixes. Every value type has `isEq`, which compares two values through untyped
/// pointers, a `hash`, and a text form.
#pragma once

#include <bit>
#include <cstdint>
#include <string>

#include "routepolicy_export.h"

namespace Quoin {

/// Whether the two values of type T are equal. Both pointers point to a T.
template <class T>
bool isEqOf( const void * a, const void * b ) noexcept {
   return *static_cast<const T *>( a ) == *static_cast<const T *>( b );
}

/// The names of the bits that are set, lowest bit first, joined by "|". A bit for which `nameOf` returns null appears as its number.
/// The text is empty when no bit is set.
template <class Bit>
std::string bitsText( uint32_t bits, const char * ( *nameOf )( Bit ) ) {
   std::string text;
   for( uint32_t rest = bits; rest; rest &= rest - 1 ) {
      const unsigned number = static_cast<unsigned>( std::countr_zero( rest ) );
      const char * name = nameOf( Bit( 1u << number ) );
      text.append( text.empty() ? "" : "|" ).append( name ? name : std::to_string( number ) );
   }
   return text;
}

}   // namespace Quoin
