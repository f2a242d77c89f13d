/// @file compile/SeqUndefinedReferencesOptionTracker.h
#pragma once

#include "policy/PolicyTypes.h"
#include "substrate/plinth/Attribute.h"
#include "substrate/plinth/HashMap2018.h"
#include "substrate/plinth/PlainRecord.h"

namespace Routing::Policy {

/// The clauses of one sequence that refer to an undefined list. ModifiedRouteMapSeqStatus reads it: the bit of a kind of list is clear when
/// the last such clause is removed.
/// Ownership: the machine of the sequence; entries of the list of modified sequences share it. Threading: the activity thread.
class ROUTEPOLICY_API SeqUndefinedReferencesOptionTracker final : public Plinth::PlainRecord {
 public:
   enum class Field : Quoin::FieldId { undefinedPrefixListMatchOption, undefinedCommListMatchOption, undefinedCommListSetOption };
   using MatchOptions = Plinth::HashSet2018<MatchOption>;
   using SetOptions = Plinth::HashSet2018<SetOption>;

   PLINTH_SET( undefinedPrefixListMatchOption, undefinedPrefixListMatchOptionHas, undefinedPrefixListMatchOptionIs,
               undefinedPrefixListMatchOptionDel, undefinedPrefixListMatchOptionDelAll, Field::undefinedPrefixListMatchOption,
               MatchOptions );
   PLINTH_SET( undefinedCommListMatchOption, undefinedCommListMatchOptionHas, undefinedCommListMatchOptionIs,
               undefinedCommListMatchOptionDel, undefinedCommListMatchOptionDelAll, Field::undefinedCommListMatchOption, MatchOptions );
   PLINTH_SET( undefinedCommListSetOption, undefinedCommListSetOptionHas, undefinedCommListSetOptionIs, undefinedCommListSetOptionDel,
               undefinedCommListSetOptionDelAll, Field::undefinedCommListSetOption, SetOptions );
};

}   // namespace Routing::Policy
