/// @file substrate/lists/PrefixListStatus.h
/// A compiled prefix list: what evaluation reads of it.
/// Ownership: shared by handle; matchers keep the list that they were made for. Threading: read-only once published.
#pragma once

#include <cstdint>
#include <memory>

#include "routepolicy_export.h"
#include "substrate/acl/MatchPermit.h"
#include "substrate/quoin/String.h"
#include "substrate/routing/PatriciaTrieWithNodeData.h"

namespace Routing::RouteMap {

class PrefixListIndex;

/// One entry, at the trie node of its own prefix. It speaks of prefixes whose length is in [ ge, le ].
class ROUTEPOLICY_API PrefixListEntryData : public Routing::PrefixData {
 public:
   /// A bound above 255 is kept as 255, which no length reaches.
   PrefixListEntryData( uint32_t seqno, Acl::MatchPermit permit, uint8_t prefixLength, uint32_t ge, uint32_t le ) noexcept
         : seqno_( seqno ), prefixLength_( prefixLength ), ge_( bound( ge ) ), le_( bound( le ) ), permit_( permit ) {}
   ~PrefixListEntryData() override;

   uint32_t seqno() const noexcept { return seqno_; }
   uint32_t ge() const noexcept { return ge_; }
   uint32_t le() const noexcept { return le_; }
   uint8_t prefixLength() const noexcept { return prefixLength_; }
   /// An agent's own entry may decide this late.
   virtual bool isPrefixEntryPermit() const { return permit_ == Acl::MatchPermit::permit; }

   /// The next entry at the same node, null behind the last. The chain stands in ascending order of seqno.
   const PrefixListEntryData * nextEntry() const noexcept { return static_cast<const PrefixListEntryData *>( next() ); }

 private:
   static constexpr uint8_t bound( uint32_t length ) noexcept { return uint8_t( length < 255 ? length : 255 ); }

   uint32_t seqno_;
   uint8_t prefixLength_;
   uint8_t ge_;
   uint8_t le_;
   Acl::MatchPermit permit_;
};

class ROUTEPOLICY_API PrefixListStatus : public Quoin::Node {
 public:
   /// A list without entries.
   PrefixListStatus( const Quoin::String & name, Ferule::AddressFamily af );
   ~PrefixListStatus() override;

   const Quoin::String & name() const noexcept { return name_; }
   Ferule::AddressFamily af() const noexcept { return af_; }
   const PatriciaTrieWithNodeData & trie() const noexcept { return *trie_; }

   /// Installs the entries, all of them PrefixListEntryData, and builds the index that speeds up look-ups. What is changed in the
   /// trie after that still counts, at the speed of a plain walk.
   /// Errors: MutatorArgNullPointerException on null.
   void trieIs( const Quoin::Ptr<const PatriciaTrieWithNodeData> & trie );

   /// The index over the present trie; null when it has none (an agent's own entry type, or a trie changed since).
   const PrefixListIndex * index() const noexcept;

   /// Memory of the list, each of its entries taken for a plain one.
   size_t bytes() const noexcept;

 private:
   Ferule::AddressFamily af_;
   Quoin::Ptr<const PatriciaTrieWithNodeData> trie_;
   std::unique_ptr<const PrefixListIndex> index_;
   Quoin::String name_;
};

}   // namespace Routing::RouteMap
