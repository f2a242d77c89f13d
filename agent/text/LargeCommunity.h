/// @file agent/text/LargeCommunity.h
#pragma once

#include <compare>
#include <cstdint>

namespace Agent {

/// A large community: "64500:1:2". Source: RFC 8092.
struct LargeCommunity {
   uint32_t globalAdministrator = 0;   // an AS
   uint32_t localData1 = 0;
   uint32_t localData2 = 0;
   friend auto operator<=>( const LargeCommunity &, const LargeCommunity & ) = default;
};

}   // namespace Agent
