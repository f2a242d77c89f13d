/// @file policy/Matcher.h
/// One test of a route. Agents derive their own from it.
/// Ownership: shared by the sequences that use it; who calls match() sees to it that the matcher outlives the call, as PolicyEval
/// does by a ReleaseScope. Threading: match() runs on several threads at once; it changes nothing.
#pragma once

#include <iosfwd>

#include "policy/PolicyTypes.h"
#include "routepolicy_export.h"
#include "substrate/quoin/Ptr.h"
#include "substrate/quoin/String.h"

namespace Routing::Policy {

class MatchInput_;
class PolicyEvalContext;

class ROUTEPOLICY_API Matcher : public Quoin::Node {
 public:
   ~Matcher() override;
   /// The test. The context is the evaluation's, null for one without. It runs for every route: no allocation, no lock.
   virtual bool match( const MatchInput_ * input, const Quoin::Ptr<PolicyEvalContext> & context ) const = 0;
   virtual bool matchForTest( const MatchInput_ & input, const Quoin::Ptr<PolicyEvalContext> & context ) const;
   /// What it reads of a route.
   virtual RouteMapFeatures getFeatures() const;
   /// Writes the text of the derived matcher.
   virtual void formatDerivedType( std::ostream & os ) const = 0;

   Quoin::String toStrep() const;
};

/// The matcher's text; "NULL" for a null.
ROUTEPOLICY_API std::ostream & operator<<( std::ostream & os, const Matcher * matcher );
template <std::derived_from<Matcher> T>
std::ostream & operator<<( std::ostream & os, const Quoin::Ptr<T> & matcher ) {
   return os << static_cast<const Matcher *>( matcher.get() );
}

}   // namespace Routing::Policy
