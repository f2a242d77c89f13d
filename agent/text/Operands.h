/// @file agent/text/Operands.h
/// The operands that lines of several kinds share. Each takes what it needs of the line. Errors: LineError, as all that read lines.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "text/Constants.h"
#include "text/LineCursor.h"
#include "text/PolicyText.h"

namespace Agent {

uint64_t takeNumber( LineCursor & line, std::string_view what, uint64_t min, uint64_t max );
/// `what` names it: "a tag".
inline uint32_t takeNumber32( LineCursor & line, std::string_view what ) {
   return static_cast<uint32_t>( takeNumber( line, what, 0, kMax32 ) );
}
/// Of a line of a list, or of a route map's sequence.
inline uint32_t takeSequenceNumber( LineCursor & line ) {
   return static_cast<uint32_t>( takeNumber( line, "a sequence number", 1, kMax32 ) );
}

MatchPermit takeAction( LineCursor & line );

/// Nothing for what is an address of neither family.
std::optional<Ferule::IpGenAddr> parseAddress( std::string_view text );
/// "an IPv4 address", "an IPv6 address".
std::string_view addressName( AddressFamily af ) noexcept;
/// `what` names it.
Ferule::IpGenAddr takeAddress( LineCursor & line, AddressFamily af, std::string_view what );
inline Ferule::IpGenAddr takeAddress( LineCursor & line, AddressFamily af ) {
   return takeAddress( line, af, addressName( af ) );
}
/// What was taken and read already is of the family.
void expectFamily( const Token & token, AddressFamily found, AddressFamily wanted, std::string_view what );
/// Any length within the family; host bits stay. An address alone is its host prefix, if it may stand alone.
Ferule::IpGenPrefix takePrefix( LineCursor & line, AddressFamily af, bool addressAlone );

/// All that are left on the line, up to one of these words; ascending, each once. `matchesAll` is a word that adds none, if any.
std::vector<Community> takeCommunities( LineCursor & line, std::string_view until, std::string_view matchesAll );

/// The rest of the line, which RE2 can compile.
std::string takeExpression( LineCursor & line );

}   // namespace Agent
