/// @file substrate/lists/IpAccessListStatus.h
/// A compiled access list. The machines of compile/ create it from the configuration; matchers of policy/ evaluate it.
/// Ownership: shared by handle; a matcher holds the list that it was created with. Threading: read-only once published.
#pragma once

#include "routepolicy_export.h"
#include "substrate/acl/AclPrefixEntry.h"
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

/// A name and the trie of the rules.
class ROUTEPOLICY_API IpAccessListStatus : public Quoin::Node {
 public:
   /// Creates a list without rules. Its family is IPv4 until trieIs().
   explicit IpAccessListStatus( const Quoin::String & name );
   ~IpAccessListStatus() override;

   const Quoin::String & name() const noexcept { return name_; }
   const PatriciaTrieWithNodeData & trie() const noexcept { return *trie_; }
   /// Sets the rules. All data of the trie must be AclEntryData. Errors: MutatorArgNullPointerException on null.
   void trieIs( const Quoin::Ptr<const PatriciaTrieWithNodeData> & trie );

 private:
   Quoin::String name_;
   Quoin::Ptr<const PatriciaTrieWithNodeData> trie_;
};

}   // namespace Routing::RouteMap
