/// @file substrate/lists/PrefixRow.h
/// One entry of a compiled prefix list in eight bytes. The prefix itself is the place of the row in its trie.
#pragma once

#include <cstdint>

#include "routepolicy_export.h"

namespace Routing::RouteMap {

/// The number, the action and the bounds of an entry.
class PrefixRow {
 public:
   constexpr PrefixRow( uint32_t seqno, bool permit, uint8_t ge, uint8_t le ) noexcept
         : word_( uint64_t( seqno ) << 32 | uint64_t( ge ) << 24 | uint64_t( le ) << 16 | uint64_t( permit ) << 1 | kIsRow ) {}

   constexpr uint32_t seqno() const noexcept { return static_cast<uint32_t>( word_ >> 32 ); }
   constexpr uint8_t ge() const noexcept { return static_cast<uint8_t>( word_ >> 24 ); }
   constexpr uint8_t le() const noexcept { return static_cast<uint8_t>( word_ >> 16 ); }
   constexpr bool permit() const noexcept { return word_ & kPermit; }
   constexpr bool admits( unsigned length ) const noexcept { return ge() <= length && length <= le(); }
   friend constexpr bool operator==( const PrefixRow &, const PrefixRow & ) = default;

   // ---- for the trie

   static constexpr uint64_t kIsRow = 1;   // a word with this bit is a row, and not the address of a block
   explicit constexpr PrefixRow( uint64_t word ) noexcept : word_( word ) {}
   constexpr uint64_t word() const noexcept { return word_; }
   /// Whether the prefix has further rows. The first row of a prefix knows it.
   constexpr bool hasMore() const noexcept { return word_ & kMore; }
   constexpr PrefixRow withMore( bool more ) const noexcept { return PrefixRow( ( word_ & ~kMore ) | ( more ? kMore : 0 ) ); }
   /// Which prefix of its node a further row belongs to; of any other row 0.
   constexpr unsigned place() const noexcept { return word_ >> 8 & 255; }
   constexpr PrefixRow at( unsigned place ) const noexcept { return PrefixRow( ( word_ & ~uint64_t( 0xFF00 ) ) | uint64_t( place ) << 8 ); }
   /// The row alone, without what the trie adds.
   constexpr PrefixRow bare() const noexcept { return at( 0 ).withMore( false ); }

 private:
   static constexpr uint64_t kPermit = 2;
   static constexpr uint64_t kMore = 4;

   uint64_t word_;
};
static_assert( sizeof( PrefixRow ) == 8 );

}   // namespace Routing::RouteMap
