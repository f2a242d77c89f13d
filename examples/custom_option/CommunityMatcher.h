/// @file examples/custom_option/CommunityMatcher.h
#pragma once

#include <algorithm>

#include "CommunityList.h"
#include "policy/Matcher.h"

namespace BgpAgent {

/// Matches a route that carries a community of the list. An undefined list contains no community.
/// Threading: any number of threads match at once.
class CommunityMatcher final : public Matcher {
 public:
   /// `status`: the status of the symbol; null while the list is undefined. It is a CommunityList, since only the producer of this agent
   /// writes the table.
   CommunityMatcher( const Quoin::String & name, const Quoin::Ptr<const CommListStatus> & status )
         : name_( name ), status_( status ), list_( static_cast<const CommunityList *>( status.get() ) ) {}
   const Quoin::Ptr<const CommListStatus> & status() const noexcept { return status_; }
   bool match( const MatchInput_ * input, const Quoin::Ptr<PolicyEvalContext> & ) const override {
      const auto * route = dynamic_cast<const BgpRoute *>( input );   // a route of another protocol carries no community
      return route && list_ && std::ranges::any_of( route->communities(), [ this ]( Community c ) { return list_->has( c ); } );
   }
   void formatDerivedType( std::ostream & os ) const override { os << "CommunityMatcher list " << name_; }

 private:
   Quoin::String name_;
   Quoin::Ptr<const CommListStatus> status_;
   const CommunityList * list_;
};

}   // namespace BgpAgent
