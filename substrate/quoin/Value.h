/// @file substrate/quoin/Value.h
/// What value types share: each has an `isEq` for those who know it by its address alone, a `hash`, and a text.
#pragma once

#include <bit>
#include <cstdint>
#include <string>

#include "routepolicy_export.h"

namespace Quoin {

/// Whether the two T behind the pointers are equal.
template <class T>
bool isEqOf( const void * a, const void * b ) noexcept {
   return *static_cast<const T *>( a ) == *static_cast<const T *>( b );
}

/// The names of the bits that are set, the lowest first, joined by "|"; a bit without a name, of which `nameOf` gives null, as its
/// number. Empty for none.
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
