/// @file agent/live/Differences.h
/// Compares two ordered maps in one walk over both.
#pragma once

#include <cstddef>

namespace Agent {

/// Calls `visit( key, before, after )` for every key, ascending, with the values of both maps; null for an absent value.
template <class Map, class Visit>
void forEachPair( const Map & before, const Map & after, Visit && visit ) {
   auto b = before.begin(), a = after.begin();
   while( b != before.end() || a != after.end() ) {
      const bool inBefore = b != before.end() && ( a == after.end() || !( a->first < b->first ) );
      const bool inAfter = a != after.end() && ( b == before.end() || !( b->first < a->first ) );
      visit( inBefore ? b->first : a->first, inBefore ? &b->second : nullptr, inAfter ? &a->second : nullptr );
      if( inBefore ) ++b;
      if( inAfter ) ++a;
   }
}

/// Whether two optional values differ.
template <class T>
bool differ( const T * a, const T * b ) {
   return a && b ? !( *a == *b ) : a != b;
}

/// The same for the differing keys only. Returns their number.
template <class Map, class Visit>
size_t forEachDifference( const Map & before, const Map & after, Visit && visit ) {
   size_t count = 0;
   forEachPair( before, after, [ & ]( const auto & key, const auto * was, const auto * is ) {
      if( !differ( was, is ) ) return;
      ++count;
      visit( key, was, is );
   } );
   return count;
}

}   // namespace Agent
