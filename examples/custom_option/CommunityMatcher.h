/// @file examples/custom_option/CommunityMatcher.h
#pragma once

#include <algorithm>

#include "CommunityList.h"
#include "policy/Matcher.h"

namespace BgpAgent {

/// The route carries a community of the list; an undefined list has none.
class CommunityMatcher final : public Matcher {
 public:
   CommunityMatcher( const Quoin::String & name, const Quoin::Ptr<const CommunityList> & list ) : name_( name ), list_( list ) {}
   bool match( const MatchInput_ * input, const Quoin::Ptr<PolicyEvalContext> & ) const override {
      const auto * route = dynamic_cast<const BgpRoute *>( input );   // one of another protocol carries none
      return route && list_ && std::ranges::any_of( route->communities(), [ this ]( Community c ) { return list_->has( c ); } );
   }
   void formatDerivedType( std::ostream & os ) const override { os << "CommunityMatcher list " << name_; }

 private:
   Quoin::String name_;
   Quoin::Ptr<const CommunityList> list_;
};

}   // namespace BgpAgent
