/// @file policy/PrefixListMatcher.h
/// Matchers that ask a prefix list about a prefix of the route. In a list the entry with the lowest sequence number that speaks
/// of the prefix governs, permit or deny; the longest prefix has no priority.
/// Ownership: a matcher shares the list that it was made for; another list means another matcher.
/// Threading: any number of threads match at once; `invertResult` is written before the matcher is published.
#pragma once

#include <cstdint>
#include <optional>
#include <ostream>

#include "policy/MatchInput.h"
#include "policy/Matcher.h"
#include "policy/PrefixListWalker.h"

namespace Routing::Policy {

enum class PrefixListMatchResult : uint8_t {
   deny = 0,
   permit = 1,
   notMatched = 2   // no entry speaks of the prefix, the list is undefined, or it is of another family
};
ROUTEPOLICY_API std::ostream & operator<<( std::ostream & os, PrefixListMatchResult result );

/// What a list says of a prefix, and which entry says so.
struct ROUTEPOLICY_API PrefixListMatchResultTuple {
   uint32_t seqNo = 0;   // 0 when no entry does
   PrefixListMatchResult result = PrefixListMatchResult::notMatched;
   friend bool operator==( const PrefixListMatchResultTuple &, const PrefixListMatchResultTuple & ) = default;
};
ROUTEPOLICY_API std::ostream & operator<<( std::ostream & os, const PrefixListMatchResultTuple & tuple );

class ROUTEPOLICY_API PrefixListMatcherBase : public Matcher {
 public:
   ~PrefixListMatcherBase() override;
   const Quoin::String & name() const noexcept { return name_; }
   /// Null while the list is undefined.
   const Quoin::Ptr<const PrefixListStatus> & status() const noexcept { return status_; }
   /// Honoured by PrefixListMatcher alone.
   bool invertResult() const noexcept { return invertResult_; }
   void invertResultIs( bool invert ) { invertResult_ = invert; }
   void formatDerivedType( std::ostream & os ) const final;

   /// What the list says of a prefix, by the lengths that its entries admit.
   PrefixListMatchResultTuple matchPrefix( const Ferule::IpGenPrefix & prefix ) const;

 protected:
   /// `opening` is a literal: the text in front of the name.
   PrefixListMatcherBase( const char * opening, const Quoin::String & name, const Quoin::Ptr<const PrefixListStatus> & status );
   PrefixListMatchResultTuple coveringPrefix( const Ferule::IpGenPrefix & prefix ) const;

 private:
   bool invertResult_ = false;
   const char * opening_;
   Quoin::String name_;
   Quoin::Ptr<const PrefixListStatus> status_;
   Quoin::Ptr<PrefixListMatchWalkerCb> matchWalker_;
   Quoin::Ptr<PrefixListCoveredByWalkerCb> coveredByWalker_;
};

/// The route's prefix is permitted by the list; inverted, it is not. An undefined list permits nothing.
class ROUTEPOLICY_API PrefixListMatcher final : public PrefixListMatcherBase {
 public:
   PrefixListMatcher( const Quoin::String & name, const Quoin::Ptr<const PrefixListStatus> & status );
   bool match( const MatchInput_ * input, const Quoin::Ptr<PolicyEvalContext> & context ) const override;
   RouteMapFeatures getFeatures() const override;

   /// Permit, deny, or nothing when no entry speaks of the route. invertResult does not enter.
   std::optional<bool> matchWithTristate( const MatchInput_ * input, const Quoin::Ptr<PolicyEvalContext> & context ) const;
   std::optional<bool> matchWithTristateForTest( const MatchInput_ & input, const Quoin::Ptr<PolicyEvalContext> & context ) const;
   /// The same for entries whose prefix contains the route's, whatever lengths they admit.
   std::optional<bool> coveredBy( const MatchInput_ * input, const Quoin::Ptr<PolicyEvalContext> & context ) const;
   std::optional<bool> coveredByForTest( const MatchInput_ & input, const Quoin::Ptr<PolicyEvalContext> & context ) const;
};

/// The host prefix of the route's next hop is permitted by the list.
class ROUTEPOLICY_API NexthopPrefixListMatcher final : public PrefixListMatcherBase {
 public:
   NexthopPrefixListMatcher( const Quoin::String & name, const Quoin::Ptr<const PrefixListStatus> & status );
   bool match( const MatchInput_ * input, const Quoin::Ptr<PolicyEvalContext> & context ) const override;
};

/// The first of the addresses that the next hop resolves to, in ascending order, of which the list says anything is permitted.
class ROUTEPOLICY_API ResolvedNexthopPfxListMatcher final : public PrefixListMatcherBase {
 public:
   ResolvedNexthopPfxListMatcher( const Quoin::String & name, const Quoin::Ptr<const PrefixListStatus> & status );
   bool match( const MatchInput_ * input, const Quoin::Ptr<PolicyEvalContext> & context ) const override;
   RouteMapFeatures getFeatures() const override;
};

/// The /32 of the router that originated the route is permitted by the list; that of 0.0.0.0 too.
class ROUTEPOLICY_API RouterIdMatcher final : public PrefixListMatcherBase {
 public:
   RouterIdMatcher( const Quoin::String & name, const Quoin::Ptr<const PrefixListStatus> & status );
   bool match( const MatchInput_ * input, const Quoin::Ptr<PolicyEvalContext> & context ) const override;
   RouteMapFeatures getFeatures() const override;
};

}   // namespace Routing::Policy
