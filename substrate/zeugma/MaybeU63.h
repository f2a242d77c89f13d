/// @file substrate/zeugma/MaybeU63.h
/// A number that may be absent, such as a route's metric. Route data and match rules use it.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <string_view>

#include "routepolicy_export.h"
#include "substrate/quoin/String.h"

namespace Zeugma {

/// One 64-bit word: if the top bit is set, the number is absent; otherwise the low 63 bits are the value. Two absent numbers are equal
/// whatever their low bits. Threading: a plain value.
class ROUTEPOLICY_API MaybeU63 {
 public:
   constexpr MaybeU63() noexcept = default;                          // absent
   constexpr MaybeU63( uint64_t word ) noexcept : word_( word ) {}   // absent if `word` is 2^63 or above
   static constexpr uint64_t kAbsent = uint64_t( 1 ) << 63;

   constexpr bool present() const noexcept { return !( word_ & kAbsent ); }
   /// The value; 0 when absent.
   constexpr uint64_t value() const noexcept { return present() ? word_ : 0; }

   friend constexpr bool operator==( MaybeU63 a, MaybeU63 b ) noexcept { return a.word_ == b.word_ || ( !a.present() && !b.present() ); }
   static bool isEq( const void * a, const void * b ) noexcept {
      return *static_cast<const MaybeU63 *>( a ) == *static_cast<const MaybeU63 *>( b );
   }
   uint32_t hash() const noexcept;

   /// "none", or the value in decimal.
   Quoin::String toStrep() const;
   /// Parses the form that toStrep() prints. Errors: RangeException on any other text, and on a value of 2^63 and above.
   static MaybeU63 parse( std::string_view text );

 private:
   uint64_t word_ = kAbsent;
};

ROUTEPOLICY_API std::ostream & operator<<( std::ostream & os, MaybeU63 value );

}   // namespace Zeugma
