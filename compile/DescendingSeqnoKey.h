/// @file compile/DescendingSeqnoKey.h
#pragma once

#include <cstdint>
#include <ostream>
#include <string>

#include "substrate/quoin/Value.h"

namespace Routing::Policy {

/// A sequence number as a key whose order is descending: a collection begins with the highest number. A plain value.
/// ModifiedRouteMapSeqStatusList uses these keys.
struct DescendingSeqnoKey {
   uint32_t seqno = 0;

   friend constexpr bool operator==( DescendingSeqnoKey, DescendingSeqnoKey ) = default;
   friend constexpr bool operator<( DescendingSeqnoKey a, DescendingSeqnoKey b ) noexcept { return a.seqno > b.seqno; }
   static bool isEq( const void * a, const void * b ) noexcept { return Quoin::isEqOf<DescendingSeqnoKey>( a, b ); }
   constexpr uint32_t hash() const noexcept { return seqno; }
   friend std::ostream & operator<<( std::ostream & os, DescendingSeqnoKey key ) { return os << std::to_string( key.seqno ); }
};

}   // namespace Routing::Policy
