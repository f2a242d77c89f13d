/// @file bench/Yardsticks.h
/// Other ways to look up a prefix in a prefix list: a slow obvious way, a common way, and an ideal that shows the least possible cost.
#pragma once

#include <array>
#include <vector>

#include "bench/Tables.h"
#include "policy/PrefixListMatcher.h"

namespace Bench {

using Routing::Policy::PrefixListMatchResult;
using Routing::Policy::PrefixListMatchResultTuple;

/// An entry with both bounds set.
struct BareEntry {
   Bits128 bits;
   Bits128 mask;
   uint32_t seqno;
   uint8_t length;
   uint8_t ge;
   uint8_t le;
   bool permit;

   explicit BareEntry( const Routing::RouteMap::PrefixListEntry & e )
         : bits( e.prefix.ipGenAddr().bits() ),
           mask( Bits128::leadingOnes( e.prefix.length() ) ),
           seqno( e.seqno ),
           length( e.prefix.length() ),
           ge( uint8_t( e.ge.value_or( length ) ) ),
           le( uint8_t( e.le.value_or( e.ge ? bitsOf( e.prefix.af() ) : length ) ) ),
           permit( e.action == Acl::MatchPermit::permit ) {}
   bool speaksOf( const IpGenPrefix & p ) const noexcept {
      return ge <= p.length() && p.length() <= le && ( ( p.ipGenAddr().bits() ^ bits ) & mask ).none();
   }
   PrefixListMatchResultTuple answer() const noexcept {
      return { seqno, permit ? PrefixListMatchResult::permit : PrefixListMatchResult::deny };
   }
};

/// Reads the entries in the order of their sequence numbers, up to the first entry that matches the prefix.
class LinearList {
 public:
   explicit LinearList( const Entries & entries ) : entries_( entries.begin(), entries.end() ) {}   // `entries` is in that order
   PrefixListMatchResultTuple operator()( const IpGenPrefix & p ) const noexcept {
      for( const auto & e : entries_ )
         if( e.speaksOf( p ) ) return e.answer();
      return {};
   }

 private:
   std::vector<BareEntry> entries_;
};

/// One hash table per prefix length. A look-up reads each table that can hold a containing prefix. Open addressing, at most half full.
class HashPerLength {
 public:
   explicit HashPerLength( const Entries & entries ) : tables_( 129 ) {
      std::array<size_t, 129> counts{};
      for( const auto & e : entries ) ++counts[ e.prefix.length() ];
      for( unsigned l = 0; l <= 128; ++l ) {
         if( !counts[ l ] ) continue;
         size_t slots = 2;
         while( slots < 2 * counts[ l ] ) slots *= 2;
         tables_[ l ].resize( slots, kNone );
         lengths_.push_back( l );
      }
      for( const auto & e : entries ) {
         auto & table = tables_[ e.prefix.length() ];
         auto slot = hash( e.prefix.ipGenAddr().bits() );
         while( table[ slot & ( table.size() - 1 ) ] != kNone ) ++slot;
         table[ slot & ( table.size() - 1 ) ] = uint32_t( entries_.size() );
         entries_.emplace_back( e );
      }
   }
   PrefixListMatchResultTuple operator()( const IpGenPrefix & p ) const noexcept {
      const BareEntry * best = nullptr;
      for( const unsigned length : lengths_ ) {
         if( length > p.length() ) break;
         const Bits128 bits = p.ipGenAddr().bits() & Bits128::leadingOnes( length );
         const auto & table = tables_[ length ];
         const size_t last = table.size() - 1;
         for( auto slot = hash( bits ); table[ slot & last ] != kNone; ++slot ) {
            const BareEntry & e = entries_[ table[ slot & last ] ];
            if( e.bits == bits && e.speaksOf( p ) && ( !best || e.seqno < best->seqno ) ) best = &e;
         }
      }
      return best ? best->answer() : PrefixListMatchResultTuple{};
   }

 private:
   static constexpr uint32_t kNone = ~uint32_t( 0 );
   static size_t hash( Bits128 bits ) noexcept {
      uint64_t x = bits.high ^ bits.low * 0xBF58476D1CE4E5B9u;
      x = ( x ^ x >> 32 ) * 0x9E3779B97F4A7C15u;   // short prefixes differ only in their first bits
      return static_cast<size_t>( x >> 32 );
   }
   std::vector<std::vector<uint32_t>> tables_;   // by length: indices into `entries_`
   std::vector<unsigned> lengths_;               // the lengths that have a table, ascending
   std::vector<BareEntry> entries_;
};

/// The ideal for IPv4: two arrays of answers. The first 24 bits of the address index the first array; where longer prefixes make a
/// difference, the last 8 bits index a block of the second array. An element has one bit per prefix length, from 8 on. The first array
/// takes 64 MB, and each block 1 kB.
class Table24x8 {
 public:
   static constexpr unsigned kShortest = 8;   // the shortest length that can be looked up

   explicit Table24x8( const Entries & entries ) : places_( size_t( 1 ) << 24 ) {
      std::vector<uint32_t> decided( places_.size() );   // lengths that an entry with a lower sequence number has decided
      std::vector<uint32_t> decidedBelow;
      for( const auto & entry : entries ) {
         const BareEntry e( entry );
         uint32_t lengths = 0;
         for( unsigned l = std::max<unsigned>( e.ge, kShortest ); l <= e.le; ++l ) lengths |= uint32_t( 1 ) << ( l - kShortest );
         auto speak = [ & ]( uint32_t & place, uint32_t & done ) {
            if( e.permit ) place |= lengths & ~done;
            done |= lengths;
         };
         const uint32_t address = uint32_t( e.bits.high >> 32 );
         const uint32_t first = address >> 8;
         const uint32_t count = e.length < 24 ? uint32_t( 1 ) << ( 24 - e.length ) : 1;
         for( uint32_t at = first; at < first + count; ++at ) {
            if( e.length > 24 && !( places_[ at ] & kLonger ) ) {
               const uint32_t block = uint32_t( longer_.size() / 256 );
               longer_.insert( longer_.end(), 256, places_[ at ] );
               decidedBelow.insert( decidedBelow.end(), 256, decided[ at ] );
               places_[ at ] = kLonger | block;
            }
            if( !( places_[ at ] & kLonger ) ) {
               speak( places_[ at ], decided[ at ] );
               continue;
            }
            const size_t base = size_t( places_[ at ] & ~kLonger ) * 256;
            const size_t from = e.length > 24 ? address & 255 : 0;
            const size_t below = e.length > 24 ? size_t( 1 ) << ( 32 - e.length ) : 256;
            for( size_t i = from; i < from + below; ++i ) speak( longer_[ base + i ], decidedBelow[ base + i ] );
         }
      }
   }
   bool operator()( const IpGenPrefix & p ) const noexcept {
      const uint32_t address = p.ipGenAddr().v4Addr().value();
      uint32_t place = places_[ address >> 8 ];
      if( place & kLonger ) place = longer_[ size_t( place & ~kLonger ) * 256 + ( address & 255 ) ];
      return place >> ( p.length() - kShortest ) & 1;
   }

 private:
   static constexpr uint32_t kLonger = uint32_t( 1 ) << 31;
   std::vector<uint32_t> places_;
   std::vector<uint32_t> longer_;
};

}   // namespace Bench
