/// @file substrate/zeugma/HashMix.h
/// Computes a hash from several parts. The value types use it in their hash().
#pragma once

#include <cstdint>
#include <cstring>

#include "routepolicy_export.h"

namespace Zeugma {

/// Feed bytes, then convert to an unsigned number. The same seed and the same bytes give the same hash within a process; do not store it.
class HashMix {
 public:
   explicit HashMix( uint32_t seed = 0 ) noexcept : hash_( seed ^ 0x9e3779b97f4a7c15u ) {}

   /// Feeds four bytes.
   void mixBytes4( const unsigned char * bytes ) noexcept {
      uint32_t word;
      std::memcpy( &word, bytes, sizeof word );
      mix( word );
   }
   /// Feeds eight bytes.
   void mixBytes8( const unsigned char * bytes ) noexcept {
      mixBytes4( bytes );
      mixBytes4( bytes + 4 );
   }

   operator unsigned() const noexcept { return static_cast<unsigned>( hash_ ^ ( hash_ >> 32 ) ); }

 private:
   void mix( uint32_t word ) noexcept {
      hash_ = ( hash_ ^ word ) * 0xff51afd7ed558ccdu;
      hash_ ^= hash_ >> 33;
   }
   uint64_t hash_;
};

}   // namespace Zeugma
