/// @file policy/TagSetMatcher.h
#pragma once

#include "policy/MatchInput.h"
#include "policy/Matcher.h"
#include "substrate/lists/TagSetStatus.h"

namespace Routing::Policy {

using RouteMap::TagSetStatus;

/// Matches a route whose tag is in the set. An undefined set contains no tag.
/// Ownership: shares the set that it was created for. Threading: any number of threads match at once.
class ROUTEPOLICY_API TagSetMatcher final : public Matcher {
 public:
   TagSetMatcher( const Quoin::String & name, const Quoin::Ptr<const TagSetStatus> & status ) : name_( name ), status_( status ) {}
   const Quoin::String & name() const noexcept { return name_; }
   /// Null while the set is undefined.
   const Quoin::Ptr<const TagSetStatus> & status() const noexcept { return status_; }

   bool match( const MatchInput_ * input, const Quoin::Ptr<PolicyEvalContext> & context ) const override;
   void keys( MatchKeys & keys ) const override;
   void formatDerivedType( std::ostream & os ) const override;

 private:
   Quoin::String name_;
   Quoin::Ptr<const TagSetStatus> status_;
};

}   // namespace Routing::Policy
