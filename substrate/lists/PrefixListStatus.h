/// @file substrate/lists/PrefixListStatus.h
/// A compiled prefix list. PrefixListBuilder creates it from the configured entries; matchers of policy/ evaluate it.
/// Ownership: shared by handle; a matcher holds the list that it was created with. Threading: read-only once published.
#pragma once

#include <cstdint>
#include <memory>

#include "routepolicy_export.h"
#include "substrate/acl/MatchPermit.h"
#include "substrate/quoin/String.h"
#include "substrate/routing/PatriciaTrieWithNodeData.h"

namespace Routing::RouteMap {

class PrefixListIndex;

/// One entry. It is stored in the trie at its own prefix, and matches contained prefixes whose length is in [ ge, le ].
class ROUTEPOLICY_API PrefixListEntryData : public Routing::PrefixData {
 public:
   /// A bound above 255 is stored as 255, which no prefix length reaches.
   PrefixListEntryData( uint32_t seqno, Acl::MatchPermit permit, uint8_t prefixLength, uint32_t ge, uint32_t le ) noexcept
         : seqno_( seqno ), prefixLength_( prefixLength ), ge_( bound( ge ) ), le_( bound( le ) ), permit_( permit ) {}
   ~PrefixListEntryData() override;

   uint32_t seqno() const noexcept { return seqno_; }
   uint32_t ge() const noexcept { return ge_; }
   uint32_t le() const noexcept { return le_; }
   uint8_t prefixLength() const noexcept { return prefixLength_; }
   /// Virtual: an entry class of an agent may decide this at evaluation time.
   virtual bool isPrefixEntryPermit() const { return permit_ == Acl::MatchPermit::permit; }

   /// The next entry at the same prefix, in ascending order of seqno; null after the last.
   const PrefixListEntryData * nextEntry() const noexcept { return static_cast<const PrefixListEntryData *>( next() ); }

 private:
   static constexpr uint8_t bound( uint32_t length ) noexcept { return uint8_t( length < 255 ? length : 255 ); }

   uint32_t seqno_;
   uint8_t prefixLength_;
   uint8_t ge_;
   uint8_t le_;
   Acl::MatchPermit permit_;
};

/// A name, the trie of the entries, and the index over the trie.
class ROUTEPOLICY_API PrefixListStatus : public Quoin::Node {
 public:
   /// Creates a list without entries.
   PrefixListStatus( const Quoin::String & name, Ferule::AddressFamily af );
   ~PrefixListStatus() override;

   const Quoin::String & name() const noexcept { return name_; }
   Ferule::AddressFamily af() const noexcept { return af_; }
   const PatriciaTrieWithNodeData & trie() const noexcept { return *trie_; }

   /// Sets the entries and builds the index that speeds up look-ups. All data of the trie must be PrefixListEntryData. A later change of
   /// the trie takes effect, but disables the index: look-ups then walk the trie.
   /// Errors: MutatorArgNullPointerException on null.
   void trieIs( const Quoin::Ptr<const PatriciaTrieWithNodeData> & trie );

   /// The index over the trie; null if the trie has entries of a derived class, or changed after trieIs().
   const PrefixListIndex * index() const noexcept;

   /// The memory of the list. Every entry counts with the size of PrefixListEntryData.
   size_t bytes() const noexcept;

 private:
   Ferule::AddressFamily af_;
   Quoin::Ptr<const PatriciaTrieWithNodeData> trie_;
   std::unique_ptr<const PrefixListIndex> index_;
   Quoin::String name_;
};

}   // namespace Routing::RouteMap
