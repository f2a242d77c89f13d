/// @file compile/SetterTable.h
/// The set clauses that an agent adds to the configuration. A MapEntry has no place for their values, so this table holds them as setters,
/// by route map and sequence number; SequenceSettersSm reads it. A write takes effect at the next change of the version of the route map
/// (Map).
/// Ownership: the agent shares the table with the helper that creates its sequence machines. Threading: the activity thread.
#pragma once

#include <map>
#include <utility>

#include "policy/Setter.h"
#include "substrate/plinth/Attribute.h"
#include "substrate/plinth/TreeMap.h"
#include "substrate/quoin/NotifyingNode.h"
#include "substrate/quoin/String.h"

namespace Routing::Policy {

/// The setters of one sequence, by option.
class ROUTEPOLICY_API SequenceSetters final : public Quoin::NotifyingNode {
 public:
   enum class Field : Quoin::FieldId { setter };
   using Setters = Plinth::TreeMap<SetOption, Quoin::Ptr<const Setter>>;
   PLINTH_COLLECTION( setter, setterIs, setterDel, setterDelAll, Field::setter, Setters );
};

/// The setters of all sequences. Each sequence has its own node: a write notifies only this sequence.
class ROUTEPOLICY_API SetterTable final : public Quoin::Node {
 public:
   /// The setters of a sequence. The first call creates the node; the sequence may still be undefined.
   const Quoin::Ptr<SequenceSetters> & of( const Quoin::String & routeMap, uint32_t seqno );
   /// Deletes the node of a sequence that was deleted from the configuration. A sequence that still exists keeps the setters that it has,
   /// and is not notified of later ones; to delete its setters, use `of( ... )->setterDelAll()`.
   void sequenceDel( const Quoin::String & routeMap, uint32_t seqno ) { sequences_.erase( { routeMap, seqno } ); }
   /// The number of sequences in the table.
   size_t count() const noexcept { return sequences_.size(); }

 private:
   std::map<std::pair<Quoin::String, uint32_t>, Quoin::Ptr<SequenceSetters>> sequences_;
};

}   // namespace Routing::Policy
