/// @file substrate/acl/AclPrefixEntry.h
/// One rule of a compiled access list. The machines of compile/ build IpAccessListStatus from such rules.
#pragma once

#include <cstdint>

#include "substrate/acl/MatchPermit.h"
#include "substrate/ferule/FullMask.h"

/// One rule of an access list, reduced to the parts that route policy uses. A plain value.
struct AclPrefixEntry {
   uint32_t seqno = 0;
   Ferule::IpGenAddrWithFullMask source;
   Acl::MatchPermit permit = Acl::MatchPermit::deny;
};
