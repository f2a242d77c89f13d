/// @file policy/SimpleMatcher.h
/// Bases for a matcher that compares one field of a route with one value. SimpleMatcher keeps the value and prints it; EqualMatcher also
/// matches.
#pragma once

#include <ostream>
#include <string>
#include <type_traits>
#include <utility>

#include "policy/MatchInput.h"
#include "policy/MatchKeys.h"
#include "policy/Matcher.h"

namespace Routing::Policy {

/// Prints a value. Numbers are decimal, whatever the flags of the stream.
template <class T>
void printValue( std::ostream & os, const T & value ) {
   if constexpr( std::is_arithmetic_v<T> )
      os << std::to_string( value );
   else
      os << value;
}

/// A matcher with one value.
template <class Value>
class SimpleMatcher : public Matcher {
 public:
   void formatDerivedType( std::ostream & os ) const final {
      os << opening_;
      printValue( os, value_ );
   }

 protected:
   /// `opening` is a string literal, the text before the value.
   SimpleMatcher( const char * opening, Value value ) : opening_( opening ), value_( std::move( value ) ) {}
   const Value & value() const noexcept { return value_; }

 private:
   const char * opening_;
   Value value_;
};

/// Matches a route whose field equals the value. `Get` is the virtual getter of the field, `key` makes the key of a value.
template <class Value, Value ( MatchInput_::*Get )() const, auto key>
class EqualMatcher : public SimpleMatcher<Value> {
 public:
   bool match( const MatchInput_ * input, const Quoin::Ptr<PolicyEvalContext> & ) const final { return ( input->*Get )() == this->value(); }
   void keys( MatchKeys & keys ) const final {
      const MatchKey own = key( this->value() );
      keys.keyIs( own );
      if( own.attribute != MatchKey::Attribute::nexthop ) keys.exact();
   }

 protected:
   using SimpleMatcher<Value>::SimpleMatcher;
};

}   // namespace Routing::Policy
