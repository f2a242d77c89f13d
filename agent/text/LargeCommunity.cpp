#include "text/LargeCommunity.h"

#include <fmt/format.h>

#include "text/ParseWhole.h"

namespace Agent {

std::optional<LargeCommunity> largeCommunityOf( std::string_view text ) noexcept {
   const auto first = text.find( ':' );
   const auto second = first == text.npos ? text.npos : text.find( ':', first + 1 );
   if( second == text.npos ) return std::nullopt;
   const auto as = parseWhole<uint32_t>( text.substr( 0, first ) );
   const auto data1 = parseWhole<uint32_t>( text.substr( first + 1, second - first - 1 ) );
   const auto data2 = parseWhole<uint32_t>( text.substr( second + 1 ) );
   if( !as || !data1 || !data2 ) return std::nullopt;
   return LargeCommunity{ *as, *data1, *data2 };
}

std::string communityText( const LargeCommunity & community ) {
   return fmt::format( "{}:{}:{}", community.globalAdministrator, community.localData1, community.localData2 );
}

}   // namespace Agent
