#include "table/KernelProtocol.h"

#include <linux/rtnetlink.h>

#include "table/LineResult.h"

namespace Agent {

namespace {

struct Row {
   uint8_t number;
   std::string_view name;
   SourceProtocol protocol;
};

constexpr Row kRows[] = {
   { RTPROT_KERNEL, "kernel", SourceProtocol::kernel }, { RTPROT_BOOT, "boot", SourceProtocol::fixed },
   { RTPROT_STATIC, "static", SourceProtocol::fixed },  { RTPROT_RA, "ra", SourceProtocol::fixed },
   { RTPROT_DHCP, "dhcp", SourceProtocol::fixed },      { RTPROT_BGP, "bgp", SourceProtocol::bgp },
   { RTPROT_ISIS, "isis", SourceProtocol::isis },       { RTPROT_OSPF, "ospf", SourceProtocol::ospf },
   { RTPROT_RIP, "rip", SourceProtocol::rip },
};

}   // namespace

SourceProtocol kernelProtocol( uint8_t number ) noexcept {
   for( const auto & row : kRows )
      if( row.number == number ) return row.protocol;
   return SourceProtocol::none;
}

SourceProtocol kernelProtocol( std::string_view name ) noexcept {
   for( const auto & row : kRows )
      if( row.name == name ) return row.protocol;
   const auto number = parseNumber( name, 0xff );
   return number ? kernelProtocol( static_cast<uint8_t>( *number ) ) : SourceProtocol::none;
}

}   // namespace Agent
