/// @file tests/agent/FrrCommunity.h
/// Communities as bgpd writes them. It has more names than the agent, and its expressions match these names.
#pragma once

#include <charconv>
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

}   // namespace Agent
