/// @file policy/PolicyTypes.h
/// Small enumerations of policy, and the types that policy takes over from the layers below. Matchers, setters and logs use them.
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

/// The point where a policy is applied. A setter may act differently at each.
enum class PolicyApplicationType : uint8_t { bgp = 0, redistIgp = 1, defaultApplication = 2 };

/// The sequence numbers for configuration that gives none.
enum class SeqNumberType : uint8_t { seqNum10 = 10, seqNum20 = 20 };

}   // namespace Routing::Policy
