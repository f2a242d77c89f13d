#include "policy/TagSetMatcher.h"

#include "policy/MatchKeys.h"
#include "substrate/quoin/DisplayPointer.h"

namespace Routing::Policy {

bool TagSetMatcher::match( const MatchInput_ * input, const Quoin::Ptr<PolicyEvalContext> & ) const {
   return status_ && status_->tag().contains( input->getTag() );
}

void TagSetMatcher::formatDerivedType( std::ostream & os ) const {
   os << "TagSetMatcher tag set" << name_ << ";" << status_;
}

void TagSetMatcher::keys( MatchKeys & keys ) const {
   if( !status_ ) return keys.noRoute();
   keys.dependsOn( status_->seal() );
   if( status_->tag().count() > MatchKeys::kMost ) return keys.skippable();
   keys.noRoute();   // unless the set has a tag
   for( const RouteTag tag : status_->tag() ) keys.keyIs( MatchKey::tag( tag ) );
   keys.exact();
}

}   // namespace Routing::Policy
