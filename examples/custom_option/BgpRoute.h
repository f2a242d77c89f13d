/// @file examples/custom_option/BgpRoute.h
/// The route attributes of this agent that the library does not know: communities and local preference. Matchers read a BgpRoute, and
/// setters change a BgpResult.
/// Threading: plain values.
#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "policy/MatchInput.h"
#include "policy/Result.h"

namespace BgpAgent {

using namespace Routing::Policy;
using namespace Routing::RouteMap;

using Community = uint32_t;
constexpr Community community( uint16_t as, uint16_t number ) noexcept {
   return uint32_t( as ) << 16 | number;
}

/// The attributes that policy reads.
class BgpRoute final : public MatchInput_ {
 public:
   BgpRoute( const Ferule::IpGenPrefix & prefix, std::vector<Community> communities ) : communities_( std::move( communities ) ) {
      prefixIs( prefix );
   }
   const std::vector<Community> & communities() const noexcept { return communities_; }

 private:
   std::vector<Community> communities_;
};

/// The attributes that policy changes.
struct BgpResult final : Result_ {
   uint32_t localPreference = 100;   // the default
};

}   // namespace BgpAgent
