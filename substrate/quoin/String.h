/// @file substrate/quoin/String.h
/// An immutable text. Names of lists and route maps, and rendered values, are of this type.
#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <string>
#include <string_view>
#include <utility>

#include "routepolicy_export.h"
#include "substrate/quoin/Value.h"

namespace Quoin {

/// An immutable text of any bytes, compared byte by byte. Assignment replaces the whole value.
/// Threading: as std::string: several threads may read one value while no thread assigns it.
class String {
 public:
   String() = default;
   String( const char * text ) : text_( text ) {}
   String( std::string text ) noexcept : text_( std::move( text ) ) {}
   explicit String( std::string_view text ) : text_( text ) {}

   /// The bytes, followed by a zero byte that size() does not count.
   const char * data() const noexcept { return text_.c_str(); }
   size_t size() const noexcept { return text_.size(); }
   bool empty() const noexcept { return text_.empty(); }
   uint32_t hash() const noexcept { return static_cast<uint32_t>( std::hash<std::string>()( text_ ) ); }

   /// Negative, zero or positive, as memcmp() on the bytes. If one text is the beginning of the other, the shorter text is less.
   int compare( const String & other ) const noexcept { return text_.compare( other.text_ ); }

   /// Valid until this value is assigned or destroyed.
   std::string_view view() const noexcept { return text_; }
   operator std::string_view() const noexcept { return text_; }

   friend bool operator==( const String & a, const String & b ) noexcept { return a.text_ == b.text_; }
   static bool isEq( const void * a, const void * b ) noexcept { return Quoin::isEqOf<String>( a, b ); }
   friend bool operator==( const String & a, const char * b ) noexcept { return a.text_ == b; }
   friend std::strong_ordering operator<=>( const String & a, const String & b ) noexcept { return a.text_ <=> b.text_; }
   friend String operator+( const String & a, const String & b ) { return String( a.text_ + b.text_ ); }
   friend ROUTEPOLICY_API std::ostream & operator<<( std::ostream & os, const String & s );

 private:
   std::string text_;
};

}   // namespace Quoin

template <>
struct std::hash<Quoin::String> {
   size_t operator()( const Quoin::String & s ) const noexcept { return s.hash(); }
};
