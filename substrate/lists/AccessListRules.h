/// @file substrate/lists/AccessListRules.h
/// The rules of a compiled IPv4 access list, and an index that finds the governing rule: the first rule that covers an address.
/// IpAclConfigSm adds the rules, IpAccessListStatus holds them, and IpAccessListMatcher searches them.
///
/// Rules come in ascending sequence numbers. A prefix inside the prefix of an earlier rule therefore never governs, and is not indexed. Of
/// the indexed prefixes that contain an address, the longest one came first, and governs: one look-up of the longest match answers.
/// Rules whose mask has a gap form a group for each mask, with an index of the addresses under the mask. A search asks the groups in the
/// order of their first rules, until the best rule so far comes before the next group. Example, with the indexed rules in brackets:
///
///    10 permit 10.1.0.0/16        prefixes [10] [30]
///    20 deny 10.1.1.0/24          mask 0.0.255.0: [40]
///    30 deny 10.0.0.0/8           10.1.1.0/24: longest match 10; the group begins with 40, so 10 governs
///    40 permit 0.0.5.0 0.0.255.0
///
/// A rule takes 12 bytes and its share of the index, usually 4 to 12 bytes. Ownership: shared by handle. Threading: any number of readers, or
/// one writer.
#pragma once

#include <optional>

#include "routepolicy_export.h"
#include "substrate/acl/AclPrefixEntry.h"
#include "substrate/lists/Ip4PrefixIndex.h"
#include "substrate/routing/RetiredTries.h"

namespace Routing::RouteMap {

/// The rules of one list.
class ROUTEPOLICY_API AccessListRules final : public Routing::Retirable {
 public:
   ~AccessListRules() override;

   /// Adds a rule, which must be an IPv4 rule. Returns false, and adds nothing, if its sequence number is not above that of the last rule.
   /// Cost: bounded, whatever the number of rules. Errors: std::bad_alloc; the object can then only be destroyed.
   [[nodiscard]] bool add( const AclPrefixEntry & rule );
   /// Frees unused memory.
   void trim();

   size_t count() const noexcept { return rules_.size(); }
   /// The rule at a place in the order of the numbers.
   AclPrefixEntry rule( size_t at ) const noexcept;
   /// The place of the rule that governs an IPv4 prefix: the first one whose mask's leading ones are not longer than the prefix, and whose
   /// address equals that of the prefix in all bits of the mask, also in bits after the length of the prefix.
   std::optional<size_t> governing( const Ferule::IpGenPrefix & asked ) const noexcept;
   /// Whether a rule governs, and permits.
   bool permits( const Ferule::IpGenPrefix & asked ) const noexcept;

   /// Creates a trie of the same rules, in time that grows with their number: to inspect them, not to match.
   Quoin::Ptr<PatriciaTrieWithNodeData> makeTrie() const;
   /// The memory of the rules and the index.
   size_t bytes() const noexcept { return rules_.bytes() + masks_.bytes() + groups_.bytes() + index_.bytes(); }
   /// Frees one chunk of memory.
   bool letGo() noexcept override;

 private:
   using Prefix = Ip4PrefixIndex::Prefix;
   using Root = Ip4PrefixIndex::Root;
   // The number of a rule in the index: its place, and whether it permits.
   using Number = Ip4PrefixIndex::Number;
   static constexpr Number kNone = Ip4PrefixIndex::kNone;

   struct Rule {
      uint32_t seqno;
      uint32_t address;
      uint32_t maskAndPermit;   // twice the place of the mask in `masks_`; 1 more if the rule permits
   };
   struct Mask {
      uint32_t mask;
      uint32_t group;   // kNone if the mask has no gap
   };
   struct Group {
      uint32_t mask;
      uint32_t run;   // the number of leading ones
      Root root;
      Number first;
   };

   const Mask & maskOf( const Rule & rule ) const noexcept { return masks_[ rule.maskAndPermit >> 1 ]; }
   const Rule & ruleOf( Number number ) const noexcept { return rules_[ number >> 1 ]; }
   uint32_t maskIs( uint32_t mask );
   Number find( const Ferule::IpGenPrefix & asked ) const noexcept;
   Prefix plainPrefix( Number number ) const noexcept;
   Prefix gappedPrefix( Number number ) const noexcept;

   ChunkedRow<Rule, 14> rules_;
   ChunkedRow<Mask, 14> masks_;     // of all rules, each once
   ChunkedRow<Group, 14> groups_;   // in the order of their first rules
   Ip4PrefixIndex index_;
   Root plain_ = kNone;      // the rules whose mask has no gap
   Root maskRoot_ = kNone;   // finds the place of a mask
};

}   // namespace Routing::RouteMap
