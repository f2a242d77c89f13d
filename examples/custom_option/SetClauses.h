/// @file examples/custom_option/SetClauses.h
/// The agent's own set clauses, which stand beside the MapEntry of their sequence: that has no place for their values.
/// They are part of the route map: a write counts when the version of the Map is raised behind it. Threading: the activity thread.
#pragma once

#include <map>
#include <optional>
#include <utility>

#include "substrate/plinth/Attribute.h"
#include "substrate/quoin/NotifyingNode.h"
#include "substrate/quoin/Ptr.h"
#include "substrate/quoin/String.h"

namespace BgpAgent {

/// Those of one sequence.
class SequenceSetClauses final : public Quoin::NotifyingNode {
 public:
   enum class Field : Quoin::FieldId { localPreference };
   PLINTH_ATTR( localPreference, localPreferenceIs, Field::localPreference, std::optional<uint32_t> );
};

/// Those of all, by route map and sequence number. Each has its own node, so that a write is heard by its sequence alone.
class SetClauses final : public Quoin::Node {
 public:
   const Quoin::Ptr<SequenceSetClauses> & of( const Quoin::String & rmName, uint32_t seqno ) {
      auto & clauses = sequences_[ { rmName, seqno } ];
      if( !clauses ) clauses = Quoin::makeNode<SequenceSetClauses>();
      return clauses;
   }

 private:
   std::map<std::pair<Quoin::String, uint32_t>, Quoin::Ptr<SequenceSetClauses>> sequences_;
};

}   // namespace BgpAgent
