#include "table/KernelProtocol.h"

#include <gtest/gtest.h>

namespace Agent {
namespace {

TEST( KernelProtocolTest, namesAndNumbersSayTheSame ) {
   struct Row {
      std::string_view name;
      uint8_t number;
      SourceProtocol protocol;
   };
   const Row rows[] = {
      { "kernel", 2, SourceProtocol::kernel }, { "boot", 3, SourceProtocol::fixed },  { "static", 4, SourceProtocol::fixed },
      { "ra", 9, SourceProtocol::fixed },      { "dhcp", 16, SourceProtocol::fixed }, { "bgp", 186, SourceProtocol::bgp },
      { "isis", 187, SourceProtocol::isis },   { "ospf", 188, SourceProtocol::ospf }, { "rip", 189, SourceProtocol::rip },
   };
   for( const auto & row : rows ) {
      EXPECT_EQ( kernelProtocol( row.name ), row.protocol ) << row.name;
      EXPECT_EQ( kernelProtocol( row.number ), row.protocol ) << row.name;
      EXPECT_EQ( kernelProtocol( std::to_string( row.number ) ), row.protocol ) << row.name;
   }
}

TEST( KernelProtocolTest, othersAreNone ) {
   for( const std::string_view name : { "", "other", "255", "256", "442", "-2", "2 ", "Kernel" } )
      EXPECT_EQ( kernelProtocol( name ), SourceProtocol::none ) << name;
   for( const uint8_t number : { 0, 1, 5, 42, 255 } ) EXPECT_EQ( kernelProtocol( number ), SourceProtocol::none ) << int( number );
}

}   // namespace
}   // namespace Agent
