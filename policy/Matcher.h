/// @file policy/Matcher.h
/// One test of a route, compiled from one match clause. A sequence holds matchers, and all of them must match; agents derive matchers of
/// their own.
/// Ownership: shared by the sequences that use it. The caller of match() keeps the matcher alive during the call; PolicyEval does so with a
/// ReleaseScope.
/// Threading: match() runs on several threads at once and changes nothing.
#pragma once

#include <iosfwd>

#include "policy/PolicyTypes.h"
#include "routepolicy_export.h"
#include "substrate/quoin/Ptr.h"
#include "substrate/quoin/String.h"

namespace Routing::Policy {

class MatchInput_;
class MatchKeys;
class PolicyEvalContext;

/// The base of all matchers.
class ROUTEPOLICY_API Matcher : public Quoin::Node {
 public:
   ~Matcher() override;
   /// Whether the route matches. `context` is the context of the evaluation, or null. Called for every route: do not allocate or lock.
   virtual bool match( const MatchInput_ * input, const Quoin::Ptr<PolicyEvalContext> & context ) const = 0;
   /// match() for tests, on a reference.
   virtual bool matchForTest( const MatchInput_ & input, const Quoin::Ptr<PolicyEvalContext> & context ) const;
   /// The features of the matcher: the attributes of a route that it reads, as far as RouteMapFeatures has a bit for them.
   virtual RouteMapFeatures getFeatures() const;
   /// Prints the text of the derived matcher.
   virtual void formatDerivedType( std::ostream & os ) const = 0;
   /// Tells which routes can match, so that evaluation asks the matcher about these only (policy/MatchKeys.h). The base tells nothing: the
   /// matcher is asked about every route that comes to it, and may change the route. What a matcher tells must stay the same until a change
   /// of an object whose seal it has named with MatchKeys::dependsOn().
   virtual void keys( MatchKeys & keys ) const;

   /// The text of the matcher, for debugging.
   Quoin::String toStrep() const;
};

/// Prints the text of the matcher, or "NULL" for a null pointer.
ROUTEPOLICY_API std::ostream & operator<<( std::ostream & os, const Matcher * matcher );
template <std::derived_from<Matcher> T>
std::ostream & operator<<( std::ostream & os, const Quoin::Ptr<T> & matcher ) {
   return os << static_cast<const Matcher *>( matcher.get() );
}

}   // namespace Routing::Policy
