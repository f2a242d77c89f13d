/// @file compile/SetterTable.h
/// The set clauses of an agent's own. A MapEntry has no place for their values: they stand beside it, as their setters, by route map and
/// sequence number. They are part of the route map: a write counts when the version of the Map is raised behind it.
/// Ownership: the agent shares the table with the helper that makes its sequence machines. Threading: the activity thread.
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
   ~SequenceSetters() override;
   PLINTH_COLLECTION( setter, setterIs, setterDel, setterDelAll, Field::setter, Setters );
};

/// The setters of all sequences. Each sequence has its own node, so that a write notifies one sequence.
class ROUTEPOLICY_API SetterTable final : public Quoin::Node {
 public:
   ~SetterTable() override;
   /// Those of a sequence, which need not exist yet; created when first asked for.
   const Quoin::Ptr<SequenceSetters> & of( const Quoin::String & routeMap, uint32_t seqno );
   /// Forgets a sequence that was deleted.
   void sequenceDel( const Quoin::String & routeMap, uint32_t seqno ) { sequences_.erase( { routeMap, seqno } ); }
   size_t count() const noexcept { return sequences_.size(); }

 private:
   std::map<std::pair<Quoin::String, uint32_t>, Quoin::Ptr<SequenceSetters>> sequences_;
};

}   // namespace Routing::Policy
