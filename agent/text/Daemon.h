/// @file agent/text/Daemon.h
#pragma once

#include <cstdint>

namespace Agent {

/// The daemon of FRR that applies a route map. A daemon does not get the clauses that it does not have.
enum class Daemon : uint8_t {
   bgpd = 1,
   zebra = 2,
   pimd = 4,
   other = 8   // one of the others: they have the same clauses
};

/// A set of daemons.
using Daemons = uint8_t;
inline constexpr Daemons kAllDaemons = 15;

constexpr Daemons daemonsOf( Daemon a ) noexcept {
   return Daemons( a );
}
constexpr Daemons daemonsOf( Daemon a, Daemon b ) noexcept {
   return Daemons( uint8_t( a ) | uint8_t( b ) );
}
constexpr bool isIn( Daemon daemon, Daemons daemons ) noexcept {
   return ( uint8_t( daemon ) & daemons ) != 0;
}

}   // namespace Agent
