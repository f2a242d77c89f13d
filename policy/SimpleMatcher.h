/// @file policy/SimpleMatcher.h
/// What the matchers of one field have in common: a value, given at construction, and a text.
#pragma once

#include <ostream>
#include <string>
#include <type_traits>
#include <utility>

#include "policy/MatchInput.h"
#include "policy/Matcher.h"

namespace Routing::Policy {

/// A value in its printed form, numbers in decimal whatever the stream's flags.
template <class T>
void printValue( std::ostream & os, const T & value ) {
   if constexpr( std::is_arithmetic_v<T> )
      os << std::to_string( value );
   else
      os << value;
}

template <class Value>
class SimpleMatcher : public Matcher {
 public:
   void formatDerivedType( std::ostream & os ) const final {
      os << opening_;
      printValue( os, value_ );
   }

 protected:
   /// `opening` is a literal: the text in front of the value.
   SimpleMatcher( const char * opening, Value value ) : opening_( opening ), value_( std::move( value ) ) {}
   const Value & value() const noexcept { return value_; }

 private:
   const char * opening_;
   Value value_;
};

/// The commonest kind: the field equals the value. `Get` is the field's virtual getter.
template <class Value, Value ( MatchInput_::*Get )() const>
class EqualMatcher : public SimpleMatcher<Value> {
 public:
   bool match( const MatchInput_ * input, const Quoin::Ptr<PolicyEvalContext> & ) const final { return ( input->*Get )() == this->value(); }

 protected:
   using SimpleMatcher<Value>::SimpleMatcher;
};

}   // namespace Routing::Policy
