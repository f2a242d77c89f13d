/// @file agent/table/AsPath.h
/// Changes AS paths in the form of a TableRoute: "64500 64501 {64502,64503}".
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace Agent {

/// Empty for a path that is empty or begins with a set.
std::string_view firstAsOf( std::string_view asPath ) noexcept;

/// The path without some of its ASes, in sets too.
std::string asPathWithout( std::string_view asPath, const std::function<bool( uint32_t as )> & isRemoved );

}   // namespace Agent
