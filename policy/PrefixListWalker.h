/// @file policy/PrefixListWalker.h
/// Walks a trie of a prefix list from a prefix upward, and keeps the state of the walk. PrefixListMatcherBase starts the walks.
#pragma once

#include "routepolicy_export.h"
#include "substrate/lists/PrefixListStatus.h"

namespace Routing::Policy {

using RouteMap::PrefixListEntryData;
using RouteMap::PrefixListStatus;

/// The state of the walk in progress on this thread. Walkers have no fields, so that all threads can share one. A walk must not start
/// another walk. A look-up through the rows of the list does not use this state.
/// Invariant: empty between walks, also after a throw.
struct ROUTEPOLICY_API PrefixListWalkerCbCtx {
   const Ferule::IpGenPrefix * prefix = nullptr;   // the prefix to look up; not owned
   Quoin::Ptr<const PrefixListEntryData> entry;    // the lowest matching entry so far
   /// The state of the calling thread.
   static PrefixListWalkerCbCtx & ofThisThread();
};

/// Selects in each node the first entry whose range admits the length, and among nodes the lowest sequence number.
class ROUTEPOLICY_API PrefixListMatchWalkerCb final : public Routing::PatriciaTrieWalkCb {
 public:
   ~PrefixListMatchWalkerCb() override;
   bool handlePrefixData( const Ferule::IpGenPrefix & prefix, const Routing::PrefixData * data ) override;
};

/// Selects in each node the first entry whose prefix contains the prefix to look up, whatever its range, and among nodes the lowest
/// sequence number.
class ROUTEPOLICY_API PrefixListCoveredByWalkerCb final : public Routing::PatriciaTrieWalkCb {
 public:
   ~PrefixListCoveredByWalkerCb() override;
   bool handlePrefixData( const Ferule::IpGenPrefix & prefix, const Routing::PrefixData * data ) override;
};

}   // namespace Routing::Policy
