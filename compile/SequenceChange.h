/// @file compile/SequenceChange.h
/// The recorded changes of one sequence that are not yet compiled. The machine of the sequence writes them, and the machine of the route
/// map applies them in the next compilation; the published status never changes. A null matcher or setter means a deleted clause.
/// Threading: the activity thread.
#pragma once

#include "compile/SequenceLedger.h"
#include "policy/Matcher.h"
#include "policy/Setter.h"
#include "substrate/plinth/Attribute.h"
#include "substrate/plinth/HashMap2018.h"
#include "substrate/plinth/PlainRecord.h"

namespace Routing::Policy {

struct ListKind;

/// The change of one match clause.
class ROUTEPOLICY_API MatcherChange final : public Plinth::PlainRecord {
 public:
   explicit MatcherChange( MatchOption option ) : option_( option ) {}
   MatchOption option() const noexcept { return option_; }
   /// The new matcher; null if the clause was deleted.
   PLINTH_VALUE( matcher, matcherIs, {}, Quoin::Ptr<const Matcher> );
   /// Whether the clause refers to an undefined prefix list, or to an undefined community list.
   PLINTH_VALUE( prefixListUndefined, prefixListUndefinedIs, {}, bool );
   PLINTH_VALUE( commListUndefined, commListUndefinedIs, {}, bool );
   /// The kind of list that the clause names; null: as in the row of the library.
   PLINTH_VALUE( list, listIs, {}, const ListKind * );

 private:
   MatchOption option_;
};

/// The change of one set clause.
class ROUTEPOLICY_API SetterChange final : public Plinth::PlainRecord {
 public:
   explicit SetterChange( SetOption option ) : option_( option ) {}
   SetOption option() const noexcept { return option_; }
   /// The new setter; null if the clause was deleted.
   PLINTH_VALUE( setter, setterIs, {}, Quoin::Ptr<const Setter> );
   /// Whether the clause refers to an undefined community list.
   PLINTH_VALUE( commListUndefined, commListUndefinedIs, {}, bool );

 private:
   SetOption option_;
};

using MatcherChanges = Plinth::HashMap2018<MatchOption, Quoin::Ptr<MatcherChange>>;
using SetterChanges = Plinth::HashMap2018<SetOption, Quoin::Ptr<SetterChange>>;

/// The change of the continue clause.
class ROUTEPOLICY_API ContinueChange final : public Plinth::PlainRecord {
 public:
   explicit ContinueChange( bool enabled ) : enabled_( enabled ) {}
   /// Whether the sequence has a continue clause.
   PLINTH_VALUE( enabled, enabledIs, , bool );
   /// The target; 0 for the next sequence.
   PLINTH_VALUE( continueSeq, continueSeqIs, {}, uint32_t );
};

/// All changes of one sequence.
class ROUTEPOLICY_API SequenceChange final : public Plinth::PlainRecord {
 public:
   enum class Field : Quoin::FieldId { matcherChange, setterChange, continueChange, permitChange };
   /// `ledger`: of the route map; null for none.
   explicit SequenceChange( uint32_t seqno, Quoin::Ptr<SequenceLedger> ledger = nullptr ) : publisher_{ std::move( ledger ), seqno } {}
   uint32_t seqno() const noexcept { return publisher_.seqno; }

   /// The last change of each clause.
   PLINTH_MADE_NODES( matcherChange, matcherChangeIs, matcherChangeDel, matcherChangeDelAll, Field::matcherChange, MatcherChanges );
   PLINTH_MADE_NODES( setterChange, setterChangeIs, setterChangeDel, setterChangeDelAll, Field::setterChange, SetterChanges );
   /// The change of the continue clause; null if it did not change.
   PLINTH_ATTR( continueChange, continueChangeIs, Field::continueChange, Quoin::Ptr<ContinueChange> );
   /// Whether the action has changed. The MapEntry holds the new action.
   PLINTH_ATTR( permitChange, permitChangeIs, Field::permitChange, bool );

 private:
   RecordPublisher publisher_;
};

ROUTEPOLICY_API Quoin::Ptr<SequenceChange> sequenceChangeFactory( uint32_t seqno );

}   // namespace Routing::Policy
