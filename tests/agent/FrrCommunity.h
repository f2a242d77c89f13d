/// @file tests/agent/FrrCommunity.h
/// Communities as bgpd writes them. It has more names than the agent, and its expressions match these names.
#pragma once

#include <charconv>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "text/PolicyText.h"

namespace Agent {

constexpr std::pair<Community, std::string_view> kFrrCommunities[] = {
   { 0x00000000, "internet" },        { 0xffff0000, "graceful-shutdown" },
   { 0xffff0001, "accept-own" },      { 0xffff0002, "route-filter-translated-v4" },
   { 0xffff0003, "route-filter-v4" }, { 0xffff0004, "route-filter-translated-v6" },
   { 0xffff0005, "route-filter-v6" }, { 0xffff0006, "llgr-stale" },
   { 0xffff0007, "no-llgr" },         { 0xffff0008, "accept-own-nexthop" },
   { 0xffff029a, "blackhole" },       { 0xffffff01, "no-export" },
   { 0xffffff02, "no-advertise" },    { 0xffffff03, "local-AS" },
   { 0xffffff04, "no-peer" },
};

/// `communities` are ascending.
inline std::string frrCommunitiesText( const std::vector<Community> & communities ) {
   std::string text;
   for( const Community community : communities ) {
      std::string word = std::to_string( community >> 16 ) + ":" + std::to_string( community & 0xffff );
      for( const auto & [ number, name ] : kFrrCommunities )
         if( number == community ) word = name;
      text += ( text.empty() ? "" : " " ) + word;
   }
   return text;
}

/// Reads what frrCommunitiesText() writes.
inline std::vector<Community> frrCommunitiesOf( std::string_view text ) {
   std::vector<Community> communities;
   while( !text.empty() ) {
      const std::string_view word = text.substr( 0, text.find( ' ' ) );
      text.remove_prefix( word.size() + ( word.size() < text.size() ) );
      Community community = 0;
      uint32_t as = 0, value = 0;
      const auto [ colon, error ] = std::from_chars( word.data(), word.data() + word.size(), as );
      if( error == std::errc() ) {
         std::from_chars( colon + 1, word.data() + word.size(), value );
         community = as << 16 | value;
      }
      for( const auto & [ number, name ] : kFrrCommunities )
         if( name == word ) community = number;
      communities.push_back( community );
   }
   return communities;
}

// ---- large and extended communities, as numbers between colons

/// "1.2.3.4" counts as one number.
inline std::vector<uint64_t> frrNumbersOf( const std::string & word ) {
   std::vector<uint64_t> numbers;
   std::istringstream parts( word );
   for( std::string part; std::getline( parts, part, ':' ); ) {
      std::istringstream octets( part );
      uint64_t number = 0;
      for( std::string octet; std::getline( octets, octet, '.' ); ) number = number * 256 + std::stoull( octet );
      numbers.push_back( number );
   }
   return numbers;
}

inline std::vector<LargeCommunity> frrLargeCommunitiesOf( const std::string & text ) {
   std::vector<LargeCommunity> communities;
   std::istringstream words( text );
   for( std::string word; words >> word; ) {
      const auto n = frrNumbersOf( word );
      communities.push_back( { uint32_t( n.at( 0 ) ), uint32_t( n.at( 1 ) ), uint32_t( n.at( 2 ) ) } );
   }
   return communities;
}

inline std::string frrText( const LargeCommunity & c ) {
   return std::to_string( c.globalAdministrator ) + ":" + std::to_string( c.localData1 ) + ":" + std::to_string( c.localData2 );
}

/// Route targets and sites of origin.
inline std::vector<ExtCommunity> frrExtCommunitiesOf( const std::string & text ) {
   std::vector<ExtCommunity> communities;
   std::istringstream words( text );
   for( std::string word; words >> word; ) {
      const size_t colon = word.find( ':' );
      const std::string kind = word.substr( 0, colon ), value = word.substr( colon + 1 );
      const auto n = frrNumbersOf( value );
      const bool isAddress = value.find( '.' ) != value.npos, isLong = n.at( 0 ) > 65535;
      const uint64_t type = isAddress ? 1
         : isLong                     ? 2
                                      : 0,
                     subtype = kind == "RT" ? 2
         : kind == "SoO"                    ? 3
                                            : throw std::runtime_error( word );
      communities.push_back( ExtCommunity( type << 56 | subtype << 48 | n[ 0 ] << ( type == 0 ? 32 : 16 ) | n.at( 1 ) ) );
   }
   return communities;
}

inline std::string frrText( ExtCommunity community ) {
   const auto octet = [ & ]( unsigned i ) { return uint64_t( community ) >> ( 56 - 8 * i ) & 255; };
   std::string text = octet( 1 ) == 2 ? "RT:" : "SoO:";
   if( octet( 0 ) == 1 )
      for( unsigned i = 2; i < 6; ++i ) text += std::to_string( octet( i ) ) + ( i == 5 ? "" : "." );
   else
      text += std::to_string( uint64_t( community ) >> ( octet( 0 ) == 0 ? 32 : 16 ) & ( octet( 0 ) == 0 ? 0xffff : 0xffffffff ) );
   return text + ":" + std::to_string( uint64_t( community ) & ( octet( 0 ) == 0 ? 0xffffffff : 0xffff ) );
}

inline std::string frrText( Community community ) {
   return frrCommunitiesText( { community } );
}

}   // namespace Agent
