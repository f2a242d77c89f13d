/// @file substrate/routemap/MatchRule.h
/// The values of a configured sequence: a match clause, and a call. A MapEntry stores them. Threading: plain values.
#pragma once

#include <cstdint>
#include <ostream>

#include "routepolicy_export.h"
#include "substrate/quoin/String.h"
#include "substrate/quoin/Value.h"
#include "substrate/routemap/Options.h"

namespace Routing::RouteMap {

/// The operand of a community clause. This library stores it and does not interpret it. Text: "{}".
struct CommListSet {
   friend bool operator==( const CommListSet &, const CommListSet & ) = default;
   static bool isEq( const void * a, const void * b ) noexcept { return Quoin::isEqOf<CommListSet>( a, b ); }
   constexpr uint32_t hash() const noexcept { return 0; }
};

/// The option and the operands of one match clause. Text: the option, followed by the name and the value of every operand that is set, such
/// as "matchIpPrefixList listName PL1 invert-result".
/// Errors: a rule of matchSourceProtocol whose low 8 bits are not a Protocol ends the process when it is compiled; see isProtocol().
struct ROUTEPOLICY_API MatchRule {
   Quoin::String listName{};    // the name of the prefix list, access list or tag set that the rule refers to
   uint64_t numericValue = 0;   // the scalar operand: 32 bits of a tag or instance, or 8 bits of a Protocol
   MatchOption option{};        // the key in the MapEntry
   bool invertResult = false;   // inverts the result of a prefix list
   CommListSet commListSet{};
   friend bool operator==( const MatchRule &, const MatchRule & ) = default;
   static bool isEq( const void * a, const void * b ) noexcept { return Quoin::isEqOf<MatchRule>( a, b ); }
   uint32_t hash() const noexcept;
};

/// The call of another route map. An empty name means no call, also with `invertResult`. Text: the name, and " invert-result" if set.
struct ROUTEPOLICY_API SubRouteMap {
   Quoin::String name;
   bool invertResult = false;   // inverts the caller's result
   friend bool operator==( const SubRouteMap &, const SubRouteMap & ) = default;
   static bool isEq( const void * a, const void * b ) noexcept { return Quoin::isEqOf<SubRouteMap>( a, b ); }
   uint32_t hash() const noexcept;
};

ROUTEPOLICY_API std::ostream & operator<<( std::ostream & os, const CommListSet & set );
ROUTEPOLICY_API std::ostream & operator<<( std::ostream & os, const MatchRule & rule );
ROUTEPOLICY_API std::ostream & operator<<( std::ostream & os, const SubRouteMap & call );

}   // namespace Routing::RouteMap
