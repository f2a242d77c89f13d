/// @file policy/PrefixListWalker.h
/// The walk over what stands above a prefix in a prefix list's trie, and its state.
#pragma once

#include "routepolicy_export.h"
#include "substrate/lists/PrefixListStatus.h"

namespace Routing::Policy {

using RouteMap::PrefixListEntryData;
using RouteMap::PrefixListStatus;

/// The state of the walk under way on this thread. Walkers have no fields, so that all threads can share one; a walk must not
/// start another one. Clean between walks, also behind one that threw. A look-up through the list's index does without it.
struct ROUTEPOLICY_API PrefixListWalkerCbCtx {
   const Ferule::IpGenPrefix * prefix = nullptr;   // what is looked up; not owned
   Quoin::Ptr<const PrefixListEntryData> entry;    // the best so far
   static PrefixListWalkerCbCtx & ofThisThread();
};

/// Per node, the first entry whose range admits the length; among nodes, the lowest sequence number.
class ROUTEPOLICY_API PrefixListMatchWalkerCb final : public Routing::PatriciaTrieWalkCb {
 public:
   ~PrefixListMatchWalkerCb() override;
   bool handlePrefixData( const Ferule::IpGenPrefix & prefix, const Routing::PrefixData * data ) override;
};

/// The same for the first entry whose own prefix contains what is looked up, whatever its range.
class ROUTEPOLICY_API PrefixListCoveredByWalkerCb final : public Routing::PatriciaTrieWalkCb {
 public:
   ~PrefixListCoveredByWalkerCb() override;
   bool handlePrefixData( const Ferule::IpGenPrefix & prefix, const Routing::PrefixData * data ) override;
};

}   // namespace Routing::Policy
