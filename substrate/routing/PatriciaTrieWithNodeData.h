/// @file substrate/routing/PatriciaTrieWithNodeData.h
/// A map from prefixes of one family to chains of data, built to find all prefixes that contain a given prefix with few memory accesses.
/// Compiled access lists store their rules in it, and agents their own entries of prefix lists.
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
#include "substrate/quoin/Assert.h"
#include "substrate/routing/Arena.h"
#include "substrate/routing/PatriciaTrieWalkCb.h"
#include "substrate/routing/SixBits.h"

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
   /// Creates a trie whose data `source` makes during each walk. It has the counts and ancestorWalk() of the source; nothing can be added, and
   /// visitAll() ends the process. Errors: MutatorArgNullPointerException on null.
   PatriciaTrieWithNodeData( Ferule::AddressFamily af, const Quoin::Ptr<const PrefixDataSource> & source );
   ~PatriciaTrieWithNodeData() override;

   Ferule::AddressFamily af() const noexcept { return af_; }
   size_t prefixCount() const noexcept { return source_ ? source_->prefixCount() : prefixCount_; }
   /// The number of data objects in all chains.
   size_t entryCount() const noexcept { return source_ ? source_->entryCount() : entryCount_; }
   /// Increases with every change.
   uint32_t version() const noexcept { return version_; }
   /// The memory of the nodes and of the data array, without the data objects and the lists of free blocks.
   size_t bytes() const noexcept { return nodes_.bytes() + data_.bytes(); }

   /// Inserts `data` at the front of the chain at `prefix`. Bits after the length of the prefix are ignored. Cost: independent of the
   /// length of the chain and of the size of the trie.
   /// Errors: MutatorArgNullPointerException if `data` is null; std::bad_alloc, and the entries of the trie are then unchanged. The process
   /// ends if the prefix is of another family or too long for the family, or if `data` is in a chain already.
   void routeIs( const Ferule::IpGenPrefix & prefix, const Quoin::Ptr<PrefixData> & data );

   /// The source of the data; null if the trie has data of its own.
   const Quoin::Ptr<const PrefixDataSource> & source() const noexcept { return source_; }

   /// Calls `walker` for each prefix in the trie that equals or contains `prefix`, the shortest first, until `walker` returns false.
   /// Does nothing for a prefix of another family. Errors: with a source, std::bad_alloc.
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

   /// Calls `visit( prefix, head )` with the head of the chain at each prefix, in ascending order of the prefixes.
   template <class Visit>
   void visitAll( Visit && visit ) const {
      QUOIN_ASSERT( !source_, "!source_" );
      visitNode( nodes_[ 0 ], 0, {}, visit );
   }

 private:
   using Slot = uint32_t;   // an index into the data array
   static constexpr Slot kNoSlot = ~Slot( 0 );
   static constexpr unsigned kStride = SixBits::kStride;
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

      unsigned dataCount() const noexcept { return SixBits::count( inner ) + SixBits::count( full ); }
      unsigned childCount() const noexcept { return SixBits::count( child ); }
      Slot innerSlot( unsigned bit ) const noexcept { return dataBase + SixBits::rank( inner, bit ); }
      Slot fullSlot( unsigned v ) const noexcept { return dataBase + SixBits::count( inner ) + SixBits::rank( full, v ); }
   };

   void lastUserGone() const override;
   template <class OnNode, class OnLone>
   void descend( Ferule::Bits128 bits, unsigned length, OnNode && onNode, OnLone && onLone ) const;
   Slot slotIs( Ferule::Bits128 bits, unsigned length );
   Slot place( TrieNode & node, unsigned depth, Ferule::Bits128 bits, unsigned length, Slot loneSlot );
   TrieNode takeFrom( PatriciaTrieWithNodeData & from, const TrieNode & node ) noexcept;

   template <class Visit>
   void visitNode( const TrieNode & node, unsigned depth, Ferule::Bits128 bits, Visit & visit ) const {
      using Ferule::IpGenPrefix;
      if( node.lone() ) return visit( IpGenPrefix::of( af_, node.loneBits(), node.loneLength() ), data_[ node.dataBase ].get() );
      for( unsigned v = 0; v < SixBits::kValues; ++v ) {
         const Ferule::Bits128 here = bits ^ SixBits::placed( v, depth );
         for( unsigned r = 0; r < kStride; ++r )
            if( const unsigned bit = SixBits::innerBit( r, v ); SixBits::innerValue( bit ) == v && node.inner >> bit & 1 )
               visit( IpGenPrefix::of( af_, here, depth + r ), data_[ node.innerSlot( bit ) ].get() );
         if( node.full >> v & 1 ) visit( IpGenPrefix::of( af_, here, depth + kStride ), data_[ node.fullSlot( v ) ].get() );
         if( node.child >> v & 1 ) visitNode( nodes_[ node.childBase + SixBits::rank( node.child, v ) ], depth + kStride, here, visit );
      }
   }

   Ferule::AddressFamily af_;
   uint32_t version_ = 0;
   size_t prefixCount_ = 0;
   Arena<TrieNode, 64> nodes_;                       // the first is the root
   Arena<Quoin::Ptr<const PrefixData>, 127> data_;   // heads of chains
   size_t entryCount_ = 0;
   const Quoin::Ptr<const PrefixDataSource> source_;   // null: the trie has data of its own
   mutable Quoin::Ptr<PatriciaTrieHeir> heir_;         // null after the heir has received the trie
};

}   // namespace Routing
