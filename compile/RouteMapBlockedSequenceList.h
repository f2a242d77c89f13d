/// @file compile/RouteMapBlockedSequenceList.h
#pragma once

#include "substrate/plinth/Attribute.h"
#include "substrate/plinth/HashMap2018.h"
#include "substrate/quoin/NotifyingNode.h"
#include "substrate/quoin/String.h"

namespace Routing::Policy {

/// The sequences of one route map whose call would close a cycle. The filter machines of the sequences write it; while it is not empty, the
/// filtered route map keeps its version. A sequence that is deleted while it is blocked stays in the list, until a sequence of this number
/// is created again and its call is copied.
/// Threading: the activity thread.
class ROUTEPOLICY_API RouteMapBlockedSequenceList final : public Quoin::NotifyingNode {
 public:
   enum class Field : Quoin::FieldId { sequence };
   using Sequences = Plinth::HashMap2018<uint32_t, bool>;
   explicit RouteMapBlockedSequenceList( const Quoin::String & name ) : name_( name ) {}

   /// The name of the route map.
   const Quoin::String & name() const noexcept { return name_; }
   const Sequences & sequence() const noexcept { return sequence_; }
   /// Whether a sequence is blocked.
   bool sequence( uint32_t seqno ) const { return Plinth::memberOf( sequence_, seqno ); }
   void sequenceIs( uint32_t seqno, bool blocked );
   void sequenceDel( uint32_t seqno );
   /// Deletes one sequence after the other: a subscriber that is notified of one deletion still finds the rest.
   void sequenceDelAll();

 private:
   Quoin::String name_;
   Sequences sequence_;
};

}   // namespace Routing::Policy
