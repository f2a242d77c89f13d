/// @file policy/PrefixListMatcher.h
/// Matchers that look up a prefix of the route in a prefix list. Among the entries that match the prefix, the entry with the lowest
/// sequence number governs, permit or deny; a longer prefix has no priority.
/// Ownership: a matcher shares the list status that it was created for. A new status of the list needs a new matcher.
/// Threading: any number of threads match at once. `invertResult` is written before the matcher is published.
#pragma once

#include <cstdint>
#include <optional>
#include <ostream>
#include <utility>

#include "policy/MatchInput.h"
#include "policy/Matcher.h"
#include "policy/PrefixListWalker.h"

namespace Routing::Policy {

/// The answer of a prefix list for one prefix.
enum class PrefixListMatchResult : uint8_t {
   deny = 0,
   permit = 1,
   notMatched = 2   // no entry matches the prefix, or the list is undefined or of another family
};
ROUTEPOLICY_API std::ostream & operator<<( std::ostream & os, PrefixListMatchResult result );

/// The answer of a prefix list for one prefix, and the entry that gave it.
struct ROUTEPOLICY_API PrefixListMatchResultTuple {
   uint32_t seqNo = 0;   // 0 if no entry matches
   PrefixListMatchResult result = PrefixListMatchResult::notMatched;
   friend bool operator==( const PrefixListMatchResultTuple &, const PrefixListMatchResultTuple & ) = default;
};
ROUTEPOLICY_API std::ostream & operator<<( std::ostream & os, const PrefixListMatchResultTuple & tuple );

/// The base of the matchers that look up a prefix in a prefix list. A derived class selects which prefix or address of the route it looks
/// up.
class ROUTEPOLICY_API PrefixListMatcherBase : public Matcher {
 public:
   ~PrefixListMatcherBase() override;
   const Quoin::String & name() const noexcept { return name_; }
   /// Null while the list is undefined.
   const Quoin::Ptr<const PrefixListStatus> & status() const noexcept { return status_; }
   /// Inverts the answer. Only PrefixListMatcher reads it.
   bool invertResult() const noexcept { return invertResult_; }
   void invertResultIs( bool invert ) {
      if( std::exchange( invertResult_, invert ) != invert ) seal_.changed();
   }
   void formatDerivedType( std::ostream & os ) const final;

   /// The answer of the list for a prefix. An entry matches if it covers the prefix and its range admits the length.
   PrefixListMatchResultTuple matchPrefix( const Ferule::IpGenPrefix & prefix ) const;

 protected:
   /// `opening` is a string literal, the text before the name.
   PrefixListMatcherBase( const char * opening, const Quoin::String & name, const Quoin::Ptr<const PrefixListStatus> & status );
   /// As matchPrefix(), but the ranges of the entries are ignored: an entry matches if it covers the prefix.
   PrefixListMatchResultTuple coveringPrefix( const Ferule::IpGenPrefix & prefix ) const;
   /// For keys(): tells that the matcher does no more than ask the list.
   void tellSkippable( MatchKeys & keys ) const;

 private:
   bool invertResult_ = false;
   Quoin::Seal seal_;
   const char * opening_;
   Quoin::String name_;
   Quoin::Ptr<const PrefixListStatus> status_;
   Quoin::Ptr<PrefixListMatchWalkerCb> matchWalker_;
   Quoin::Ptr<PrefixListCoveredByWalkerCb> coveredByWalker_;
};

/// Matches a route whose prefix the list permits; inverted, a route whose prefix the list does not permit. An undefined list permits
/// nothing.
class ROUTEPOLICY_API PrefixListMatcher final : public PrefixListMatcherBase {
 public:
   PrefixListMatcher( const Quoin::String & name, const Quoin::Ptr<const PrefixListStatus> & status );
   bool match( const MatchInput_ * input, const Quoin::Ptr<PolicyEvalContext> & context ) const override;
   void keys( MatchKeys & keys ) const override;
   RouteMapFeatures getFeatures() const override;

   /// True: permit. False: deny. No value: no entry matches the route. `invertResult` has no effect.
   std::optional<bool> matchWithTristate( const MatchInput_ * input, const Quoin::Ptr<PolicyEvalContext> & context ) const;
   /// matchWithTristate() for tests, on a reference.
   std::optional<bool> matchWithTristateForTest( const MatchInput_ & input, const Quoin::Ptr<PolicyEvalContext> & context ) const;
   /// As matchWithTristate(), but the ranges of the entries are ignored: an entry matches if it covers the prefix of the route.
   std::optional<bool> coveredBy( const MatchInput_ * input, const Quoin::Ptr<PolicyEvalContext> & context ) const;
   /// coveredBy() for tests, on a reference.
   std::optional<bool> coveredByForTest( const MatchInput_ & input, const Quoin::Ptr<PolicyEvalContext> & context ) const;
};

/// Matches a route if the list permits the host prefix of its next hop.
class ROUTEPOLICY_API NexthopPrefixListMatcher final : public PrefixListMatcherBase {
 public:
   NexthopPrefixListMatcher( const Quoin::String & name, const Quoin::Ptr<const PrefixListStatus> & status );
   bool match( const MatchInput_ * input, const Quoin::Ptr<PolicyEvalContext> & context ) const override;
   void keys( MatchKeys & keys ) const override { tellSkippable( keys ); }
};

/// Matches a route by the addresses that its next hop resolves to. Among the addresses that an entry of the list matches, the lowest
/// address decides.
class ROUTEPOLICY_API ResolvedNexthopPfxListMatcher final : public PrefixListMatcherBase {
 public:
   ResolvedNexthopPfxListMatcher( const Quoin::String & name, const Quoin::Ptr<const PrefixListStatus> & status );
   bool match( const MatchInput_ * input, const Quoin::Ptr<PolicyEvalContext> & context ) const override;
   void keys( MatchKeys & keys ) const override { tellSkippable( keys ); }
   RouteMapFeatures getFeatures() const override;
};

/// Matches a route if the list permits the router id of its originator as a /32 prefix; router id 0.0.0.0 is no exception.
class ROUTEPOLICY_API RouterIdMatcher final : public PrefixListMatcherBase {
 public:
   RouterIdMatcher( const Quoin::String & name, const Quoin::Ptr<const PrefixListStatus> & status );
   bool match( const MatchInput_ * input, const Quoin::Ptr<PolicyEvalContext> & context ) const override;
   void keys( MatchKeys & keys ) const override { tellSkippable( keys ); }
   RouteMapFeatures getFeatures() const override;
};

}   // namespace Routing::Policy
