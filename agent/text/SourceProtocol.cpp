#include "text/SourceProtocol.h"

#include <algorithm>
#include <iterator>

namespace Agent {

namespace {

constexpr std::string_view kNames[] = { "",      "connected", "static", "kernel", "bgp",        "ospf",  "ospf6", "isis", "rip",
                                        "ripng", "babel",     "eigrp",  "nhrp",   "openfabric", "sharp", "table", "vnc",  "vnc-direct" };

}   // namespace

std::string_view nameOf( SourceProtocol protocol ) noexcept {
   return kNames[ uint8_t( protocol ) ];
}

std::optional<SourceProtocol> sourceProtocol( std::string_view name ) noexcept {
   const auto * const at = std::find( std::begin( kNames ) + 1, std::end( kNames ), name );
   if( at == std::end( kNames ) ) return std::nullopt;
   return SourceProtocol( at - kNames );
}

std::span<const std::string_view> sourceProtocolNames() noexcept {
   return std::span( kNames ).subspan( 1 );
}

}   // namespace Agent
