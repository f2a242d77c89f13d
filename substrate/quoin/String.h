/// @file substrate/quoin/String.h
/// An immutable text. Names of lists and route maps, and rendered values, are of this type.
#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <new>
#include <string>
#include <string_view>
#include <utility>

#include "routepolicy_export.h"
#include "substrate/quoin/UseCount.h"
#include "substrate/quoin/Value.h"

namespace Quoin {

/// An immutable text of any bytes, compared byte by byte. Copies share the bytes, because route maps, machines and matchers keep the same
/// few names. Assignment replaces the whole value. Errors: std::bad_alloc; std::length_error above 4 GiB. A copy cannot fail.
/// Threading: several threads may read and copy one value while no thread assigns it.
class ROUTEPOLICY_API String {
 public:
   constexpr String() noexcept = default;
   /// Errors: std::logic_error on null.
   String( const char * text );
   String( const std::string & text ) : String( std::string_view( text ) ) {}
   explicit String( std::string_view text );
   String( const String & other ) noexcept : text_( other.text_ ) {
      if( text_ ) text_->uses.inc();
   }
   String( String && other ) noexcept : text_( std::exchange( other.text_, nullptr ) ) {}
   String & operator=( String other ) noexcept {
      std::swap( text_, other.text_ );
      return *this;
   }
   ~String() {
      if( text_ && text_->uses.dec() ) ::operator delete( text_ );
   }

   /// The bytes, followed by a zero byte that size() does not count.
   const char * data() const noexcept { return text_ ? reinterpret_cast<const char *>( text_ + 1 ) : ""; }
   size_t size() const noexcept { return text_ ? text_->size : 0; }
   bool empty() const noexcept { return !text_; }
   uint32_t hash() const noexcept { return static_cast<uint32_t>( std::hash<std::string_view>()( view() ) ); }

   /// Negative, zero or positive, as memcmp() on the bytes. If one text is the beginning of the other, the shorter text is less.
   int compare( const String & other ) const noexcept { return view().compare( other.view() ); }

   /// Valid until this value is assigned or destroyed.
   std::string_view view() const noexcept { return { data(), size() }; }
   operator std::string_view() const noexcept { return view(); }

   friend bool operator==( const String & a, const String & b ) noexcept { return a.text_ == b.text_ || a.view() == b.view(); }
   static bool isEq( const void * a, const void * b ) noexcept { return Quoin::isEqOf<String>( a, b ); }
   friend bool operator==( const String & a, const char * b ) noexcept { return a.view() == b; }
   friend std::strong_ordering operator<=>( const String & a, const String & b ) noexcept { return a.view() <=> b.view(); }
   friend ROUTEPOLICY_API String operator+( const String & a, const String & b );
   friend ROUTEPOLICY_API std::ostream & operator<<( std::ostream & os, const String & s );

 private:
   struct Text {   // the bytes and a zero byte follow it
      UseCount uses;
      uint32_t size;
   };

   Text * text_ = nullptr;   // null for the empty text
};

}   // namespace Quoin

template <>
struct std::hash<Quoin::String> {
   size_t operator()( const Quoin::String & s ) const noexcept { return s.hash(); }
};
