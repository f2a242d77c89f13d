#include "policy/Matcher.h"

#include "substrate/quoin/TextStream.h"

namespace Routing::Policy {

Matcher::~Matcher() = default;

bool Matcher::matchForTest( const MatchInput_ & input, const Quoin::Ptr<PolicyEvalContext> & context ) const {
   return match( &input, context );
}

RouteMapFeatures Matcher::getFeatures() const {
   return {};
}

void Matcher::keys( MatchKeys & ) const {}

Quoin::String Matcher::toStrep() const {
   Quoin::TextStream os;
   formatDerivedType( os );
   return std::move( os ).text();
}

std::ostream & operator<<( std::ostream & os, const Matcher * matcher ) {
   if( !matcher ) return os << "NULL";
   matcher->formatDerivedType( os );
   return os;
}

}   // namespace Routing::Policy
