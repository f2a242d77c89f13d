/// @file agent/live/RouteKeys.h
/// What routes and lists tell plans (policy/RouteMapPlan.h) of the attributes that the library does not know: a list can match a route only
/// if they have one of these keys in common. Different values may have the same key. Threading: thread-safe.
#pragma once

#include <cstdint>
#include <string_view>

#include <boost/container/small_vector.hpp>

#include "policy/MatchKeys.h"
#include "substrate/plinth/HashMap2018.h"
#include "table/TableRoute.h"

namespace Agent {

/// What a key is of.
enum class RouteKeyKind : uint8_t { community, largeCommunity, extCommunity, asPathWord, unknown };

constexpr uint64_t routeKey( RouteKeyKind kind, uint64_t hash ) noexcept {
   return ( hash << 3 | hash >> 61 ) ^ uint64_t( kind );
}
inline uint64_t communityKey( uint32_t community ) noexcept {
   return routeKey( RouteKeyKind::community, community );
}
inline uint64_t communityKey( const LargeCommunity & community ) noexcept {
   return routeKey( RouteKeyKind::largeCommunity, Plinth::KeyHash<LargeCommunity>()( community ) );
}
inline uint64_t communityKey( const ExtCommunity & community ) noexcept {
   return routeKey( RouteKeyKind::extCommunity, Plinth::KeyHash<ExtCommunity>()( community ) );
}
/// Of a word that a WordExpression asks for. `hash`: wordHash().
inline uint64_t asPathWordKey( size_t hash ) noexcept {
   return routeKey( RouteKeyKind::asPathWord, hash );
}
/// Of a route in which the set clause with these words has set what only the daemon knows.
uint64_t unknownKey( std::string_view words ) noexcept;

/// The keys of a route, each once. Those of an ordinary route need no memory.
using RouteKeys = boost::container::small_vector<uint64_t, 32>;
/// `keys` is empty.
void keysAre( RouteKeys & keys, const TableRoute & route );

/// Tells the keys of all members, and returns true, unless there are more than plans look up. Leaves room for one more key.
template <class Keys, class KeyOf>
bool tellKeys( Routing::Policy::MatchKeys & told, const Keys & members, KeyOf && keyOf ) {
   if( members.size() >= Routing::Policy::MatchKeys::kMost ) return false;
   told.noRoute();   // but those with a key
   for( const auto & member : members ) told.keyIs( Routing::Policy::MatchKey::own( keyOf( member ) ) );
   return true;
}

}   // namespace Agent
