/// @file policy/PolicyTypes.h
/// Small enumerations of policy, and the names under which it uses the records of the layers below.
#pragma once

#include <cstdint>

#include "substrate/routemap/Options.h"
#include "substrate/routemap/RmPrecedence.h"
#include "substrate/routemap/RouteMapFeatures.h"

namespace Routing::Policy {

using RouteMap::MatchOption;
using RouteMap::RmPrecedence;
using RouteMap::RouteMapFeatures;
using RouteMap::SetOption;

/// Where a policy is applied; a setter may act differently there.
enum class PolicyApplicationType : uint8_t { bgp = 0, redistIgp = 1, defaultApplication = 2 };

/// The sequence numbers that are given where configuration leaves them out.
enum class SeqNumberType : uint8_t { seqNum10 = 10, seqNum20 = 20 };

}   // namespace Routing::Policy
