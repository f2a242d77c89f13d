/// @file substrate/lists/PrefixListIndex.h
/// Answers which entry of a prefix list governs a prefix, without touching the entries where no two share one.
///
/// Beside each slot of the trie's data row stands what the first entry there says, where the next containing prefix is, and a
/// bound on everything above: the lowest sequence number and the highest `le`. A look-up finds the longest prefix that contains
/// the one asked about and goes up from there until the bound says that nothing above can govern. For a list of exact
/// prefixes, such as a whole routing table, the first bound ends the search.
///
/// Invariant: the answer is the one that walking all of the trie's ancestors gives. Threading: immutable.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "routepolicy_export.h"
#include "substrate/lists/PrefixListStatus.h"

namespace Routing::RouteMap {

class ROUTEPOLICY_API PrefixListIndex {
 public:
   /// Null when the trie has entries of a derived class, which may decide late.
   static std::unique_ptr<const PrefixListIndex> make( const PatriciaTrieWithNodeData & trie );

   struct Answer {
      uint32_t seqno = 0;
      bool found = false;
      bool permit = false;
   };
   /// The entry with the lowest sequence number among those that admit the prefix's length, the first of each node counting.
   /// `prefix` is of the trie's family, and the trie the one that the index was made of.
   Answer governing( const PatriciaTrieWithNodeData & trie, const Ferule::IpGenPrefix & prefix ) const noexcept;

   bool current( const PatriciaTrieWithNodeData & trie ) const noexcept { return trie.version() == trieVersion_; }
   size_t bytes() const noexcept { return rows_.capacity() * sizeof( Row ); }

 private:
   struct Row {   // 16 bytes: four to a cache line
      uint32_t seqno = 0;
      PatriciaTrieWithNodeData::Slot parent = PatriciaTrieWithNodeData::kNoSlot;
      uint32_t aboveSeqno = ~uint32_t( 0 );   // no entry at a containing prefix has a lower number
      uint8_t ge = 1;
      uint8_t le = 0;
      uint8_t aboveLe = 0;   // no entry at a containing prefix admits a greater length
      bool permit : 1 = false;
      bool chained : 1 = false;   // several entries at this prefix: ask them
   };
   static_assert( sizeof( Row ) == 16 );
   explicit PrefixListIndex( const PatriciaTrieWithNodeData & trie );
   Answer climb( const PatriciaTrieWithNodeData & trie, PatriciaTrieWithNodeData::Slot slot, unsigned length ) const noexcept;

   std::vector<Row> rows_;
   uint32_t trieVersion_;
};

}   // namespace Routing::RouteMap
