/// @file agent/table/LineResult.h
/// The result of reading one line or entry of a table, and the fields that several forms share.
#pragma once

#include <algorithm>
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
      skipped,   // well-formed, but no route: a withdrawal, an address of the host itself
      nothing,   // a blank or a comment
      broken     // `reason` says why
   };
   Kind kind;
   std::string reason;   // printable; may hold part of the line

   static LineResult route() { return { Kind::route, {} }; }
   static LineResult skipped() { return { Kind::skipped, {} }; }
   static LineResult nothing() { return { Kind::nothing, {} }; }
   static LineResult broken( std::string reason ) { return { Kind::broken, std::move( reason ) }; }
};

/// "address/length", or an address alone for its host prefix. A prefix with bits set after its length is refused: routing tables have
/// none, so it was probably mistyped. On failure returns nothing and sets `reason`.
std::optional<Ferule::IpGenPrefix> parsePrefix( std::string_view text, std::string & reason );

std::optional<Ferule::IpGenAddr> parseAddress( std::string_view text, std::string & reason );

/// An address from its bytes, in network order. Missing bytes at the end are zero, as in a prefix.
Ferule::IpGenAddr addressOf( Ferule::AddressFamily af, std::string_view bytes ) noexcept;

/// Digits and nothing else, not above `max`.
std::optional<uint64_t> parseNumber( std::string_view text, uint64_t max ) noexcept;

/// Ascending, each once.
template <class C>
void sortCommunities( std::vector<C> & communities ) {
   std::ranges::sort( communities );
   communities.erase( std::unique( communities.begin(), communities.end() ), communities.end() );
}

/// How the text of an AS path writes a segment: "1 2", "{1,2}" for a set, "(1 2)" and "[1,2]" within a confederation.
struct SegmentStyle {
   std::string_view open, between, close;
};
/// Null for a type that does not exist (RFC 4271 4.3, RFC 5065 3).
const SegmentStyle * segmentStyle( uint32_t type ) noexcept;
/// Appends a segment to the text of an AS path, behind a blank if it is not the first.
void appendSegment( std::string & asPath, const SegmentStyle & style, const std::vector<uint32_t> & ases );
void appendNumber( std::string & text, uint32_t number );

/// The last AS in the text of an AS path; 0 if the path is empty or ends in a set.
uint32_t originAsOf( std::string_view asPath ) noexcept;

}   // namespace Agent
