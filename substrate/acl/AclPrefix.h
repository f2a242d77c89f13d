/// @file substrate/acl/AclPrefix.h
/// What a rule of an access list permits, as prefixes, for whoever inspects it. A rule's source becomes intervals of addresses, and
/// these become prefixes:
///
///    permit 10.0.0.3/255.0.255.254 gives, for every byte x, [10.x.0.2, 10.x.0.4), and that the prefix 10.x.0.2/31: 256 of each.
///
/// Evaluation knows nothing of this: it tests address and mask. Threading: plain values.
#pragma once

#include <cstdint>
#include <functional>

#include <boost/icl/discrete_interval.hpp>
#include <boost/icl/interval_set.hpp>
#include <boost/icl/right_open_interval.hpp>

#include "routepolicy_export.h"
#include "substrate/acl/AclConfig.h"
#include "substrate/ferule/IpGenPrefixSet.h"
#include "substrate/quoin/Ptr.h"

namespace AclPrefix {

/// What the conversions of both families share: the intervals that the rule seen last permits, of all in a space.
/// `Bound` counts addresses, and one more: an interval that reaches the last address ends behind it.
template <class Bound>
class PermittedIntervals {
 public:
   /// As a caller gives one: each end may be closed or open.
   using Range = boost::icl::discrete_interval<Bound>;
   /// As they come out: closed at the lower end, open at the upper one.
   using Interval = boost::icl::right_open_interval<Bound>;
   using IntervalSet = boost::icl::interval_set<Bound, std::less, Interval>;

   /// Disjoint, ascending, no two with nothing between them. The whole space until a rule was seen.
   const IntervalSet & permitted() const noexcept { return permitted_; }
   /// Whether permitted() is what the rule says, address by address. See AclToPrefix::kMaxGapBits.
   bool exact() const noexcept { return exact_; }

 protected:
   PermittedIntervals( const Range & space, const Range & special )
         : space_( rightOpen( space ) ), special_( rightOpen( special ) ), permitted_( space_ ) {}
   ~PermittedIntervals() = default;
   PermittedIntervals( const PermittedIntervals & ) = default;
   PermittedIntervals & operator=( const PermittedIntervals & ) = default;

   void matchedIs( const IntervalSet & matched, Acl::RuleAction action, bool exceptSpecial, bool exact ) {
      permitted_ = IntervalSet( space_ );
      if( action == Acl::RuleAction::permit )
         permitted_ &= matched;
      else
         permitted_ -= matched;
      if( exceptSpecial && !boost::icl::within( matched, IntervalSet( special_ ) ) ) permitted_ -= special_;
      exact_ = exact;
   }

 private:
   static Interval rightOpen( const Range & range ) {
      if( boost::icl::is_empty( range ) ) return Interval();
      Bound end = boost::icl::last( range );
      return Interval( boost::icl::first( range ), ++end );
   }

   Interval space_;
   Interval special_;
   IntervalSet permitted_;
   bool exact_ = true;
};

/// The conversion for IPv4.
class AclToPrefix final : public PermittedIntervals<uint64_t> {
 public:
   using Bound = uint64_t;   // the address in host order; 2^32 behind the last one

   /// Every zero bit of a mask that stands before its last one doubles the intervals. With no more of them than this, the result is
   /// exact. A mask with more loses its last ones, as many as it takes: the rule then matches more than it says, so that a permit shows
   /// all that it permits and more, a deny nothing that it does not permit, and exact() and a trace tell of it.
   static constexpr unsigned kMaxGapBits = 16;

   /// All addresses; the multicast ones are special.
   AclToPrefix() : AclToPrefix( Range::closed( 0, 0xFFFFFFFF ), Range::right_open( 0xE0000000, 0xF0000000 ) ) {}
   /// Addresses outside of `space` are never permitted.
   AclToPrefix( const Range & space, const Range & special ) : PermittedIntervals( space, special ) {}

   /// From here on, permitted() speaks of this rule alone. A permit rule permits what its source matches, a deny rule what it does not.
   /// With `exceptSpecial`, the special range is left out, unless the source lies in it with all that it matches.
   ROUTEPOLICY_API void handleRule( const Acl::IpRuleConfig & rule, bool exceptSpecial );
};

/// Adds the fewest prefixes that hold the addresses `low` to `last`, both included, and no other. None if `low` is above `last`. What
/// lies behind the last address is not there. Errors: a null set ends the process.
ROUTEPOLICY_API void ip4RangeToPrefixes( AclToPrefix::Bound low, AclToPrefix::Bound last, const Quoin::Ptr<Ferule::IpGenPrefixSet> & pset );
/// The same for two addresses of one family, whichever it is.
ROUTEPOLICY_API void rangeToPrefixes( const Ferule::IpGenAddr & low, const Ferule::IpGenAddr & last,
                                      const Quoin::Ptr<Ferule::IpGenPrefixSet> & pset );

}   // namespace AclPrefix
