/// @file policy/GwMatcher.h
#pragma once

#include <ostream>

#include "policy/Matcher.h"

namespace Routing::Policy {

/// A placeholder: a sequence that holds it never passes.
class ROUTEPOLICY_API GwMatcher final : public Matcher {
 public:
   bool match( const MatchInput_ *, const Quoin::Ptr<PolicyEvalContext> & ) const override { return false; }
   void formatDerivedType( std::ostream & os ) const override { os << "GwMatcher Not implemented yet"; }
};

}   // namespace Routing::Policy
