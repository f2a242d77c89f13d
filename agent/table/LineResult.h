/// @file agent/table/LineResult.h
/// What one line, or one entry, of a table turned out to be; and the fields that several forms share.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "substrate/ferule/IpPrefix.h"
#include "text/Constants.h"

namespace Agent {

struct LineResult {
   enum class Kind : uint8_t {
      route,
      passedOver,   // well-formed, but not a route: a withdrawal, an address of the host itself
      nothing,      // a blank or a comment
      broken        // the reason tells why
   };
   Kind kind;
   std::string reason;   // printable; may hold part of the line

   static LineResult route() { return { Kind::route, {} }; }
   static LineResult passedOver() { return { Kind::passedOver, {} }; }
   static LineResult nothing() { return { Kind::nothing, {} }; }
   static LineResult broken( std::string reason ) { return { Kind::broken, std::move( reason ) }; }
};

/// "address/length", or an address alone for its host prefix. A prefix with bits behind its length is refused: a routing table
/// has none, so that one is more likely mistyped than meant. Nothing on failure, and `reason` tells why.
std::optional<Ferule::IpGenPrefix> parsePrefix( std::string_view text, std::string & reason );

std::optional<Ferule::IpGenAddr> parseAddress( std::string_view text, std::string & reason );

/// An address from its bytes, as messages have them. Those that are missing at the end are zero, as in a prefix.
Ferule::IpGenAddr addressOf( Ferule::AddressFamily af, std::string_view bytes ) noexcept;

/// Digits and nothing else, not above `max`.
std::optional<uint64_t> parseNumber( std::string_view text, uint64_t max ) noexcept;

/// Ascending, each once.
void sortCommunities( std::vector<uint32_t> & communities );

/// The AS that an AS path's text ends in; 0 when it ends in a set, or in nothing.
uint32_t originAsOf( std::string_view asPath ) noexcept;

}   // namespace Agent
