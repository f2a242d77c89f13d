/// @file agent/text/TextWriter.h
/// Writes a policy in the lines that LineLoader reads: one form per thing, always with its number, families and names in order. Loading
/// what it writes gives an equal text. Only what lines can say is written: names are words, numbers within their ranges.
#pragma once

#include <cstdint>
#include <string>

#include "text/PolicyText.h"

namespace Agent {

/// All of it: lists before the route maps that ask them.
std::string writeText( const PolicyText & text );

// One list or map, or a sequence of a map: its lines, each with its end.
std::string writePrefixList( AddressFamily af, const std::string & name, const PrefixListText & list );
std::string writeAccessList( AddressFamily af, const std::string & name, const AccessListText & list );
std::string writeTagSet( const std::string & name, const TagSetText & set );
std::string writeCommunityList( const std::string & name, const CommunityListText & list );
std::string writeAsPathList( const std::string & name, const AsPathListText & list );
std::string writeRouteMap( const std::string & name, const RouteMapText & map );
/// Without an end: "match tag 64500". Empty for an option that no line can say.
std::string writeMatch( MatchOption option, const MatchClause & clause );
std::string writeSequence( const std::string & name, uint32_t number, const SequenceText & sequence );

}   // namespace Agent
