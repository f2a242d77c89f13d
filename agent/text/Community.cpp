#include "text/Community.h"

#include <fmt/format.h>

#include "text/ParseWhole.h"

namespace Agent {

namespace {

struct WellKnown {
   std::string_view name;
   Community community;
};
constexpr WellKnown kWellKnown[] = {
   { "graceful-shutdown", 0xffff0000 },
   { "accept-own", 0xffff0001 },
   { "route-filter-translated-v4", 0xffff0002 },
   { "route-filter-v4", 0xffff0003 },
   { "route-filter-translated-v6", 0xffff0004 },
   { "route-filter-v6", 0xffff0005 },
   { "llgr-stale", 0xffff0006 },
   { "no-llgr", 0xffff0007 },
   { "accept-own-nexthop", 0xffff0008 },
   { "blackhole", 0xffff029a },
   { "no-export", 0xffffff01 },
   { "no-advertise", 0xffffff02 },
   { "local-AS", 0xffffff03 },
   { "no-peer", 0xffffff04 },
};

}   // namespace

std::optional<Community> communityOf( std::string_view text ) noexcept {
   for( const auto & known : kWellKnown )
      if( text == known.name ) return known.community;
   const auto colon = text.find( ':' );
   if( colon == text.npos ) return parseWhole<Community>( text );
   const auto as = parseWhole<uint16_t>( text.substr( 0, colon ) );
   const auto value = parseWhole<uint16_t>( text.substr( colon + 1 ) );
   if( !as || !value ) return std::nullopt;
   return Community( *as ) << 16 | *value;
}

std::string_view wellKnownName( Community community ) noexcept {
   for( const auto & known : kWellKnown )
      if( community == known.community ) return known.name;
   return {};
}

std::string communityText( Community community ) {
   if( const auto name = wellKnownName( community ); !name.empty() ) return std::string( name );
   return fmt::format( "{}:{}", community >> 16, community & 0xffff );
}

std::string communitiesText( const std::vector<Community> & communities ) {
   std::string text;
   for( const Community community : communities ) text += ( text.empty() ? "" : " " ) + communityText( community );
   return text;
}

}   // namespace Agent
