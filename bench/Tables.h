/// @file bench/Tables.h
/// Routing tables and prefix lists for benchmarks. They are generated, and then equal on every machine, or read from a file.
#pragma once

#include <fstream>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "bench/Measure.h"
#include "substrate/ferule/IpPrefix.h"
#include "substrate/routemap/PrefixListBuilder.h"

namespace Bench {

using Ferule::AddressFamily;
using Ferule::Bits128;
using Ferule::IpGenPrefix;
using Prefixes = std::vector<IpGenPrefix>;
using Entries = std::vector<Routing::RouteMap::PrefixListEntry>;

/// A generator of random numbers (splitmix64) that gives the same numbers with every standard library.
class Random {
 public:
   explicit Random( uint64_t seed ) : state_( seed ) {}
   uint64_t bits() {
      uint64_t z = state_ += 0x9E3779B97F4A7C15u;
      z = ( z ^ z >> 30 ) * 0xBF58476D1CE4E5B9u;
      z = ( z ^ z >> 27 ) * 0x94D049BB133111EBu;
      return z ^ z >> 31;
   }
   size_t below( size_t n ) { return static_cast<size_t>( bits() % n ); }

 private:
   uint64_t state_;
};

template <class T>
void shuffle( std::vector<T> & row, Random & random ) {
   for( size_t i = row.size(); i > 1; --i ) std::swap( row[ i - 1 ], row[ random.below( i ) ] );
}

inline unsigned bitsOf( AddressFamily af ) {
   return Ferule::addressBits( af );
}

/// The prefix of the first `length` bits.
inline IpGenPrefix prefixOf( AddressFamily af, Bits128 bits, unsigned length ) {
   if( af == AddressFamily::ipv6 ) return IpGenPrefix( Ferule::Ip6Prefix{ Ferule::Ip6Addr( bits ), uint8_t( length ) } ).subnet();
   return IpGenPrefix( Ferule::IpAddr( uint32_t( bits.high >> 32 ) ), uint8_t( length ) ).subnet();
}

/// A random prefix. Lengths are as frequent as in whole internet tables: more than half have the longest length that networks accept.
inline IpGenPrefix randomPrefix( AddressFamily af, Random & random ) {
   struct Share {
      unsigned upTo;   // cumulative frequency, per thousand
      unsigned length;
   };
   static const std::vector<Share> kIpv4 = { { 1, 14 },   { 3, 15 },   { 28, 16 },  { 43, 17 },  { 68, 18 },  { 118, 19 }, { 190, 20 },
                                             { 265, 21 }, { 375, 22 }, { 470, 23 }, { 990, 24 }, { 997, 28 }, { 1000, 32 } };
   static const std::vector<Share> kIpv6 = { { 2, 20 },   { 30, 29 },  { 310, 32 }, { 350, 36 }, { 400, 40 },
                                             { 450, 44 }, { 480, 46 }, { 955, 48 }, { 985, 64 }, { 1000, 126 } };
   const unsigned draw = static_cast<unsigned>( random.below( 1000 ) );
   unsigned length = 0;
   for( const Share & s : af == AddressFamily::ipv6 ? kIpv6 : kIpv4 ) {
      length = s.length;
      if( draw < s.upTo ) break;
   }
   Bits128 bits{ random.bits(), random.bits() };
   if( af == AddressFamily::ipv6 )
      bits.high = uint64_t( 1 ) << 61 | ( bits.high & 0x00FF'FFFF'FFFF'FFFFu );   // inside 2000::/8
   else
      bits.high = ( 1 + random.below( 223 ) ) << 56 | ( bits.high & 0x00FF'FFFF'FFFF'FFFFu );   // inside 1.0.0.0/8 to 223.0.0.0/8
   return prefixOf( af, bits, length );
}

/// `count` different prefixes in random order. In a larger table, more prefixes lie inside other prefixes: half of them in a whole table.
inline Prefixes generatedTable( AddressFamily af, size_t count, Random & random ) {
   std::set<IpGenPrefix> seen;
   Prefixes table;
   while( table.size() < count ) {
      auto p = randomPrefix( af, random );
      if( !table.empty() && random.below( 2 ) ) {
         const auto & above = table[ random.below( table.size() ) ];
         const Bits128 mask = Bits128::leadingOnes( above.length() );
         if( above.length() < p.length() )
            p = prefixOf( af, ( above.ipGenAddr().bits() & mask ) ^ ( p.ipGenAddr().bits() & ~mask ), p.length() );
      }
      if( seen.insert( p ).second ) table.push_back( p );
   }
   return table;
}

/// Reads the prefixes of one family from a file. Each line starts with a prefix and a tab; any other line ends the program.
inline Prefixes readTable( const std::string & path, AddressFamily af ) {
   std::ifstream file( path );
   if( !file ) fail( "cannot read " + path );
   std::set<IpGenPrefix> seen;
   Prefixes table;
   size_t lineNumber = 0;
   for( std::string line; std::getline( file, line ); ) {
      ++lineNumber;
      const std::string text = line.substr( 0, line.find( '\t' ) );
      const bool ipv6 = text.find( ':' ) != text.npos;
      if( ipv6 != ( af == AddressFamily::ipv6 ) ) continue;
      try {
         if( const auto p = IpGenPrefix( text ).subnet(); seen.insert( p ).second ) table.push_back( p );
      } catch( const std::exception & e ) { fail( path + ":" + std::to_string( lineNumber ) + ": " + e.what() ); }
   }
   return table;
}

/// One entry per prefix, which permits exactly this prefix, in the order of the table.
inline Entries exactEntries( const Prefixes & prefixes ) {
   Entries entries;
   for( const auto & p : prefixes ) entries.push_back( { uint32_t( entries.size() + 1 ), Acl::MatchPermit::permit, p, {}, {} } );
   return entries;
}

/// A list as people write it: one entry in four also matches longer prefixes, and one in eight denies.
inline Entries writtenEntries( const Prefixes & prefixes, Random & random ) {
   Entries entries = exactEntries( prefixes );
   for( auto & e : entries ) {
      const unsigned longest = e.prefix.af() == AddressFamily::ipv6 ? 48 : 24;
      if( random.below( 4 ) == 0 && e.prefix.length() < longest ) e.le = longest;
      if( random.below( 8 ) == 0 ) e.action = Acl::MatchPermit::deny;
   }
   return entries;
}

/// `count` prefixes to look up in a list, in random order. Half of them match an entry; the others are taken from `others`.
inline Prefixes queriesFor( const Entries & entries, const Prefixes & others, size_t count, Random & random ) {
   Prefixes queries;
   for( size_t i = 0; i < count; ++i ) {
      if( i % 2 ) {
         queries.push_back( others[ random.below( others.size() ) ] );
         continue;
      }
      const auto & e = entries[ random.below( entries.size() ) ];
      const unsigned length = e.prefix.length() + unsigned( random.below( e.le.value_or( e.prefix.length() ) - e.prefix.length() + 1u ) );
      const Bits128 own = e.prefix.ipGenAddr().bits();
      const Bits128 below = Bits128{ random.bits(), random.bits() } & ~Bits128::leadingOnes( e.prefix.length() );
      queries.push_back( prefixOf( e.prefix.af(), own ^ below, length ) );
   }
   shuffle( queries, random );
   return queries;
}

}   // namespace Bench
