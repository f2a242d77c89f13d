/// @file substrate/routing/PatriciaTrieWithNodeData.h
/// A map from prefixes of one family to chains of data, built to find all prefixes that contain a given prefix with few memory accesses.
/// Compiled prefix lists and access lists store their entries and rules in it.
///
/// A node covers 6 bits of the address. It has three bitmaps: `inner` marks the prefixes that end after 0 to 5 of these bits, `full` the
/// prefixes that end after all 6, and `child` the values of the 6 bits below which the trie continues. The children of a node form one
/// block of an array, and so does its data; the index in the block is the number of 1 bits in front. A subtree with a single prefix
/// is one node that stores the whole prefix (a lone node). Example: the path to 10.1.1.0/24 in a trie of 10.0.0.0/8 and 10.1.1.0/24:
///
///    bits   000010 | 100000 | 000100 | 000001 | ...
///    root   child 000010 -> node, inner "10" (the /8), child 100000 -> lone node, stores 10.1.1.0/24
///
/// One node takes 32 bytes, half a cache line. A look-up of a /24 in a whole IPv4 table reads four nodes and one element of the data array.
///
/// Ownership: the trie holds the data of each chain. Threading: any number of readers, or one writer.
#pragma once

#include <bit>
#include <cstdint>

#include "routepolicy_export.h"
#include "substrate/routing/Arena.h"
#include "substrate/routing/PatriciaTrieWalkCb.h"

namespace Routing {

class PatriciaTrieWithNodeData;

/// Receives a trie whose last use was dropped. RetiredTries is one.
class ROUTEPOLICY_API PatriciaTrieHeir : public Quoin::Node {
 public:
   ~PatriciaTrieHeir() override;
   /// May take a handle of the trie; otherwise the trie is destroyed at once. Threading: the thread that dropped the last use.
   virtual void take( const Quoin::Ptr<PatriciaTrieWithNodeData> & trie ) noexcept = 0;
};

/// The trie. Prefixes can be added, but not removed.
class ROUTEPOLICY_API PatriciaTrieWithNodeData final : public Quoin::Node {
 public:
   /// Creates an empty trie. `large` reserves memory for a whole IPv4 table at once.
   PatriciaTrieWithNodeData( Ferule::AddressFamily af, bool large );
   ~PatriciaTrieWithNodeData() override;

   Ferule::AddressFamily af() const noexcept { return af_; }
   size_t prefixCount() const noexcept { return prefixCount_; }
   /// The number of data objects in all chains.
   size_t entryCount() const noexcept { return entryCount_; }
   /// Increases with every change.
   uint32_t version() const noexcept { return version_; }
   /// The memory of the nodes and of the data array, without the data objects and the lists of free blocks.
   size_t bytes() const noexcept { return nodes_.bytes() + data_.bytes(); }

   /// Inserts `data` at the front of the chain at `prefix`. Bits after the length of the prefix are ignored. Cost: independent of the
   /// length of the chain and of the size of the trie.
   /// Errors: MutatorArgNullPointerException if `data` is null; std::bad_alloc, and the entries of the trie are then unchanged. The process
   /// ends if the prefix is of another family or too long for the family, or if `data` is in a chain already.
   void routeIs( const Ferule::IpGenPrefix & prefix, const Quoin::Ptr<PrefixData> & data );

   /// Calls `walker` for each prefix in the trie that equals or contains `prefix`, the shortest first, until `walker` returns false.
   /// Does nothing for a prefix of another family.
   void ancestorWalk( const Ferule::IpGenPrefix & prefix, PatriciaTrieWalkCb * walker ) const;

   /// Reserves memory for about that many prefixes, so that insertions seldom have to move the arrays. Errors: std::bad_alloc.
   void reserve( size_t prefixes );
   /// Frees reserved memory if less than half of it is in use.
   void trim();
   /// Moves nodes and data into new arrays without gaps, in the order of a walk. Worth its cost once a trie is complete.
   void compact();

   /// Sets the object that receives the trie when its last use is dropped. Initially null: the trie is then destroyed at once.
   void heirIs( const Quoin::Ptr<PatriciaTrieHeir> & heir ) { heir_ = heir; }
   /// Empties, step by step, a trie that has no other user: releases at most `atMost` entries and slots per call. Returns true when the
   /// trie is empty. After the first call, the trie must not be used for anything else.
   bool letGo( size_t atMost ) noexcept;

   /// An index into the data array. Structures beside the trie use slots to refer to prefixes. A slot is valid until the version changes.
   using Slot = uint32_t;
   static constexpr Slot kNoSlot = ~Slot( 0 );
   /// One above the greatest slot. Free slots count too.
   size_t slotCount() const noexcept { return data_.size(); }
   /// The head of the chain in that slot; null for a free slot.
   const PrefixData * slotData( Slot slot ) const noexcept { return data_[ slot ].get(); }

   /// The slot of the longest prefix in the trie that equals or contains `prefix`; kNoSlot if none does.
   /// `prefix` must be of this family.
   Slot longestMatch( const Ferule::IpGenPrefix & prefix ) const noexcept;

   /// Calls `visit( slot, parent, length )` for each prefix, a parent before its children. `parent` is the slot of the longest other prefix
   /// that contains this prefix, or kNoSlot; `length` is the length of this prefix.
   template <class Visit>
   void visitAll( Visit && visit ) const {
      visitNode( nodes_[ 0 ], 0, kNoSlot, visit );
   }

 private:
   static constexpr unsigned kStride = 6;
   static constexpr uint32_t kLone = ~uint32_t( 0 );

   struct TrieNode {
      uint64_t inner = 0;   // bit ( 1 << r ) - 1 + v: the prefix of r bits with the value v; r = 0 at the root only
      uint64_t full = 0;    // bit v: the prefix of all six bits with the value v
      uint64_t child = 0;   // bit v: longer prefixes below these six bits
      uint32_t childBase = 0;
      uint32_t dataBase = 0;   // first the data of `inner`, in the order of the bits; then the data of `full`

      bool lone() const noexcept { return childBase == kLone; }
      // A lone node stores one prefix in place of the bitmaps; dataBase is the slot of this prefix.
      static TrieNode makeLone( Ferule::Bits128 bits, unsigned length, Slot slot ) noexcept {
         return { bits.high, bits.low, length, kLone, slot };
      }
      Ferule::Bits128 loneBits() const noexcept { return { inner, full }; }
      unsigned loneLength() const noexcept { return static_cast<unsigned>( child ); }

      static unsigned rank( uint64_t bitmap, unsigned bit ) noexcept {
         return static_cast<unsigned>( std::popcount( bitmap & ( ( uint64_t( 1 ) << bit ) - 1 ) ) );
      }
      unsigned dataCount() const noexcept { return static_cast<unsigned>( std::popcount( inner ) + std::popcount( full ) ); }
      unsigned childCount() const noexcept { return static_cast<unsigned>( std::popcount( child ) ); }
      Slot innerSlot( unsigned bit ) const noexcept { return dataBase + rank( inner, bit ); }
      Slot fullSlot( unsigned v ) const noexcept { return dataBase + static_cast<Slot>( std::popcount( inner ) ) + rank( full, v ); }
   };

   // The bits of `inner` for the prefixes of 0 to 5 bits that contain the six bits `v`.
   static constexpr uint64_t innerPath( unsigned v ) noexcept {
      uint64_t path = 0;
      for( unsigned r = 0; r < kStride; ++r ) path |= uint64_t( 1 ) << ( ( 1u << r ) - 1 + ( v >> ( kStride - r ) ) );
      return path;
   }
   // The number of bits of the prefix that the bit `bit` of `inner` marks.
   static constexpr unsigned innerLength( unsigned bit ) noexcept { return static_cast<unsigned>( std::bit_width( bit + 1 ) ) - 1; }

   void lastUserGone() const override;
   template <class OnNode, class OnLone>
   void descend( Ferule::Bits128 bits, unsigned length, OnNode && onNode, OnLone && onLone ) const;
   Slot slotIs( Ferule::Bits128 bits, unsigned length );
   Slot place( TrieNode & node, unsigned depth, Ferule::Bits128 bits, unsigned length, Slot loneSlot );
   TrieNode takeFrom( PatriciaTrieWithNodeData & from, const TrieNode & node ) noexcept;

   template <class Visit>
   void visitNode( const TrieNode & node, unsigned depth, Slot above, Visit & visit ) const {
      if( node.lone() ) return visit( node.dataBase, above, node.loneLength() );
      // The parent of the prefix of `r` bits with the value `v`: the longest shorter prefix of this node, or the parent of the node.
      auto parent = [ & ]( unsigned r, unsigned v ) {
         const unsigned six = v << ( kStride - r );
         const uint64_t shorter = node.inner & innerPath( six ) & ( ( uint64_t( 1 ) << ( ( 1u << r ) - 1 ) ) - 1 );
         return shorter ? node.innerSlot( static_cast<unsigned>( std::bit_width( shorter ) ) - 1 ) : above;
      };
      for( uint64_t rest = node.inner; rest; rest &= rest - 1 ) {
         const unsigned bit = static_cast<unsigned>( std::countr_zero( rest ) );
         const unsigned r = innerLength( bit );
         visit( node.innerSlot( bit ), parent( r, bit + 1 - ( 1u << r ) ), depth + r );
      }
      for( unsigned v = 0; v < 64; ++v ) {
         const uint64_t bit = uint64_t( 1 ) << v;
         if( !( ( node.full | node.child ) & bit ) ) continue;
         Slot up = parent( kStride, v );
         if( node.full & bit ) {
            visit( node.fullSlot( v ), up, depth + kStride );
            up = node.fullSlot( v );
         }
         if( node.child & bit ) visitNode( nodes_[ node.childBase + TrieNode::rank( node.child, v ) ], depth + kStride, up, visit );
      }
   }

   Ferule::AddressFamily af_;
   uint32_t version_ = 0;
   size_t prefixCount_ = 0;
   Arena<TrieNode, 64> nodes_;                       // the first is the root
   Arena<Quoin::Ptr<const PrefixData>, 127> data_;   // heads of chains
   size_t entryCount_ = 0;
   mutable Quoin::Ptr<PatriciaTrieHeir> heir_;   // null after the heir has received the trie
};

}   // namespace Routing
