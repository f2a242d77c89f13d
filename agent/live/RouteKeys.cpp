#include "live/RouteKeys.h"

#include "live/ExpressionLines.h"
#include "text/Expression.h"

namespace Agent {

uint64_t unknownKey( std::string_view words ) noexcept {
   return routeKey( RouteKeyKind::unknown, wordHash( words ) );
}

void appendKeys( RouteKeys & keys, const TableRoute & route ) {
   for( const auto & community : route.communities ) keys.push_back( communityKey( community ) );
   for( const auto & community : route.largeCommunities ) keys.push_back( communityKey( community ) );
   for( const auto & community : route.extCommunities ) keys.push_back( communityKey( community ) );
   for( const auto & other : route.others ) keys.push_back( unknownKey( other.name ) );
   const auto addWord = [ & ]( std::string_view word, bool, bool ) { keys.push_back( asPathWordKey( wordHash( word ) ) ); };
   forEachWord( route.asPath, Dialect::native, addWord );
   if( route.asPath.find( '[' ) != std::string::npos ) forEachWord( route.asPath, Dialect::frr, addWord );   // the words are longer
}

}   // namespace Agent
