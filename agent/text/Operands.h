/// @file agent/text/Operands.h
/// Reads the operands that lines of several kinds share. Each function takes its words off the line. Errors: LineError; in the dialect of
/// FRR also RefusedLine.
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

/// In the dialect of FRR, "+5" is 5.
uint64_t takeNumber( LineCursor & line, std::string_view what, uint64_t min, uint64_t max );
/// A number behind that sign, without a blank between. Errors: LineError, too, if the sign does not come next.
uint64_t takeSigned( LineCursor & line, char sign, std::string_view what, uint64_t min, uint64_t max );
/// `what` names it: "a tag".
inline uint32_t takeNumber32( LineCursor & line, std::string_view what ) {
   return static_cast<uint32_t>( takeNumber( line, what, 0, kMax32 ) );
}
/// The number of a line of a list, or of a sequence of a route map; `max` is the highest.
inline uint32_t takeSequenceNumber( LineCursor & line, uint64_t max = kMax32 ) {
   return static_cast<uint32_t>( takeNumber( line, "a sequence number", 1, max ) );
}

MatchPermit takeAction( LineCursor & line );

/// Nothing for a text that is not an address.
std::optional<Ferule::IpGenAddr> parseAddress( std::string_view text );
/// "an IPv4 address", "an IPv6 address".
std::string_view addressName( AddressFamily af ) noexcept;
/// `what` names it.
Ferule::IpGenAddr takeAddress( LineCursor & line, AddressFamily af, std::string_view what );
inline Ferule::IpGenAddr takeAddress( LineCursor & line, AddressFamily af ) {
   return takeAddress( line, af, addressName( af ) );
}
/// Errors: LineError if the family is not the wanted one. `token` has been taken already.
void expectFamily( const Token & token, AddressFamily found, AddressFamily wanted, std::string_view what );
/// A prefix of any length; bits after the length are kept. `addressAlone`: an address without a length is accepted as its host prefix.
Ferule::IpGenPrefix takePrefix( LineCursor & line, AddressFamily af, bool addressAlone );

/// The communities up to the end of the line or the word `until`; ascending, each once. The word `matchesAll`, unless empty, adds none.
std::vector<Community> takeCommunities( LineCursor & line, std::string_view until, std::string_view matchesAll );

/// As above.
std::vector<LargeCommunity> takeLargeCommunities( LineCursor & line, std::string_view until );
/// Values behind the word of their kind: "65000:1 65000:2". Ascending, each once.
std::vector<ExtCommunity> takeExtCommunities( LineCursor & line, std::string_view kind );
/// Words and values: "rt 65000:1 soo 65000:2". Ascending, each once.
std::vector<ExtCommunity> takeExtCommunities( LineCursor & line );
/// ASes up to the end of the line, as "64500" or "1.10".
std::vector<uint32_t> takeAses( LineCursor & line );

/// The rest of the line. Errors: LineError if RE2 cannot compile it.
std::string takeExpression( LineCursor & line );

}   // namespace Agent
