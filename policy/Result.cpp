#include "policy/Result.h"

#include <algorithm>
#include <string>

#include "substrate/quoin/DisplayPointer.h"

namespace Routing::Policy {

DeferredPolicySetters::~DeferredPolicySetters() = default;
Result_::~Result_() = default;

void Result_::deferredSetterIs( const Setter * setter ) {
   if( !dps_ ) dps_ = Quoin::makeNode<DeferredPolicySetters>();
   if( !deferredSetter( setter ) ) dps_->setters().push_back( setter );
}

bool Result_::deferredSetter( const Setter * setter ) const {
   if( !dps_ ) return false;
   const auto & setters = dps_->setters();
   return std::find( setters.begin(), setters.end(), setter ) != setters.end();
}

void Result_::deferredSetterDel( const Setter * setter ) {
   if( !dps_ ) return;
   auto & setters = dps_->setters();
   const auto i = std::find( setters.begin(), setters.end(), setter );
   if( i != setters.end() ) setters.erase( i );
}

void Result_::deferredSetterDelAll() {
   if( !dps_ ) return;
   dps_->setters().clear();
   dps_ = nullptr;
}

bool operator==( const Result_ & a, const Result_ & b ) {
   return a.dps_ == b.dps_ && a.preference() == b.preference() && a.tag() == b.tag() && a.metric_ == b.metric_;
}

std::ostream & operator<<( std::ostream & os, const Result_ & result ) {
   return os << "Routing::Policy::Result_(preferenceStorage=" << std::to_string( result.preferenceStorage_ )
             << ", tagStorage=" << std::to_string( result.tagStorage_ ) << ", metric=" << result.metric_ << ", dps=" << result.dps_ << ")";
}

}   // namespace Routing::Policy
