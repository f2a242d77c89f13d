/// @file substrate/lists/IpAccessListStatus.h
/// A compiled access list. The machines of compile/ create it from the configuration; matchers of policy/ evaluate it.
/// Ownership: shared by handle; a matcher holds the list that it was created with. Threading: read-only once published.
#pragma once

#include <atomic>
#include <mutex>

#include "routepolicy_export.h"
#include "substrate/acl/AclPrefixEntry.h"
#include "substrate/quoin/Seal.h"
#include "substrate/quoin/String.h"
#include "substrate/routing/PatriciaTrieWithNodeData.h"

namespace Routing::RouteMap {

/// One rule. It is stored in the trie at a prefix that contains all addresses that the rule can match. The order of the rules at one prefix
/// is unspecified.
class ROUTEPOLICY_API AclEntryData : public Routing::PrefixData {
 public:
   explicit AclEntryData( const AclPrefixEntry & entry ) noexcept : entry_( entry ) {}
   ~AclEntryData() override;

   uint32_t seqno() const noexcept { return entry_.seqno; }
   const Ferule::IpGenAddrWithFullMask & source() const noexcept { return entry_.source; }
   /// Virtual: a rule class of an agent may decide this at evaluation time.
   virtual Acl::MatchPermit permit() const { return entry_.permit; }
   /// The next rule at the same prefix; null after the last.
   const AclEntryData * nextEntry() const noexcept { return static_cast<const AclEntryData *>( next() ); }

 private:
   AclPrefixEntry entry_;
};

class AccessListRules;

/// Adds a rule to a trie, at the prefix of the leading ones of its mask. Errors: as routeIs().
ROUTEPOLICY_API void addRule( PatriciaTrieWithNodeData & trie, const AclPrefixEntry & rule );

/// A name and the rules, in one of two forms: a trie, or the smaller AccessListRules, of which a trie is created when it is asked for.
class ROUTEPOLICY_API IpAccessListStatus : public Quoin::Node {
 public:
   /// Creates a list without rules. Its family is IPv4 until trieIs().
   explicit IpAccessListStatus( const Quoin::String & name );
   /// Creates a list of these rules. `heir` receives a trie that trie() creates, when it is no longer used; it may be null.
   /// Errors: MutatorArgNullPointerException if `rules` is null.
   IpAccessListStatus( const Quoin::String & name, const Quoin::Ptr<const AccessListRules> & rules,
                       const Quoin::Ptr<PatriciaTrieHeir> & heir = nullptr );
   ~IpAccessListStatus() override;

   const Quoin::String & name() const noexcept { return name_; }
   /// The rules as a trie. If the list has rules(), the first call creates the trie, which then lives as long as the list. For a million
   /// rules, this takes about half a second and several times the memory of the list. A match does not need the trie.
   /// Errors: std::bad_alloc. Threading: any number of threads.
   const PatriciaTrieWithNodeData & trie() const {
      const auto * trie = trie_.load( std::memory_order_acquire );
      return trie ? *trie : createTrie();
   }
   /// Sets the rules. All data of the trie must be AclEntryData. Errors: MutatorArgNullPointerException on null.
   void trieIs( const Quoin::Ptr<const PatriciaTrieWithNodeData> & trie );
   /// The rules for a match; null if the list was given as a trie.
   const AccessListRules * rules() const noexcept { return rules_.get(); }
   /// trieIs() is the only change.
   const Quoin::Seal & seal() const noexcept { return seal_; }

 private:
   const PatriciaTrieWithNodeData & createTrie() const;

   Quoin::Seal seal_;
   Quoin::String name_;
   Quoin::Ptr<const AccessListRules> rules_;
   Quoin::Ptr<PatriciaTrieHeir> heir_;
   mutable std::once_flag created_;
   mutable Quoin::Ptr<const PatriciaTrieWithNodeData> trieUse_;
   mutable std::atomic<const PatriciaTrieWithNodeData *> trie_ = nullptr;   // is set last; null until the trie is asked for
};

}   // namespace Routing::RouteMap
