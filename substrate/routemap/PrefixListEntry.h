/// @file substrate/routemap/PrefixListEntry.h
/// One configured entry of a prefix list. PrefixListBuilder compiles it.
#pragma once

#include <cstdint>
#include <optional>

#include "routepolicy_export.h"
#include "substrate/acl/MatchPermit.h"
#include "substrate/ferule/IpPrefix.h"

namespace Routing::RouteMap {

/// One entry as configured. Without bounds, it matches only its own prefix. With `ge` alone, it matches contained prefixes of length `ge`
/// up to the bits of the family. With `le` alone, it matches contained prefixes from its own length up to `le`. With both, it matches
/// contained prefixes of length `ge` to `le`.
struct ROUTEPOLICY_API PrefixListEntry {
   uint32_t seqno = 0;
   Acl::MatchPermit action = Acl::MatchPermit::permit;
   Ferule::IpGenPrefix prefix;
   std::optional<uint32_t> ge;
   std::optional<uint32_t> le;

   /// The shortest and the longest length that the entry admits.
   uint32_t shortest() const noexcept { return ge.value_or( prefix.length() ); }
   uint32_t longest() const noexcept { return le.value_or( ge ? Ferule::addressBits( prefix.af() ) : prefix.length() ); }

   /// The entry as text, such as "10 permit 10.0.0.0/8 ge 16 le 24".
   Quoin::String toStrep() const;
};

}   // namespace Routing::RouteMap
