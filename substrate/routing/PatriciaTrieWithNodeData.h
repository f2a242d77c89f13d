/// @file substrate/routing/PatriciaTrieWithNodeData.h
/// Prefixes of one family, each with a chain of data, laid out so that all that stands above a prefix is found in few cache lines.
///
/// A node stands for 6 bits of the address. Its bitmaps say what there is: `inner` which prefixes of 0 to 5 of these bits,
/// `full` which of all 6, `child` below which 6 bits the trie goes on. The children of a node stand in one row, and so does its
/// data; the place in the row is the count of the bits before. A subtree that holds one prefix alone is a single node that
/// bears this prefix whole (a lone node). With 10.0.0.0/8 and 10.1.1.0/24, seen from 10.1.1.0/24:
///
///    bits   000010 | 100000 | 000100 | 000001 | ...
///    root   child 000010 -> node, inner "10" (the /8), child 100000 -> lone node, bears 10.1.1.0/24
///
/// One node is half a cache line. A whole IPv4 table takes four nodes and one place in the data row for a /24.
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

/// Where a trie goes when its last user does.
class ROUTEPOLICY_API PatriciaTrieHeir : public Quoin::Node {
 public:
   ~PatriciaTrieHeir() override;
   /// May hold the trie; what nobody holds goes at once. Threading: that of the last user, whichever it was.
   virtual void take( const Quoin::Ptr<PatriciaTrieWithNodeData> & trie ) noexcept = 0;
};

class ROUTEPOLICY_API PatriciaTrieWithNodeData final : public Quoin::Node {
 public:
   /// `large`: a whole table is coming; space for it is taken at once.
   PatriciaTrieWithNodeData( Ferule::AddressFamily af, bool large );
   ~PatriciaTrieWithNodeData() override;

   Ferule::AddressFamily af() const noexcept { return af_; }
   size_t prefixCount() const noexcept { return prefixCount_; }
   /// Of all chains.
   size_t entryCount() const noexcept { return entryCount_; }
   /// Moves with every change.
   uint32_t version() const noexcept { return version_; }
   /// Memory of nodes and data row, without what the data objects take, nor the lists of free blocks.
   size_t bytes() const noexcept { return nodes_.bytes() + data_.bytes(); }

   /// Puts `data` in front of the chain at `prefix`, of which the bits behind its length do not count. Cost: O(1) in the length of the
   /// chain and in the size of the trie.
   /// Errors: a null `data` raises MutatorArgNullPointerException; std::bad_alloc leaves all that stood in the trie. A prefix that is
   /// not of this family, or longer than its addresses, or data that stands in a chain already, is a fault of the caller and ends
   /// the process.
   void routeIs( const Ferule::IpGenPrefix & prefix, const Quoin::Ptr<PrefixData> & data );

   /// Calls `walker` for each prefix in the trie that is `prefix` or contains it, the shortest first, until it returns false.
   /// A prefix of another family has none.
   void ancestorWalk( const Ferule::IpGenPrefix & prefix, PatriciaTrieWalkCb * walker ) const;

   /// Takes space at once for about so many prefixes, so that few of them have to wait while all is moved. Errors: std::bad_alloc.
   void reserve( size_t prefixes );
   /// Gives that space back where less than half of it was needed.
   void trim();
   /// Lays nodes and data out afresh, without gaps and in the order of a walk. Worth it once a trie is complete.
   void compact();

   /// Who gets the trie when its last user goes; at first null: it goes at once.
   void heirIs( const Quoin::Ptr<PatriciaTrieHeir> & heir ) { heir_ = heir; }
   /// Empties a trie that nobody else uses: lets go of so many entries and places. Returns whether nothing is left. Until then, a trie
   /// that this was begun on is good for nothing else.
   bool letGo( size_t atMost ) noexcept;

   /// Places of the data row, for indices that are built beside a trie; good until the version moves.
   using Slot = uint32_t;
   static constexpr Slot kNoSlot = ~Slot( 0 );
   size_t slotCount() const noexcept { return data_.size(); }
   const PrefixData * slotData( Slot slot ) const noexcept { return data_[ slot ].get(); }

   /// The slot of the longest prefix in the trie that is `prefix` or contains it; kNoSlot when there is none.
   /// `prefix` is of this family.
   Slot longestMatch( const Ferule::IpGenPrefix & prefix ) const noexcept;

   /// Calls `visit( slot, parent, length )` for each prefix, a parent before its children. `parent` is the slot of the longest
   /// other prefix that contains it, or kNoSlot; `length` is the prefix's own.
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
      uint32_t dataBase = 0;   // inner ones in the order of their bits, then full ones

      bool lone() const noexcept { return childBase == kLone; }
      // A lone node has one prefix in place of its bitmaps; dataBase is its slot.
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
   // The number of bits of the prefix that bit `bit` of `inner` stands for.
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
      // What contains the prefix of `r` bits with the value `v`: the longest shorter one of this node, or what stands above.
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
   mutable Quoin::Ptr<PatriciaTrieHeir> heir_;   // until it has gone there
};

}   // namespace Routing
