/// @file substrate/lists/IpAccessListStatus.h
/// A compiled access list: what evaluation reads of it.
/// Ownership: shared by handle; matchers keep the list that they were made for. Threading: read-only once published.
#pragma once

#include "routepolicy_export.h"
#include "substrate/acl/AclPrefixEntry.h"
#include "substrate/quoin/String.h"
#include "substrate/routing/PatriciaTrieWithNodeData.h"

namespace Routing::RouteMap {

/// One rule, at a trie node that stands above all that it can match. The chain at a node is in no promised order.
class ROUTEPOLICY_API AclEntryData : public Routing::PrefixData {
 public:
   explicit AclEntryData( const AclPrefixEntry & entry ) noexcept : entry_( entry ) {}
   ~AclEntryData() override;

   uint32_t seqno() const noexcept { return entry_.seqno; }
   const Ferule::IpGenAddrWithFullMask & source() const noexcept { return entry_.source; }
   /// An agent's own rule may decide this late.
   virtual Acl::MatchPermit permit() const { return entry_.permit; }
   const AclEntryData * nextEntry() const noexcept { return static_cast<const AclEntryData *>( next() ); }

 private:
   AclPrefixEntry entry_;
};

class ROUTEPOLICY_API IpAccessListStatus : public Quoin::Node {
 public:
   /// A list without rules, of IPv4 until it gets a trie.
   explicit IpAccessListStatus( const Quoin::String & name );
   ~IpAccessListStatus() override;

   const Quoin::String & name() const noexcept { return name_; }
   const PatriciaTrieWithNodeData & trie() const noexcept { return *trie_; }
   /// Installs the rules, all of them AclEntryData. Errors: MutatorArgNullPointerException on null.
   void trieIs( const Quoin::Ptr<const PatriciaTrieWithNodeData> & trie );

 private:
   Quoin::String name_;
   Quoin::Ptr<const PatriciaTrieWithNodeData> trie_;
};

}   // namespace Routing::RouteMap
