#include "live/RouteKeys.h"

#include <algorithm>

#include "live/ExpressionLines.h"
#include "text/Expression.h"

namespace Agent {

uint64_t unknownKey( std::string_view words ) noexcept {
   return routeKey( RouteKeyKind::unknown, wordHash( words ) );
}

void keysAre( RouteKeys & keys, const TableRoute & route ) {
   for( const auto & community : route.communities ) keys.push_back( communityKey( community ) );
   for( const auto & community : route.largeCommunities ) keys.push_back( communityKey( community ) );
   for( const auto & community : route.extCommunities ) keys.push_back( communityKey( community ) );
   for( const auto & other : route.others ) keys.push_back( unknownKey( other.name ) );
   // A word of FRR's dialect that an expression can ask for is also one of the native dialect: more characters separate these.
   forEachWord( route.asPath, Dialect::native,
                [ & ]( std::string_view word, bool, bool ) { keys.push_back( asPathWordKey( wordHash( word ) ) ); } );
   std::ranges::sort( keys );
   keys.erase( std::unique( keys.begin(), keys.end() ), keys.end() );
}

}   // namespace Agent
