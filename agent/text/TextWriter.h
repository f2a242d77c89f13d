/// @file agent/text/TextWriter.h
/// Writes a policy in the lines that LineLoader reads, in one canonical form: always numbered, ordered by kind and name. Loading the result
/// gives an equal text. Names must be words, and numbers within the ranges that lines allow.
#pragma once

#include <cstdint>
#include <string>

#include "text/Dialect.h"
#include "text/PolicyText.h"

namespace Agent {

/// The whole policy: lists first, then route maps; in the words of that dialect.
std::string writeText( const PolicyText & text );

// The lines of one list, route map or sequence, each with its line end.
std::string writePrefixList( AddressFamily af, const std::string & name, const PrefixListText & list );
std::string writeAccessList( AddressFamily af, const std::string & name, const AccessListText & list );
std::string writeTagSet( const std::string & name, const TagSetText & set );
template <class C>
std::string writeCommunityList( const std::string & name, const CommunityListTextOf<C> & list );
std::string writeAsPathList( const std::string & name, const AsPathListText & list );
std::string writeRouteMap( const std::string & name, const RouteMapText & map, Dialect dialect );
/// Without a line end: "match tag 64500". Empty for an option that has no form.
std::string writeMatch( MatchOption option, const MatchClause & clause );
/// Without "set" and a line end: "metric 5".
std::string writeSet( const SetClause & clause );
std::string writeSequence( const std::string & name, uint32_t number, const SequenceText & sequence, Dialect dialect );

}   // namespace Agent
