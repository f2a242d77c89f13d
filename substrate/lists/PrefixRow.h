/// @file substrate/lists/PrefixRow.h
/// One entry of a compiled prefix list in eight bytes. Most of the prefix is the place of the row in its trie.
#pragma once

#include <bit>
#include <cstdint>

#include "routepolicy_export.h"

namespace Routing::RouteMap {

/// Whether both hold, without a branch.
constexpr bool both( bool a, bool b ) noexcept {
   return ( unsigned( a ) & unsigned( b ) ) != 0;
}

/// The number, the action and the bounds of an entry.
class PrefixRow {
 public:
   constexpr PrefixRow( uint32_t seqno, bool permit, uint8_t ge, uint8_t le ) noexcept
         : word_( uint64_t( seqno ) << 32 | uint64_t( ge ) << 24 | uint64_t( le ) << 16 | uint64_t( permit ) << 1 | kIsRow ) {}

   constexpr uint32_t seqno() const noexcept { return static_cast<uint32_t>( word_ >> 32 ); }
   constexpr uint8_t ge() const noexcept { return static_cast<uint8_t>( word_ >> 24 ); }
   constexpr uint8_t le() const noexcept { return static_cast<uint8_t>( word_ >> 16 ); }
   constexpr bool permit() const noexcept { return word_ & kPermit; }
   constexpr bool admits( unsigned length ) const noexcept { return both( ge() <= length, length <= le() ); }
   friend constexpr bool operator==( const PrefixRow &, const PrefixRow & ) = default;

   // ---- for the trie

   static constexpr uint64_t kIsRow = 1;   // a word with this bit is a row
   explicit constexpr PrefixRow( uint64_t word ) noexcept : word_( word ) {}
   constexpr uint64_t word() const noexcept { return word_; }
   /// What the trie notes beside the entry, below 2^14; else 0.
   constexpr unsigned note() const noexcept { return word_ >> 2 & kNote; }
   constexpr PrefixRow with( unsigned note ) const noexcept { return PrefixRow( bare().word_ | uint64_t( note ) << 2 ); }
   /// The row alone, without a note.
   constexpr PrefixRow bare() const noexcept { return PrefixRow( word_ & ~( kNote << 2 ) ); }

 private:
   static constexpr uint64_t kPermit = 2;
   static constexpr uint64_t kNote = ( 1 << 14 ) - 1;

   uint64_t word_;
};
static_assert( sizeof( PrefixRow ) == 8 );

/// The end of a prefix, behind the bits that its place in the trie tells, as the note of a row: up to 13 bits, then a one bit, then zeros.
namespace PrefixRest {

constexpr unsigned kMostBits = 13;

/// The note for the first `length` of the 13 bits `bits`.
constexpr unsigned note( unsigned bits, unsigned length ) noexcept {
   return bits << 1 | 1u << ( kMostBits - length );
}
constexpr unsigned length( unsigned note ) noexcept {
   return kMostBits - static_cast<unsigned>( std::countr_zero( note ) );
}
/// The 13 bits; those after the length are 0.
constexpr unsigned bits( unsigned note ) noexcept {
   return ( note & ( note - 1 ) ) >> 1;
}
/// Finds the notes of the prefixes that contain another prefix. No branch.
class Search {
 public:
   /// The first `length` bits of `rest` are those of that prefix.
   constexpr Search( uint64_t rest, unsigned length ) noexcept
         : address_( static_cast<unsigned>( rest >> ( 64 - kMostBits ) ) << 1 ),
           least_( length < kMostBits ? ( 2u << ( kMostBits - length ) ) - 1 : 1 ) {}
   /// `note` has a prefix.
   constexpr bool finds( unsigned note ) const noexcept {
      const unsigned end = note ^ ( note - 1 );   // the one bit behind the prefix, and all bits behind it
      return both( ( note ^ address_ ) <= end, end >= least_ );
   }

 private:
   unsigned address_;
   unsigned least_;   // the end of a prefix that is as long
};

}   // namespace PrefixRest

}   // namespace Routing::RouteMap
