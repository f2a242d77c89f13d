/// @file compile/SequenceLedger.h
/// Counts what the sequences of one route map have recorded, and which symbols they watch. With it, the machine of the route map decides
/// without a walk over all sequences whether it can publish.
/// Threading: the activity thread.
#pragma once

#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

#include "substrate/plinth/HashMap2018.h"
#include "substrate/routemap/PolicySymbol.h"

namespace Routing::Policy {

/// The ledger of one route map. The records of its sequences write it; a record without a ledger works alone.
class ROUTEPOLICY_API SequenceLedger final : public Quoin::Node {
 public:
   using Symbol = Quoin::Ptr<const Routing::RouteMap::PolicySymbol>;

   /// Enters a sequence whose records have changed.
   void recordedIs( uint32_t seqno ) {
      if( last_ != seqno ) enter( seqno );
   }
   /// Deletes a sequence that is not modified any more, if it is the highest: the others are deleted by findModified().
   void appliedIs( uint32_t seqno ) {
      last_.reset();
      if( !recorded_.empty() && recorded_.back() == seqno ) recorded_.pop_back();
   }
   /// Whether a sequence that was entered is still modified, by `isModified( seqno )`. Deletes the unmodified sequences in front of the
   /// first modified one.
   template <class IsModified>
   bool findModified( IsModified && isModified ) {
      last_.reset();
      recorded_.erase( recorded_.begin(), std::ranges::find_if( recorded_, isModified ) );
      return !recorded_.empty();
   }

   /// Adds or removes one use of a symbol; null does nothing.
   void symbolIs( const Symbol & symbol );
   void symbolDel( const Symbol & symbol );
   /// Whether every symbol in use is current. Cost: linear in the number of different callees; while a list is not current, also of lists.
   bool symbolsAreCurrent() const;

 private:
   using Uses = Plinth::HashMap2018<Symbol, uint32_t>;

   void enter( uint32_t seqno );
   Uses & usesLike( const Symbol & symbol ) noexcept { return symbol->isOfList() ? lists_ : callees_; }

   std::vector<uint32_t> recorded_;   // ascending; sequences are mostly created in this order
   std::optional<uint32_t> last_;     // the sequence that was entered last: it is in `recorded_`
   Uses lists_, callees_;
};

/// The publisher of a record of changes: a change enters the sequence into the ledger.
struct RecordPublisher {
   Quoin::Ptr<SequenceLedger> ledger;   // null for none
   uint32_t seqno;
   void publishChange( Quoin::FieldId ) const {
      if( ledger ) ledger->recordedIs( seqno );
   }
   void publishChangeRecursive( Quoin::FieldId field, const void *, const void *, Quoin::KeyIsEq ) const { publishChange( field ); }
};

}   // namespace Routing::Policy
