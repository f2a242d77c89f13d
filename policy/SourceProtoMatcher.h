/// @file policy/SourceProtoMatcher.h
#pragma once

#include "policy/SimpleMatcher.h"

namespace Routing::Policy {

/// Matches a route from this protocol. Routes distinguish more protocols than configuration does: several protocols of routes count as one
/// configured protocol.
class ROUTEPOLICY_API SourceProtoMatcher final : public SimpleMatcher<RouteProto> {
 public:
   explicit SourceProtoMatcher( RouteProto protocol ) : SimpleMatcher( "SourceProtoMatcher protocol ", protocol ) {}
   RouteProto protocol() const noexcept { return value(); }
   bool match( const MatchInput_ * input, const Quoin::Ptr<PolicyEvalContext> & context ) const override;
};

}   // namespace Routing::Policy
