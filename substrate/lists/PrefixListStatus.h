/// @file substrate/lists/PrefixListStatus.h
/// A compiled prefix list. PrefixListBuilder creates it from the configured entries; matchers of policy/ evaluate it.
/// Ownership: shared by handle; a matcher holds the list that it was created with. Threading: read-only once published.
#pragma once

#include <cstdint>

#include "routepolicy_export.h"
#include "substrate/lists/PrefixListEntryData.h"
#include "substrate/lists/PrefixListRows.h"
#include "substrate/quoin/AtomicPtr.h"
#include "substrate/quoin/Seal.h"
#include "substrate/quoin/String.h"
#include "substrate/routing/PatriciaTrieWithNodeData.h"

namespace Routing::RouteMap {

/// A name and the entries: as rows, or as a trie of entry objects, or both.
class ROUTEPOLICY_API PrefixListStatus : public Quoin::Node {
 public:
   /// Creates a list without entries.
   PrefixListStatus( const Quoin::String & name, Ferule::AddressFamily af );
   /// Creates a list of these rows. Errors: MutatorArgNullPointerException on null.
   PrefixListStatus( const Quoin::String & name, const Quoin::Ptr<const PrefixListRows> & rows );
   ~PrefixListStatus() override;

   const Quoin::String & name() const noexcept { return name_; }
   Ferule::AddressFamily af() const noexcept { return af_; }
   /// The entries as a trie. If trieIs() has not set it, each walk creates the entry objects that it hands out. Errors: std::bad_alloc.
   const PatriciaTrieWithNodeData & trie() const;

   /// Sets the entries, and makes rows of them, which speed up look-ups. All data of the trie must be PrefixListEntryData. A later change
   /// of the trie takes effect, but the rows no longer count: look-ups then walk the trie. Cost: proportional to the whole list.
   /// Errors: MutatorArgNullPointerException on null.
   void trieIs( const Quoin::Ptr<const PatriciaTrieWithNodeData> & trie );

   /// The entries as rows; null if the trie has changed after trieIs(), or has no rows (see PrefixListRows::ofTrie()).
   const PrefixListRows * rows() const noexcept {
      return rows_ && ( !given_ || given_->version() == givenVersion_ ) ? rows_.get() : nullptr;
   }
   /// The rows that no later change of a trie can make useless; null if trieIs() has set the entries. trieIs() is the only change.
   const PrefixListRows * ownRows() const noexcept { return given_ ? nullptr : rows_.get(); }
   const Quoin::Seal & seal() const noexcept { return seal_; }
   size_t entryCount() const noexcept { return given_ ? given_->entryCount() : rows_->entryCount(); }

   /// The memory of the list, including what it shares with its other generations. Each entry object of a trie by trieIs() counts
   /// with the size of PrefixListEntryData.
   size_t bytes() const noexcept;

 private:
   Ferule::AddressFamily af_;
   Quoin::Seal seal_;
   uint32_t givenVersion_ = 0;
   Quoin::Ptr<const PrefixListRows> rows_;
   Quoin::Ptr<const PatriciaTrieWithNodeData> given_;                // by trieIs()
   mutable Quoin::AtomicPtr<const PatriciaTrieWithNodeData> made_;   // created by the first trie()
   Quoin::String name_;
};

}   // namespace Routing::RouteMap
