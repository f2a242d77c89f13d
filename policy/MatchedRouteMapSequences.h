/// @file policy/MatchedRouteMapSequences.h
/// The sequences that permitted a route, in the order in which their setters run. PolicyEval writes them when it matches, and reads them
/// when it applies setters.
#pragma once

#include <boost/container/small_vector.hpp>

#include "policy/RouteMapSeqStatus.h"
#include "substrate/plinth/DynArray.h"

namespace Routing::Policy {

/// The sequences of a match that is applied at once. A match of one sequence, the common case, allocates nothing.
/// Ownership: none. The pointers are valid while the caller holds the policy.
class MatchedRouteMapSequences final : public boost::container::small_vector<const RouteMapSeqStatus *, 1> {
 public:
   using small_vector::small_vector;
};

/// A match that may be kept and applied later.
/// Ownership: shares its sequences. Threading: read-only once returned.
class ROUTEPOLICY_API MatchedRouteMapSequencesSnapshot : public Quoin::Node {
 public:
   using Sequences = Plinth::DynArray<Quoin::Ptr<const RouteMapSeqStatus>>;
   ~MatchedRouteMapSequencesSnapshot() override;

   /// The sequences by index, beginning with 1. Index 0 stays unset.
   const Sequences & seqStatus() const noexcept { return seqStatus_; }
   Quoin::Ptr<const RouteMapSeqStatus> seqStatus( uint32_t index ) const { return seqStatus_[ index ]; }
   void seqStatusIs( uint32_t index, const Quoin::Ptr<const RouteMapSeqStatus> & seq ) { seqStatus_.put( index, seq ); }
   void seqStatusDel( uint32_t index ) { seqStatus_.erase( index ); }
   void seqStatusDelAll() { seqStatus_.clear(); }

 private:
   Sequences seqStatus_;
};

}   // namespace Routing::Policy
