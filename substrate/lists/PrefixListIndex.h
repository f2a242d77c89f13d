/// @file substrate/lists/PrefixListIndex.h
/// An index that quickly finds the governing entry of a prefix list for a prefix: the matching entry with the lowest sequence number. A
/// PrefixListStatus builds the index in addition to its trie; matchers of policy/ use it for every route.
///
/// The index has one row per slot of the trie's data array; a slot belongs to one prefix of the list. A row holds the bounds (`ge`, `le`)
/// and the action of the first entry at that prefix, the slot of the next containing prefix (the parent), and a bound over all containing
/// prefixes: their lowest sequence number and highest `le`. A look-up starts at the longest prefix of the list that contains the searched
/// prefix. It climbs from parent to parent until the bound shows that no entry above can govern. In a list of exact prefixes, such as a
/// whole routing table, the first bound ends the search. Entries themselves are read only where several entries share one prefix.
///
/// Invariant: the answer equals the result of a walk over all containing prefixes. Threading: immutable.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "routepolicy_export.h"
#include "substrate/lists/PrefixListStatus.h"

namespace Routing::RouteMap {

/// The index of one trie.
class ROUTEPOLICY_API PrefixListIndex {
 public:
   /// Builds the index. Returns null if the trie has entries of a derived class, which may decide at evaluation time.
   static std::unique_ptr<const PrefixListIndex> make( const PatriciaTrieWithNodeData & trie );

   /// The governing entry, if one was found.
   struct Answer {
      uint32_t seqno = 0;
      bool found = false;
      bool permit = false;
   };
   /// Finds, among the entries whose prefix contains `prefix` and whose bounds admit its length, the entry with the lowest sequence number.
   /// `prefix` must be of the trie's family; `trie` must be the trie from which the index was built, unchanged.
   Answer governing( const PatriciaTrieWithNodeData & trie, const Ferule::IpGenPrefix & prefix ) const noexcept;

   /// Whether `trie` has not changed since the index was built from it.
   bool current( const PatriciaTrieWithNodeData & trie ) const noexcept { return trie.version() == trieVersion_; }
   /// The memory of the rows.
   size_t bytes() const noexcept { return rows_.capacity() * sizeof( Row ); }

 private:
   struct Row {   // 16 bytes: four to a cache line
      uint32_t seqno = 0;
      PatriciaTrieWithNodeData::Slot parent = PatriciaTrieWithNodeData::kNoSlot;
      uint32_t aboveSeqno = ~uint32_t( 0 );   // the lowest sequence number at the containing prefixes
      uint8_t ge = 1;
      uint8_t le = 0;
      uint8_t aboveLe = 0;   // the highest `le` at the containing prefixes
      bool permit : 1 = false;
      bool chained : 1 = false;   // this prefix has several entries: a look-up reads the entries themselves
   };
   static_assert( sizeof( Row ) == 16 );
   explicit PrefixListIndex( const PatriciaTrieWithNodeData & trie );
   Answer climb( const PatriciaTrieWithNodeData & trie, PatriciaTrieWithNodeData::Slot slot, unsigned length ) const noexcept;

   std::vector<Row> rows_;
   uint32_t trieVersion_;
};

}   // namespace Routing::RouteMap
