#include "text/SourceProtocol.h"

#include <string>

#include <gtest/gtest.h>

namespace Agent {
namespace {

TEST( SourceProtocol, everyProtocolHasANameOfItsOwn ) {
   struct Row {
      SourceProtocol protocol;
      std::string_view name;
   };
   const Row rows[] = {
      { SourceProtocol::connected, "connected" }, { SourceProtocol::fixed, "static" },
      { SourceProtocol::kernel, "kernel" },       { SourceProtocol::bgp, "bgp" },
      { SourceProtocol::ospf, "ospf" },           { SourceProtocol::ospf6, "ospf6" },
      { SourceProtocol::isis, "isis" },           { SourceProtocol::rip, "rip" },
      { SourceProtocol::ripng, "ripng" },
   };
   uint8_t number = 0;
   for( const auto & row : rows ) {
      EXPECT_EQ( uint8_t( row.protocol ), ++number ) << row.name;
      EXPECT_EQ( nameOf( row.protocol ), row.name );
      EXPECT_EQ( sourceProtocol( row.name ), row.protocol ) << row.name;
   }
}

TEST( SourceProtocol, noneHasNoName ) {
   EXPECT_EQ( nameOf( SourceProtocol::none ), "" );
   for( const std::string_view name : { "", "fixed", "BGP", "bgp ", "ospf7", "none" } )
      EXPECT_EQ( sourceProtocol( name ), std::nullopt ) << name;
}

}   // namespace
}   // namespace Agent
