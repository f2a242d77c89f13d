/// @file substrate/acl/AclPrefix.h
/// Converts a rule of an access list into the prefixes that the rule permits, for traces and for display. The source of the rule becomes
/// intervals of addresses, and the intervals become prefixes:
///
///    permit 10.0.0.3/255.0.255.254 gives, for every byte x, the interval [10.x.0.2, 10.x.0.4) and its prefix 10.x.0.2/31: 256 of each.
///
/// Evaluation does not use these prefixes; it compares address and mask. Threading: plain values.
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

/// The common part of the conversions of both families: the intervals of a space of addresses that the last rule permits.
/// `Bound` is a position: an address, or the position after the last address.
template <class Bound>
class PermittedIntervals {
 public:
   /// An interval as an argument: each end is either closed or open.
   using Range = boost::icl::discrete_interval<Bound>;
   /// An interval as a result: closed at the lower end, open at the upper end.
   using Interval = boost::icl::right_open_interval<Bound>;
   using IntervalSet = boost::icl::interval_set<Bound, std::less, Interval>;

   /// The permitted intervals: disjoint, ascending, and never adjacent. The whole space before the first rule.
   const IntervalSet & permitted() const noexcept { return permitted_; }
   /// Whether permitted() contains exactly the addresses that the rule permits. See AclToPrefix::kMaxGapBits.
   bool exact() const noexcept { return exact_; }

 protected:
   /// `space` limits permitted(); `special` is the range that handleRule() can leave out.
   PermittedIntervals( const Range & space, const Range & special )
         : space_( rightOpen( space ) ), special_( rightOpen( special ) ), permitted_( space_ ) {}
   ~PermittedIntervals() = default;
   PermittedIntervals( const PermittedIntervals & ) = default;
   PermittedIntervals & operator=( const PermittedIntervals & ) = default;

   /// Sets permitted() from the intervals that a rule matches.
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
   using Bound = uint64_t;   // the address in host order; 2^32 is the position after the last address

   /// The greatest number of gap bits for an exact result. A gap bit is a 0 bit of the mask in front of its last 1 bit; each gap bit
   /// doubles the number of intervals. If a mask has more gap bits, its last 1 bits are cleared until the number is small enough. The rule
   /// then matches too many addresses: a permit rule shows more than it permits, and a deny rule shows less than it leaves permitted.
   /// exact() is then false, and a trace reports it.
   static constexpr unsigned kMaxGapBits = 16;

   /// The space is all addresses; the special range is multicast, 224.0.0.0/4.
   AclToPrefix() : AclToPrefix( Range::closed( 0, 0xFFFFFFFF ), Range::right_open( 0xE0000000, 0xF0000000 ) ) {}
   /// Addresses outside of `space` are never permitted.
   AclToPrefix( const Range & space, const Range & special ) : PermittedIntervals( space, special ) {}

   /// Sets permitted() for this rule alone. A permit rule permits the addresses that its source matches; a deny rule permits all others.
   /// `exceptSpecial` leaves out the special range, unless all addresses that the source matches lie in it.
   ROUTEPOLICY_API void handleRule( const Acl::IpRuleConfig & rule, bool exceptSpecial );
};

/// Adds to `pset` the smallest number of prefixes that together contain exactly the addresses from `low` to `last`, both included. Adds
/// nothing if `low` is above `last`. Positions after the last address are ignored. Errors: a null set ends the process.
ROUTEPOLICY_API void ip4RangeToPrefixes( AclToPrefix::Bound low, AclToPrefix::Bound last, const Quoin::Ptr<Ferule::IpGenPrefixSet> & pset );
/// The same for two addresses of the same family. Errors: a null set, or different families, end the process.
ROUTEPOLICY_API void rangeToPrefixes( const Ferule::IpGenAddr & low, const Ferule::IpGenAddr & last,
                                      const Quoin::Ptr<Ferule::IpGenPrefixSet> & pset );

}   // namespace AclPrefix
