#include "policy/TagSetMatcher.h"

#include "substrate/quoin/DisplayPointer.h"

namespace Routing::Policy {

bool TagSetMatcher::match( const MatchInput_ * input, const Quoin::Ptr<PolicyEvalContext> & ) const {
   return status_ && status_->tag().contains( input->getTag() );
}

void TagSetMatcher::formatDerivedType( std::ostream & os ) const {
   os << "TagSetMatcher tag set" << name_ << ";" << status_;
}

}   // namespace Routing::Policy
