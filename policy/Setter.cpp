#include "policy/Setter.h"

#include "substrate/quoin/Assert.h"
#include "substrate/quoin/TextStream.h"

namespace Routing::Policy {

namespace {

[[noreturn]] void mustOverride() {
   Quoin::assertFailed( "0 && \"Must override in derived class\"", __FILE__, __LINE__ );
}

}   // namespace

Setter::~Setter() = default;
SetParams::~SetParams() = default;

void Setter::filterCommValue( Result_ * ) const {
   mustOverride();
}
void Setter::deferredSetValue( Result_ * ) const {
   mustOverride();
}
Quoin::Ptr<const Setter> Setter::createSkipIbgp() const {
   mustOverride();
}

RouteMapFeatures Setter::getFeatures() const {
   return {};
}

Quoin::String Setter::toStrep() const {
   Quoin::TextStream os;
   formatDerivedType( os );
   return std::move( os ).text();
}

void Setter::testSetValue( const Result_ & result ) const {
   setValue( const_cast<Result_ *>( &result ) );
}

void Setter::testDeferredSetValue( const Result_ & result ) const {
   deferredSetValue( const_cast<Result_ *>( &result ) );
}

void Setter::testFullSetValue( const Result_ & r ) const {
   QUOIN_ASSERT( nullptr == r.dps() || !r.deferredSetter( this ), "( NULL == r.dps() ) || ( !r.deferredSetter( this ) )" );
   Result_ * nonConstResultPtr = const_cast<Result_ *>( &r );
   setValue( nonConstResultPtr );
   if( !r.deferredSetter( this ) ) return;
   deferredSetValue( nonConstResultPtr );
   nonConstResultPtr->deferredSetterDel( this );
   QUOIN_ASSERT( !nonConstResultPtr->deferredSetter( this ), "!nonConstResultPtr->deferredSetter( this )" );
}

std::ostream & operator<<( std::ostream & os, const Setter * setter ) {
   if( !setter ) return os << "NULL";
   setter->formatDerivedType( os );
   return os;
}

}   // namespace Routing::Policy
