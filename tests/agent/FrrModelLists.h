/// @file tests/agent/FrrModelLists.h
/// How FRR compares a route with one line of an access list or a community list: a part of FrrModel.h.
#pragma once

#include <algorithm>
#include <vector>

#include "text/PolicyText.h"

namespace Agent {

/// Whether the addresses have the same bits where the mask has ones.
inline bool frrAgree( const Ferule::IpGenAddr & a, const Ferule::IpGenAddr & b, const Ferule::Bits128 & mask ) {
   return a.af() == b.af() && ( ( a.bits().high ^ b.bits().high ) & mask.high ) == 0 && ( ( a.bits().low ^ b.bits().low ) & mask.low ) == 0;
}

inline Ferule::Bits128 frrOnes( unsigned length ) {
   Ferule::Bits128 bits;
   for( unsigned i = 0; i < length; ++i ) ( i < 64 ? bits.high : bits.low ) |= uint64_t( 1 ) << ( 63 - i % 64 );
   return bits;
}

/// Bits under the wildcard are taken from the address of the route, but not from the address of the line.
inline bool frrWildcardMatches( const Ferule::IpGenAddrWithFullMask & source, const Ferule::IpGenAddr & address ) {
   const Ferule::IpGenAddr zero( address.af() );
   return frrAgree( source.address(), zero, ~source.mask() ) && frrAgree( source.address(), address, source.mask() );
}

inline bool frrAccessLineMatches( const AccessListLine & line, const Ferule::IpGenPrefix & prefix ) {
   using Compares = AccessListLine::Compares;
   const auto & source = line.source;
   if( line.compares == Compares::address ) {
      if( !frrWildcardMatches( source, prefix.ipGenAddr() ) ) return false;
      if( !line.netmask ) return true;
      return frrWildcardMatches( *line.netmask, Ferule::IpGenAddr( Ferule::IpAddr( uint32_t( frrOnes( prefix.length() ).high >> 32 ) ) ) );
   }
   unsigned length = 0;   // of a line with a mask that no prefix has, the length of the longest prefix with all its addresses
   while( length < 128 && ( frrOnes( length + 1 ) & source.mask() ) == frrOnes( length + 1 ) ) ++length;
   if( line.compares == Compares::exact ? prefix.length() != length : prefix.length() < length ) return false;
   return frrAgree( source.address(), prefix.ipGenAddr(), source.mask() );
}

/// `line` is empty for "internet".
template <class C>
bool frrCommunitiesMatch( const std::vector<C> & line, const std::vector<C> & route, ListComparison comparison ) {
   const auto has = [ & ]( const C & c ) { return std::find( route.begin(), route.end(), c ) != route.end(); };
   if( line.empty() ) return true;
   if( comparison == ListComparison::any ) return std::any_of( line.begin(), line.end(), has );
   const bool hasAll = std::all_of( line.begin(), line.end(), has );
   return hasAll && ( comparison == ListComparison::all || line.size() == route.size() );
}

}   // namespace Agent
