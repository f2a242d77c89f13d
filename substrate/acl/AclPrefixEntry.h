/// @file substrate/acl/AclPrefixEntry.h
#pragma once

#include <cstdint>

#include "substrate/acl/MatchPermit.h"
#include "substrate/ferule/FullMask.h"

/// One rule of an access list, cut to what route policy reads of it: its source. A plain value.
struct AclPrefixEntry {
   uint32_t seqno = 0;
   Ferule::IpGenAddrWithFullMask source;
   Acl::MatchPermit permit = Acl::MatchPermit::deny;
};
