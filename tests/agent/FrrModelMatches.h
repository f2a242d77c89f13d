/// @file tests/agent/FrrModelMatches.h
/// The match clauses of FRR that compare a value of the route, for FrrModel.h.
#pragma once

#include <stdexcept>
#include <string>

#include "table/TableRoute.h"
#include "text/ValueOptions.h"

namespace Agent {

/// `option` is a ValueOption. Errors: std::invalid_argument if the route does not answer the clause.
inline bool frrValueHolds( MatchOption option, const MatchClause & clause, const TableRoute & route ) {
   const auto number = clause.number;
   const bool isIpv4 = route.prefix.af() == AddressFamily::ipv4;
   const auto unanswered = [ & ]( bool is ) {
      if( is ) throw std::invalid_argument( "the route does not answer match option " + std::to_string( unsigned( option ) ) );
   };
   // The next hop of that family; all zero if the route has none.
   const auto nextHop = [ & ]( AddressFamily af ) {
      for( const auto & hop : { route.nextHop, route.otherNextHop } )
         if( hop.af() == af ) return hop;
      return Ferule::IpGenAddr( af );
   };
   switch( ValueOption( uint8_t( option ) ) ) {
      case ValueOption::localPreference: return ( route.localPreference ? *route.localPreference : 100 ) == number;
      case ValueOption::origin: unanswered( !route.origin ); return unsigned( *route.origin ) == number;
      case ValueOption::probability: unanswered( number > 0 && number < 100 ); return number == 100;
      case ValueOption::ipPrefixLength: return isIpv4 && route.prefix.length() == number;
      case ValueOption::ipv6PrefixLength: return !isIpv4 && route.prefix.length() == number;
      case ValueOption::ipNextHopLength: return isIpv4 && number == 32;
      case ValueOption::ipNextHopBlackhole: return isIpv4 && nextHop( AddressFamily::ipv4 ) == Ferule::IpGenAddr( "0.0.0.0" );
      case ValueOption::ipv6NextHopBlackhole: return !isIpv4 && nextHop( AddressFamily::ipv6 ) == Ferule::IpGenAddr( "::" );
      case ValueOption::ipNextHopAddress: return *clause.address == nextHop( AddressFamily::ipv4 );
      case ValueOption::ipv6NextHopAddress: return *clause.address == nextHop( AddressFamily::ipv6 );
      case ValueOption::sourceProtocol: return number != 0 && number == uint64_t( route.protocol );
      case ValueOption::sourceInstance: return number == route.ospfInstance;
      case ValueOption::rpki: unanswered( !route.rpki ); return unsigned( *route.rpki ) == number;
      default: unanswered( true ); return false;
   }
}

}   // namespace Agent
