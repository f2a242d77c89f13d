/// @file compile/SequenceChange.h
/// What a sequence's machine wants changed in the compiled sequence. It must not touch what is published: it writes here, and the
/// route map's machine takes it in when it next compiles. A null matcher or setter stands for one that goes.
/// Threading: the activity thread.
#pragma once

#include "policy/Matcher.h"
#include "policy/Setter.h"
#include "substrate/plinth/Attribute.h"
#include "substrate/plinth/HashMap2018.h"
#include "substrate/plinth/PlainRecord.h"

namespace Routing::Policy {

struct ListKind;

/// Of one match clause.
class ROUTEPOLICY_API MatcherChange final : public Plinth::PlainRecord {
 public:
   explicit MatcherChange( MatchOption option ) : option_( option ) {}
   ~MatcherChange() override;
   MatchOption option() const noexcept { return option_; }
   /// The new matcher; null when the clause went.
   PLINTH_VALUE( matcher, matcherIs, {}, Quoin::Ptr<const Matcher> );
   /// The clause refers to a prefix list, or a community list, that does not exist yet.
   PLINTH_VALUE( prefixListUndefined, prefixListUndefinedIs, {}, bool );
   PLINTH_VALUE( commListUndefined, commListUndefinedIs, {}, bool );
   /// The kind of list that the clause names, for options of an agent's own; null: as the library's row says.
   PLINTH_VALUE( list, listIs, {}, const ListKind * );

 private:
   MatchOption option_;
};

/// Of one set clause.
class ROUTEPOLICY_API SetterChange final : public Plinth::PlainRecord {
 public:
   explicit SetterChange( SetOption option ) : option_( option ) {}
   ~SetterChange() override;
   SetOption option() const noexcept { return option_; }
   /// The new setter; null when the clause went.
   PLINTH_VALUE( setter, setterIs, {}, Quoin::Ptr<const Setter> );
   /// The clause refers to a community list that does not exist yet.
   PLINTH_VALUE( commListUndefined, commListUndefinedIs, {}, bool );

 private:
   SetOption option_;
};

using MatcherChanges = Plinth::HashMap2018<MatchOption, Quoin::Ptr<MatcherChange>>;
using SetterChanges = Plinth::HashMap2018<SetOption, Quoin::Ptr<SetterChange>>;

/// Of the continue clause.
class ROUTEPOLICY_API ContinueChange final : public Plinth::PlainRecord {
 public:
   explicit ContinueChange( bool enabled ) : enabled_( enabled ) {}
   ~ContinueChange() override;
   /// Whether the sequence has one.
   PLINTH_VALUE( enabled, enabledIs, , bool );
   /// Its target; 0 for the next sequence.
   PLINTH_VALUE( continueSeq, continueSeqIs, {}, uint32_t );
};

/// Of one sequence.
class ROUTEPOLICY_API SequenceChange final : public Plinth::PlainRecord {
 public:
   enum class Field : Quoin::FieldId { matcherChange, setterChange };
   explicit SequenceChange( uint32_t seqno ) : seqno_( seqno ) {}
   ~SequenceChange() override;
   uint32_t seqno() const noexcept { return seqno_; }

   /// The last change of each clause.
   PLINTH_MADE_NODES( matcherChange, matcherChangeIs, matcherChangeDel, matcherChangeDelAll, Field::matcherChange, MatcherChanges );
   PLINTH_MADE_NODES( setterChange, setterChangeIs, setterChangeDel, setterChangeDelAll, Field::setterChange, SetterChanges );
   /// Null when the continue clause did not change.
   PLINTH_VALUE( continueChange, continueChangeIs, {}, Quoin::Ptr<ContinueChange> );
   /// The action changed; the MapEntry has it.
   PLINTH_VALUE( permitChange, permitChangeIs, {}, bool );

 private:
   uint32_t seqno_;
};

ROUTEPOLICY_API Quoin::Ptr<SequenceChange> sequenceChangeFactory( uint32_t seqno );

}   // namespace Routing::Policy
