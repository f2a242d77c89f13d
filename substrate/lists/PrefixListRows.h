/// @file substrate/lists/PrefixListRows.h
/// The entries of a prefix list in the form that matchers look up: a trie of rows of eight bytes. One object is one generation of the list.
/// It shares most of its memory with the generations before and after it: an edit copies the blocks on the path to its prefix only
/// (see PrefixListRowsEditor). The nodes of the trie are in substrate/lists/PrefixRowNode.h.
///
/// A look-up goes from the root towards the prefix and keeps the fitting row with the lowest number; it reads at most six nodes of an
/// IPv4 list, four if no prefix is longer than /24, and the rows of prefixes that contain the searched one or are near it.
///
/// Ownership: shared by handle. Threading: immutable; any thread may drop the last use.
/// Invariant: the answer equals the result of a walk over all containing prefixes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "routepolicy_export.h"
#include "substrate/lists/PrefixRowNode.h"
#include "substrate/lists/RetiredBlocks.h"
#include "substrate/routing/PatriciaTrieWithNodeData.h"

namespace Routing::RouteMap {

class PrefixRowLineage;

/// One generation of the rows of a list.
class ROUTEPOLICY_API PrefixListRows final : public Routing::PrefixDataSource {
 public:
   /// How much a trie holds.
   struct Counts {
      size_t prefixes = 0;
      size_t entries = 0;
      size_t bytes = 0;   // of the blocks
   };
   /// Creates a list without entries.
   explicit PrefixListRows( Ferule::AddressFamily af );
   /// For PrefixListRowsEditor: the next generation, with this trie. `retired`: the blocks that only older generations have.
   PrefixListRows( Ferule::AddressFamily af, const PrefixRowNode & root, const Counts & counts, uint64_t generation,
                   const Quoin::Ptr<PrefixRowLineage> & lineage, RetiredBlocks & retired );
   ~PrefixListRows() override;

   /// The rows of a trie; null if it has entries of a derived class, which may decide at evaluation time, entries at a prefix of another
   /// length than their own, or a chain whose numbers do not ascend.
   static Quoin::Ptr<const PrefixListRows> ofTrie( const PatriciaTrieWithNodeData & trie );

   Ferule::AddressFamily af() const noexcept { return af_; }
   size_t prefixCount() const noexcept override { return prefixCount_; }
   size_t entryCount() const noexcept override { return entryCount_; }
   /// The memory of the blocks, shared or not.
   size_t bytes() const noexcept { return bytes_; }

   /// The governing entry, if one was found.
   struct Answer {
      uint32_t seqno = 0;
      bool found = false;
      bool permit = false;
   };
   /// Finds, among the entries whose prefix contains `prefix` and whose bounds admit its length, the entry with the lowest sequence number.
   /// `prefix` must be of this family.
   Answer governing( const Ferule::IpGenPrefix & prefix ) const noexcept;
   /// Whether that is a permit entry; false for a prefix of the other family.
   bool permits( const Ferule::IpGenPrefix & prefix ) const noexcept { return prefix.af() == af_ && governing( prefix ).permit; }
   /// The same among the entries whose number is `from` or higher.
   Answer governing( const Ferule::IpGenPrefix & prefix, uint32_t from ) const noexcept;
   /// The same, but any bounds admit any length: of each containing prefix the first entry counts.
   Answer covering( const Ferule::IpGenPrefix & prefix ) const noexcept;

   /// Loads what governing() will read for these prefixes into the cache of the processor: for all of them at once, so that their accesses to
   /// memory overlap. Prefixes of the other family are skipped.
   void prefetch( std::span<const Ferule::IpGenPrefix * const> prefixes ) const noexcept;
   static constexpr size_t kMostPrefetched = 16;   // prefixes in one call; the memory for further ones is not loaded

   void ancestorWalk( const Ferule::IpGenPrefix & prefix, PatriciaTrieWalkCb * walker ) const override;

   /// Calls `visit( prefix, row )` for each row, in ascending order of the prefixes; those of one prefix in their order.
   template <class Visit>
   void visitAll( Visit && visit ) const {
      visitNode( root_, 0, {}, visit );
   }

 private:
   friend class PrefixRowLineage;
   template <bool anyBounds, class Visit>
   void descend( const Ferule::IpGenPrefix & prefix, Visit && visit ) const;
   template <bool anyBounds, class Visit, class VisitNear>
   void descend( const Ferule::IpGenPrefix & prefix, Visit && visit, VisitNear && visitNearRows ) const;

   template <class Visit>
   void visitNode( const PrefixRowNode & node, unsigned depth, Ferule::Bits128 bits, Visit & visit ) const;

   PrefixRowNode root_;
   const Ferule::AddressFamily af_;
   const size_t prefixCount_ = 0;
   const size_t entryCount_ = 0;
   const size_t bytes_ = 0;
   const uint64_t generation_ = 0;

   // Guarded by the lineage. The next older and the next newer generation of those in use.
   const Quoin::Ptr<PrefixRowLineage> lineage_;
   PrefixListRows * older_ = nullptr;
   PrefixListRows * newer_ = nullptr;
   RetiredBlocks retired_;                     // blocks that this generation has, and the next newer one does not
   std::vector<ReleasedPrefixRows> younger_;   // newer tries that were released while this generation was being released
};

template <class Visit>
void PrefixListRows::visitNode( const PrefixRowNode & node, unsigned depth, Ferule::Bits128 bits, Visit & visit ) const {
   if( node.isEmpty() ) return;
   node.visitAll(
      bits, depth,
      [ & ]( const PrefixRow & row, Ferule::Bits128 at, unsigned length ) { visit( Ferule::IpGenPrefix::of( af_, at, length ), row ); },
      [ & ]( unsigned v, Ferule::Bits128 here ) { visitNode( node.child( v ), depth + SixBits::kStride, here, visit ); } );
}

}   // namespace Routing::RouteMap
