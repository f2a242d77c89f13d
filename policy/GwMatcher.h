/// @file policy/GwMatcher.h
#pragma once

#include <ostream>

#include "policy/MatchKeys.h"
#include "policy/Matcher.h"

namespace Routing::Policy {

/// A placeholder for a match option without an implementation. It matches no route.
class ROUTEPOLICY_API GwMatcher final : public Matcher {
 public:
   bool match( const MatchInput_ *, const Quoin::Ptr<PolicyEvalContext> & ) const override { return false; }
   void keys( MatchKeys & keys ) const override { keys.noRoute(); }
   void formatDerivedType( std::ostream & os ) const override { os << "GwMatcher Not implemented yet"; }
};

}   // namespace Routing::Policy
