/// @file policy/RoutingPolicyAcl.h
/// Access lists as a test of the route's prefix: among the rules whose source covers its address, the one with the lowest
/// sequence number governs. The prefix's length counts only in that it must be no shorter than a rule's leading ones.
#pragma once

#include <set>

#include "policy/MatchInput.h"
#include "policy/Matcher.h"
#include "routepolicy_export.h"
#include "substrate/lists/IpAccessListStatus.h"

namespace Routing::Policy {

using RouteMap::AclEntryData;
using RouteMap::IpAccessListStatus;

/// The state of the walk under way on this thread. A walk must not start another one. Clean between walks, also behind one
/// that threw.
struct ROUTEPOLICY_API IpAccessListWalkerCbCtx {
   const Ferule::IpGenPrefix * prefix = nullptr;   // what is looked up; not owned
   Quoin::Ptr<const AclEntryData> entry;           // the best so far
   static IpAccessListWalkerCbCtx & ofThisThread();
};

/// Every rule of a chain is looked at: it stands in no promised order.
class ROUTEPOLICY_API IpAccessListWalkerCb final : public Routing::PatriciaTrieWalkCb {
 public:
   ~IpAccessListWalkerCb() override;
   bool handlePrefixData( const Ferule::IpGenPrefix & prefix, const Routing::PrefixData * data ) override;
};

/// Collects every rule that a walk meets, for inspecting what a trie holds. Threading: one thread.
class ROUTEPOLICY_API AclTestWalkCb final : public Routing::PatriciaTrieWalkCb {
 public:
   using Entries = std::set<Quoin::Ptr<const AclEntryData>>;
   ~AclTestWalkCb() override;
   bool handlePrefixData( const Ferule::IpGenPrefix & prefix, const Routing::PrefixData * data ) override;

   const Entries & walkedEntries() const noexcept { return walkedEntries_; }
   void walkedEntriesIs( const Quoin::Ptr<const AclEntryData> & entry ) { walkedEntries_.insert( entry ); }
   void walkedEntriesDel( const Quoin::Ptr<const AclEntryData> & entry ) { walkedEntries_.erase( entry ); }
   void walkedEntriesDelAll() { walkedEntries_.clear(); }

 private:
   Entries walkedEntries_;
};

/// The governing rule permits the route's prefix. No rule, an undefined list and a list of another family do not.
/// Ownership: shares the list that it was made for. Threading: any number of threads match at once.
class ROUTEPOLICY_API IpAccessListMatcher final : public Matcher {
 public:
   IpAccessListMatcher( const Quoin::String & name, const Quoin::Ptr<const IpAccessListStatus> & status );
   ~IpAccessListMatcher() override;
   const Quoin::String & name() const noexcept { return name_; }
   /// Null while the list is undefined.
   const Quoin::Ptr<const IpAccessListStatus> & status() const noexcept { return status_; }

   bool match( const MatchInput_ * input, const Quoin::Ptr<PolicyEvalContext> & context ) const override;
   RouteMapFeatures getFeatures() const override;
   void formatDerivedType( std::ostream & os ) const override;

 private:
   Quoin::String name_;
   Quoin::Ptr<const IpAccessListStatus> status_;
   Quoin::Ptr<IpAccessListWalkerCb> walker_;
};

}   // namespace Routing::Policy
