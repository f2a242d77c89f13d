#include "substrate/routemap/PolicySymbol.h"

#include <atomic>

namespace Routing::RouteMap {

namespace {

// The symbols of lists that are not current. Alone in its cache line: each edit of a list writes it.
struct alignas( 64 ) Outdated {
   std::atomic<size_t> count = 0;
} outdatedLists;

}   // namespace

PolicySymbolNotifier::~PolicySymbolNotifier() = default;

void PolicySymbolNotifier::versionInc( uint32_t delta ) {
   if( delta == 0 ) return;
   version_ += delta;
   publisher_.publishChange( Quoin::FieldId( Field::version ) );
}

PolicySymbol::PolicySymbol( const Quoin::String & name, Of of ) : of_( of ), name_( name ) {
   notifier_.value = Quoin::makeNode<PolicySymbolNotifier>();
}

PolicySymbol::~PolicySymbol() {
   if( isOfList() && !statusCurrent_ ) --outdatedLists.count;
}

void PolicySymbol::statusCurrentIs( bool isCurrent ) {
   if( isCurrent == statusCurrent_ ) return;
   statusCurrent_ = isCurrent;
   if( isOfList() ) isCurrent ? --outdatedLists.count : ++outdatedLists.count;
   publisher_.publishChange( Quoin::FieldId( Field::statusCurrent ) );
}

bool PolicySymbol::listsAreCurrent() noexcept {
   return outdatedLists.count == 0;
}

Quoin::Publisher * PolicySymbol::publisher() const noexcept {
   return &publisher_;
}

uint32_t PolicySymbol::hash() const {
   return hashOf( name_ );
}
bool PolicySymbol::compare( const Zeugma::DedupHandleBase * other ) const {
   return name_ == static_cast<const PolicySymbol *>( other )->name_;
}
bool PolicySymbol::compareByContent( const Zeugma::DedupContentHandle & content ) const {
   return name_ == content.content<Quoin::String>();
}
bool PolicySymbol::compareLessThan( const Zeugma::DedupHandleBase * other ) const {
   return name_ < static_cast<const PolicySymbol *>( other )->name_;
}
bool PolicySymbol::compareLessThanByContent( const Zeugma::DedupContentHandle & content ) const {
   return name_ < content.content<Quoin::String>();
}

}   // namespace Routing::RouteMap
