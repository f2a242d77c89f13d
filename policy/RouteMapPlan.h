/// @file policy/RouteMapPlan.h
/// Tells which sequences of a route map can match a route. Evaluation without a context asks these sequences only, in ascending order. The
/// walk over all sequences is the definition of an evaluation; a plan skips work.
///
/// A plan finds each sequence in one way, by the clause that the fewest routes are expected to pass (Matcher::keys()):
///    keys      a clause that only routes with certain values pass: a hash table has the sequences of each value
///    prefixes  a prefix list with up to kMostEntries entries: the permit entries of all these lists are rows of one trie, which have the
///              number of the sequence in place of their own. The governing row of a prefix is the first sequence that can match. The row
///              of a sequence that denies every route which it finds is a deny row.
///    asked     a larger prefix list: it is asked itself, once for all its sequences, if the route comes to the first of them
///    always    none of these: each route may match
/// A sequence without such a clause that calls a small route map is found by all ways that lead to a permit of that route map; these may be
/// keys, prefixes and one large list together.
/// Example: 10 match tag 5 | 20 match prefix-list A, which is 10.0.0.0/8 le 32 and 192.0.2.0/24 | 30 match tag 5 | 40
///    keys      { tag 5: 10 30 }
///    prefixes  { 10.0.0.0/8 le 32: 20, 192.0.2.0/24: 20 }
///    always    { 40 }
///    a route 10.1.0.0/16 with tag 7 can match 20 and 40 only; for 20, the list is not asked again, because it has no deny entry
///
/// Ownership: shares the sequences. RouteMapStatus shares the plan. Threading: immutable; any thread may drop the last use.
/// Invariant: every sequence that matches a route is found for it, as long as the plan is current.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>
#include <vector>

#include "policy/MatchKeys.h"
#include "policy/RouteMapSeqStatus.h"
#include "substrate/lists/PrefixListRows.h"
#include "substrate/plinth/HashTrie.h"
#include "substrate/plinth/TreeMap.h"
#include "substrate/quoin/Seal.h"

namespace Routing::Policy {

class RouteMapPlanner;
class RouteMapStatus;

/// A sequence that a plan finds.
struct PlanStep {
   // What remains to be done for a route for which the sequence is found.
   enum class Left : uint8_t {
      evaluation,   // of all clauses, and of the rest of the sequence
      remainder,    // the same without the clause `answered`, which each such route passes
      setters,      // nothing else: the sequence permits the route, which ends the route map
      deny,         // nothing
      permit        // nothing, and it has no setters
   };
   static constexpr unsigned kAllMatch = 256;   // in place of the option of the matcher that does not match
   const RouteMapSeqStatus * seq = nullptr;
   uint32_t seqno = 0;
   uint16_t changesFrom = 0xFFFF;   // twice the option of the first matcher that may change the route; plus one if only by a match
   MatchOption answered = MatchOption::none;
   Left left = Left::evaluation;

   bool isDecided() const noexcept { return left >= Left::setters; }
   /// Whether nothing but the verdict is left.
   bool isVerdict() const noexcept { return left >= Left::deny; }
   /// Whether the route is the same after its matchers were asked, up to the one with this option, which did not match.
   bool leavesRoute( unsigned failed ) const noexcept { return 2 * failed < changesFrom; }

   friend bool operator==( const PlanStep &, const PlanStep & ) = default;
};

/// In place of a step, for a route that no sequence can match.
inline constexpr PlanStep kNoStep{ .left = PlanStep::Left::deny };

/// Some steps in ascending order of their numbers. Copies share them.
class ROUTEPOLICY_API PlanSteps {
 public:
   PlanSteps() noexcept = default;
   explicit PlanSteps( const PlanStep & step ) noexcept : first_( step ) {}
   explicit PlanSteps( std::vector<PlanStep> steps );
   std::span<const PlanStep> all() const noexcept {
      return more_ ? std::span<const PlanStep>( more_->steps ) : std::span<const PlanStep>( &first_, first_.seq ? 1 : 0 );
   }
   /// The first of at least one.
   const PlanStep & front() const noexcept { return first_; }
   /// The same steps with this one, in place of one with its number. Errors: std::bad_alloc.
   PlanSteps with( const PlanStep & step ) const;
   PlanSteps without( uint32_t seqno ) const;

   friend bool operator==( const PlanSteps & a, const PlanSteps & b ) noexcept { return std::ranges::equal( a.all(), b.all() ); }

 private:
   struct More final : Quoin::Node {
      explicit More( std::vector<PlanStep> s ) noexcept : steps( std::move( s ) ) {}
      std::vector<PlanStep> steps;
   };
   PlanStep first_;
   Quoin::Ptr<const More> more_;   // all, if there are several
};

/// The plan of one generation of a route map.
class ROUTEPOLICY_API RouteMapPlan final : public Quoin::Node {
 public:
   using Sequences = Plinth::TreeMap<uint32_t, Quoin::Ptr<const RouteMapSeqStatus>>;
   using Keyed = std::pair<uint64_t, PlanSteps>;    // with the value of the key
   static constexpr size_t kMostEntries = 128;      // each sequence of the list stores them
   static constexpr size_t kMostCalled = 64;        // sequences of a callee, with those of its callees
   static constexpr unsigned kMostCalls = 3;        // from a sequence to a callee of callees
   static constexpr size_t kMostCalledRows = 128;   // each caller stores them

   /// The sequences with one large list.
   struct Asked {
      const RouteMap::PrefixListRows * rows = nullptr;
      PlanSteps steps;

      friend bool operator==( const Asked &, const Asked & ) = default;
   };

   /// What a plan consists of.
   struct Content {
      Sequences sequences;
      Plinth::TreeMap<uint32_t, PlanStep> always;
      std::array<Plinth::HashTrie<uint64_t, Keyed>, MatchKey::kAttributes> keys;   // of each attribute
      Plinth::HashTrie<uint32_t, std::pair<uint32_t, PlanStep>> listed;            // the sequences of `rows`, by number
      size_t undecided = 0;                                                        // members of `listed` that are more than a verdict
      std::array<Quoin::Ptr<const RouteMap::PrefixListRows>, 2> rows;              // IPv4, IPv6; null if there are none
      Plinth::TreeMap<uint32_t, Asked> asked;                                      // by the number of the first step
      Plinth::TreeMap<uint32_t, PlanStep> calls;   // also found by keys, rows or a large list; observers are notified of each call
   };

   /// The plan of these sequences. If `base` is the newest plan of its planner, only what differs from it is created; `base` may be null.
   /// `callees` receives the route maps that changed sequences call. Errors: std::bad_alloc, std::length_error.
   static Quoin::Ptr<const RouteMapPlan> of( const Sequences & sequences, const Quoin::Ptr<const RouteMapPlan> & base,
                                             std::vector<const RouteMapStatus *> & callees );
   /// For RouteMapPlanner. `seals`: Seal::broken() before it read anything.
   RouteMapPlan( const Content & content, const Quoin::Ptr<RouteMapPlanner> & planner, uint64_t seals );
   ~RouteMapPlan() override;

   /// Whether nothing that the plan was made from has changed.
   bool isCurrent() const noexcept { return seals_ == Quoin::Seal::broken(); }
   const Content & content() const noexcept { return content_; }
   /// What of a route a look-up of its first step reads.
   enum class Reads : uint8_t {
      nothing,   // the first sequence is found for each route, or all are
      oneKey,    // onlyAttribute()
      oneList,   // onlyList()
      lists,     // the prefix lists that are merged
      several
   };
   Reads reads() const noexcept { return reads_; }
   /// Of Reads::oneKey.
   MatchKey::Attribute onlyAttribute() const noexcept { return onlyAttribute_; }
   /// The attributes of one value that have keys, as bits: 1 << attribute.
   unsigned keyedAttributes() const noexcept { return keyedAttributes_; }
   /// Whether it has more than steps for each route and for keys.
   bool hasOtherWays() const noexcept { return hasOtherWays_; }
   /// The steps of a key; null if it has none.
   [[gnu::always_inline]] const PlanSteps * keyedBy( MatchKey::Attribute attribute, uint64_t value ) const noexcept {
      const auto * const found = content_.keys[ size_t( attribute ) ].findMember( value );
      return found ? &found->second : nullptr;
   }
   bool hasOwnKeys() const noexcept { return !content_.keys[ size_t( MatchKey::Attribute::own ) ].empty(); }
   bool hasRows() const noexcept { return content_.rows[ 0 ] || content_.rows[ 1 ]; }
   /// The first step with this number or a higher one that a prefix list finds; null if there is none.
   const PlanStep * listedFrom( uint32_t seqno, const Ferule::IpGenPrefix & prefix ) const noexcept;
   /// Whether each step that a prefix list finds is a verdict.
   bool rowsDecide() const noexcept { return content_.undecided == 0; }
   /// As listedFrom(), of the first step. Returns `step`, which receives the number and the verdict only. For plans whose rows decide.
   const PlanStep * verdictByRow( const Ferule::IpGenPrefix & prefix, PlanStep & step ) const noexcept {
      const auto * const rows = rowsOf( prefix );
      if( !rows ) return nullptr;
      const auto row = rows->governing( prefix );
      step.seqno = row.seqno;
      step.left = row.permit ? PlanStep::Left::permit : PlanStep::Left::deny;
      return row.found ? &step : nullptr;
   }
   /// Of Reads::oneList; else null.
   const RouteMap::PrefixListRows * onlyList() const noexcept { return onlyList_; }
   /// The first step of a route that this list permits, or does not permit: kNoStep if there is none. No branch: it would be mispredicted.
   const PlanStep * firstByOnlyList( bool permitted ) const noexcept { return firstByOnlyList_[ permitted ]; }
   /// The first step that is found for each route; null if there is none.
   const PlanStep * firstAlways() const noexcept { return firstAlways_; }

 private:
   friend class RouteMapPlanner;
   // The rows of the family of the prefix; null if there are none.
   const RouteMap::PrefixListRows * rowsOf( const Ferule::IpGenPrefix & prefix ) const noexcept {
      const bool isIpv6 = prefix.af() == Ferule::AddressFamily::ipv6;
      return isIpv6 || prefix.af() == Ferule::AddressFamily::ipv4 ? content_.rows[ isIpv6 ].get() : nullptr;
   }
   Reads toRead() noexcept;
   void onlyListIs( const RouteMap::PrefixListRows & list, const PlanStep & step );

   const Content content_;
   const unsigned keyedAttributes_;
   const PlanStep * const firstAlways_;
   const bool hasOtherWays_;
   MatchKey::Attribute onlyAttribute_ = MatchKey::Attribute::own;
   const RouteMap::PrefixListRows * onlyList_ = nullptr;
   std::array<const PlanStep *, 2> firstByOnlyList_{};
   const Reads reads_;   // behind what toRead() reads and writes
   const uint64_t seals_;
   const Quoin::Ptr<RouteMapPlanner> planner_;
};

}   // namespace Routing::Policy
