/// @file substrate/lists/Ip4PrefixIndex.h
/// Finds the longest of many IPv4 prefixes that contains a prefix. It holds a number for each prefix, but not the prefix, which its
/// user stores. AccessListRules finds its rules with it.
///
/// A node covers four bits of the address. It is a few words in a row: two bitmaps, then an element for each of their bits. `inner` marks
/// the prefixes that end after 0 to 3 of these bits, and their elements are numbers. `child` marks the values of the four bits below which
/// the index goes on; if with a single prefix, the element is the number of that prefix (a leaf), otherwise it refers to a node. Example:
/// 10.1.1.0/24 with the number 0, then 10.0.0.0/8 with the number 1 (7 words):
///
///    bits   0000 | 1010 | 0000 ...
///    root   child 0000 -> node, child 1010 -> node, inner "" (the /8): 1, child 0000: 0, a leaf
///
/// A prefix thus takes 4 bytes, and 8 bytes more for each node that has to tell it from others: 9 bytes in all in a list of 1,000,000.
#pragma once

#include <array>
#include <bit>
#include <cstdint>

#include "routepolicy_export.h"
#include "substrate/lists/ChunkedRow.h"
#include "substrate/quoin/Assert.h"

namespace Routing::RouteMap {

/// Holds any number of separate sets of prefixes; each set is known by its root, which the user keeps. Prefixes are only added.
/// Threading: any number of readers, or one writer.
class ROUTEPOLICY_API Ip4PrefixIndex {
 public:
   /// The first bits of an address. Bits after `length` are ignored.
   struct Prefix {
      uint32_t bits;
      unsigned length;   // 0 to 32
      static constexpr uint32_t maskOf( unsigned length ) noexcept { return uint32_t( ~uint64_t( 0 ) << ( 32 - length ) ); }
      constexpr bool contains( Prefix other ) const noexcept {
         return length <= other.length && ( ( bits ^ other.bits ) & maskOf( length ) ) == 0;
      }
   };
   /// The number of a prefix: below kNone.
   using Number = uint32_t;
   static constexpr Number kNone = ( uint32_t( 1 ) << 31 ) - 1;   // in a root: the set is empty
   using Root = uint32_t;

   /// Adds a prefix, unless it or a prefix that contains it is in the set already; then nothing changes. `prefixOf( number )` returns the
   /// prefix of a number that was added before. Cost: at most eight nodes, whatever the size of the set.
   /// Errors: std::bad_alloc; the set is then unchanged.
   template <class PrefixOf>
   void add( Root & root, Prefix prefix, Number number, PrefixOf && prefixOf ) {
      Slot slot = { kNoWord, 0 };
      for( unsigned depth = 0;; depth += kStride ) {
         const uint32_t element = at( root, slot );
         if( element == kNone ) {
            root = number;
            return;
         }
         if( !isNode( element ) ) {
            const Prefix leaf = prefixOf( element );
            if( leaf.contains( prefix ) ) return;
            const uint32_t node = allocate( 1 );   // replaces the leaf
            words_[ node ] = bitOf( leaf, depth );
            words_[ node + 1 ] = element;
            at( root, slot ) = kNode | node;
         }
         const uint32_t node = at( root, slot ) & ~kNode;
         const uint32_t bitmaps = words_[ node ];
         if( bitmaps & innerHits( prefix, depth ) ) return;
         const uint32_t bit = bitOf( prefix, depth );
         const unsigned place = 1 + rank( bitmaps, bit );
         if( !( bitmaps & bit ) ) {
            at( root, slot ) = kNode | grow( node, place, number );
            words_[ at( root, slot ) & ~kNode ] |= bit;
            return;
         }
         slot = { node, place };
      }
   }

   /// Returns the number of the longest prefix of the set that equals or contains `prefix`; kNone if none does.
   template <class PrefixOf>
   Number longestMatch( Root root, Prefix prefix, PrefixOf && prefixOf ) const noexcept {
      Number found = kNone;
      uint32_t element = root;
      for( unsigned depth = 0; element != kNone; depth += kStride ) {
         if( !isNode( element ) ) return prefixOf( element ).contains( prefix ) ? element : found;
         const uint32_t * const node = &words_[ element & ~kNode ];
         if( const uint32_t hits = *node & innerHits( prefix, depth ) ) found = node[ 1 + rank( *node, std::bit_floor( hits ) ) ];
         if( prefix.length < depth + kStride ) break;
         const uint32_t bit = childBit( prefix, depth );
         if( !( *node & bit ) ) break;
         element = node[ 1 + rank( *node, bit ) ];
      }
      return found;
   }

   /// The memory of all sets.
   size_t bytes() const noexcept { return words_.bytes(); }
   /// Frees unused memory.
   void trim() { words_.trim(); }
   /// Frees a part of the memory of an index that is not used again. Returns false if no memory is left.
   bool dropChunk() noexcept { return words_.dropChunk(); }

 private:
   static constexpr unsigned kStride = 4;
   static constexpr uint32_t kNode = uint32_t( 1 ) << 31;   // of an element that refers to a node; of no bitmaps
   static constexpr uint32_t kNoWord = ~uint32_t( 0 );
   static constexpr unsigned kInnerBits = 15;   // bit ( 1 << r ) - 1 + v: the prefix of r bits with the value v; then 16 bits of `child`
   static constexpr unsigned kMostWords = 1 + kInnerBits + 16;

   // Where an element is: a place in a node, or the root.
   struct Slot {
      uint32_t node;
      unsigned place;
   };
   uint32_t & at( Root & root, Slot slot ) noexcept { return slot.node == kNoWord ? root : words_[ slot.node + slot.place ]; }

   static bool isNode( uint32_t element ) noexcept { return element & kNode; }
   static unsigned fourBits( Prefix p, unsigned depth ) noexcept { return p.bits << depth >> ( 32 - kStride ); }
   static uint32_t childBit( Prefix p, unsigned depth ) noexcept { return uint32_t( 1 ) << ( kInnerBits + fourBits( p, depth ) ); }
   // The bit for a prefix of at least `depth` bits.
   static uint32_t bitOf( Prefix p, unsigned depth ) noexcept {
      const unsigned r = p.length - depth;
      return r < kStride ? uint32_t( 1 ) << ( ( 1u << r ) - 1 + ( fourBits( p, depth ) >> ( kStride - r ) ) ) : childBit( p, depth );
   }
   // The bits of `inner` for all prefixes that contain `p`.
   static uint32_t innerHits( Prefix p, unsigned depth ) noexcept {
      static constexpr auto kPaths = [] {
         std::array<uint16_t, 16> paths{};
         for( unsigned v = 0; v < 16; ++v )
            for( unsigned r = 0; r < kStride; ++r ) paths[ v ] |= uint16_t( 1u << ( ( 1u << r ) - 1 + ( v >> ( kStride - r ) ) ) );
         return paths;
      }();
      const unsigned r = std::min( p.length - depth, kStride - 1 );
      return kPaths[ fourBits( p, depth ) ] & ( ( 1u << ( ( 2u << r ) - 1 ) ) - 1 );
   }
   static unsigned rank( uint32_t bitmaps, uint32_t bit ) noexcept {
      return static_cast<unsigned>( std::popcount( bitmaps & ( bit - 1 ) ) );
   }

   uint32_t allocate( unsigned elements );
   uint32_t grow( uint32_t node, unsigned place, uint32_t element );
   void free( uint32_t block, unsigned words ) noexcept;

   ChunkedRow<uint32_t, 16> words_;
   std::array<uint32_t, kMostWords + 1> free_ = filled();   // by size: the first free block, which begins with the index of the next
   uint64_t sizes_ = 0;                                     // bit n: a block of n words is free

   static constexpr std::array<uint32_t, kMostWords + 1> filled() noexcept {
      std::array<uint32_t, kMostWords + 1> none{};
      none.fill( kNoWord );
      return none;
   }
};

}   // namespace Routing::RouteMap
