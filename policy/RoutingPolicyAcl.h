/// @file policy/RoutingPolicyAcl.h
/// Tests the prefix of a route against an access list. Among the rules whose source covers the address of the prefix, the rule with the
/// lowest sequence number governs. The length of the prefix has one effect: it must not be shorter than the leading ones of the rule's
/// mask.
#pragma once

#include <set>

#include "policy/MatchInput.h"
#include "policy/Matcher.h"
#include "routepolicy_export.h"
#include "substrate/lists/IpAccessListStatus.h"

namespace Routing::Policy {

using RouteMap::AclEntryData;
using RouteMap::IpAccessListStatus;

/// The state of the walk in progress on this thread. A walk must not start another walk.
/// Invariant: empty between walks, also after a throw.
struct ROUTEPOLICY_API IpAccessListWalkerCbCtx {
   const Ferule::IpGenPrefix * prefix = nullptr;   // the prefix to look up; not owned
   Quoin::Ptr<const AclEntryData> entry;           // the lowest matching rule so far
   /// The state of the calling thread.
   static IpAccessListWalkerCbCtx & ofThisThread();
};

/// Selects the lowest sequence number among the rules of all nodes. It reads every rule of a chain, since a chain has no guaranteed order.
class ROUTEPOLICY_API IpAccessListWalkerCb final : public Routing::PatriciaTrieWalkCb {
 public:
   ~IpAccessListWalkerCb() override;
   bool handlePrefixData( const Ferule::IpGenPrefix & prefix, const Routing::PrefixData * data ) override;
};

/// Collects every rule that a walk visits, to inspect the content of a trie. Threading: one thread.
class ROUTEPOLICY_API AclTestWalkCb final : public Routing::PatriciaTrieWalkCb {
 public:
   using Entries = std::set<Quoin::Ptr<const AclEntryData>>;
   ~AclTestWalkCb() override;
   bool handlePrefixData( const Ferule::IpGenPrefix & prefix, const Routing::PrefixData * data ) override;

   /// The visited rules.
   const Entries & walkedEntries() const noexcept { return walkedEntries_; }
   void walkedEntriesIs( const Quoin::Ptr<const AclEntryData> & entry ) { walkedEntries_.insert( entry ); }
   void walkedEntriesDel( const Quoin::Ptr<const AclEntryData> & entry ) { walkedEntries_.erase( entry ); }
   void walkedEntriesDelAll() { walkedEntries_.clear(); }

 private:
   Entries walkedEntries_;
};

/// Matches a route if the governing rule permits its prefix. Without a governing rule, with an undefined list or with a list of another
/// family, no route matches.
/// Ownership: shares the list that it was created for. Threading: any number of threads match at once.
class ROUTEPOLICY_API IpAccessListMatcher final : public Matcher {
 public:
   IpAccessListMatcher( const Quoin::String & name, const Quoin::Ptr<const IpAccessListStatus> & status );
   ~IpAccessListMatcher() override;
   const Quoin::String & name() const noexcept { return name_; }
   /// Null while the list is undefined.
   const Quoin::Ptr<const IpAccessListStatus> & status() const noexcept { return status_; }

   bool match( const MatchInput_ * input, const Quoin::Ptr<PolicyEvalContext> & context ) const override;
   void keys( MatchKeys & keys ) const override;
   RouteMapFeatures getFeatures() const override;
   void formatDerivedType( std::ostream & os ) const override;

 private:
   bool matchByWalk( const Ferule::IpGenPrefix & prefix ) const;

   Quoin::String name_;
   Quoin::Ptr<const IpAccessListStatus> status_;
   Quoin::Ptr<IpAccessListWalkerCb> walker_;
};

}   // namespace Routing::Policy
