/// @file policy/SourceProtoMatcher.h
#pragma once

#include "policy/SimpleMatcher.h"

namespace Routing::Policy {

/// The route comes from this protocol. The protocols of routes are finer than those of configuration: several of the former
/// count as one of the latter.
class ROUTEPOLICY_API SourceProtoMatcher final : public SimpleMatcher<RouteProto> {
 public:
   explicit SourceProtoMatcher( RouteProto protocol ) : SimpleMatcher( "SourceProtoMatcher protocol ", protocol ) {}
   RouteProto protocol() const noexcept { return value(); }
   bool match( const MatchInput_ * input, const Quoin::Ptr<PolicyEvalContext> & context ) const override;
};

}   // namespace Routing::Policy
