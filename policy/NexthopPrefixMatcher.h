/// @file policy/NexthopPrefixMatcher.h
#pragma once

#include "policy/SimpleMatcher.h"

namespace Routing::Policy {

/// Matches a route whose next hop lies in this prefix. An IPv4 prefix of length 0, or of a length above 32, contains every IPv4 next hop.
class ROUTEPOLICY_API NexthopPrefixMatcher final : public SimpleMatcher<Ferule::IpGenPrefix> {
 public:
   explicit NexthopPrefixMatcher( const Ferule::IpGenPrefix & prefix ) : SimpleMatcher( "NexthopPrefixMatcher prefix ", prefix ) {}
   const Ferule::IpGenPrefix & prefix() const noexcept { return value(); }
   bool match( const MatchInput_ * input, const Quoin::Ptr<PolicyEvalContext> & context ) const override;
   void keys( MatchKeys & keys ) const override;
};

}   // namespace Routing::Policy
