#include "substrate/routemap/PolicySymbol.h"

namespace Routing::RouteMap {

PolicySymbolNotifier::~PolicySymbolNotifier() = default;

void PolicySymbolNotifier::versionInc( uint32_t delta ) {
   if( delta == 0 ) return;
   version_ += delta;
   publisher_.publishChange( Quoin::FieldId( Field::version ) );
}

PolicySymbol::PolicySymbol( const Quoin::String & name ) : name_( name ) {
   notifier_.value = Quoin::makeNode<PolicySymbolNotifier>();
   statusCurrent_.value = true;
}

PolicySymbol::~PolicySymbol() = default;

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
