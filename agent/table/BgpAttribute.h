/// @file agent/table/BgpAttribute.h
#pragma once

#include <cstdint>

/// The types of the attributes of a BGP route that tables carry. Source: the registry of BGP path attributes.
namespace Agent::BgpAttribute {

enum : uint8_t {
   kOrigin = 1,
   kAsPath = 2,
   kNextHop = 3,
   kMed = 4,
   kLocalPreference = 5,
   kCommunities = 8,
   kMpReach = 14,
   kMpUnreach = 15,
   kExtCommunities = 16,
   kAs4Path = 17,
   kLargeCommunities = 32
};

}   // namespace Agent::BgpAttribute
