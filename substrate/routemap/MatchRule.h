/// @file substrate/routemap/MatchRule.h
/// The values that a configured sequence is made of. Plain values, copied whole.
#pragma once

#include <cstdint>

#include "substrate/quoin/String.h"
#include "substrate/routemap/Options.h"

namespace Routing::RouteMap {

/// The operand of a community clause; carried, not interpreted.
struct CommListSet {
   friend bool operator==( const CommListSet &, const CommListSet & ) = default;
   static bool isEq( const CommListSet & a, const CommListSet & b ) { return a == b; }
};

/// The key and the operands of one match clause.
struct MatchRule {
   Quoin::String listName;      // of the prefix list, access list or tag set that the rule refers to
   uint64_t numericValue = 0;   // the scalar operand: 32 bits of a tag or an instance, 8 bits of a Protocol
   MatchOption option{};        // the key
   bool invertResult = false;   // of a prefix list's matcher
   CommListSet commListSet;
   friend bool operator==( const MatchRule &, const MatchRule & ) = default;
   static bool isEq( const MatchRule & a, const MatchRule & b ) { return a == b; }
};

/// The call of another route map. An empty name calls nothing, also with `invertResult`.
struct SubRouteMap {
   Quoin::String name;
   bool invertResult = false;   // the caller's result is inverted
   friend bool operator==( const SubRouteMap &, const SubRouteMap & ) = default;
   static bool isEq( const SubRouteMap & a, const SubRouteMap & b ) { return a == b; }
};

}   // namespace Routing::RouteMap
