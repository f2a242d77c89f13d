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
   /// The configured protocol that the protocol of a route counts as.
   static RouteProto configured( RouteProto ofRoute ) noexcept;
   bool match( const MatchInput_ * input, const Quoin::Ptr<PolicyEvalContext> & context ) const override;
   void keys( MatchKeys & keys ) const override;
};

}   // namespace Routing::Policy
