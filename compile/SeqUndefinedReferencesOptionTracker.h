/// @file compile/SeqUndefinedReferencesOptionTracker.h
#pragma once

#include "policy/PolicyTypes.h"
#include "substrate/plinth/Attribute.h"
#include "substrate/plinth/HashMap2018.h"
#include "substrate/plinth/PlainRecord.h"

namespace Routing::Policy {

/// Which clauses of one sequence refer to a list that does not exist. The sequence's bit of a kind goes off with the last of them.
/// Ownership: the sequence's machine, for its life; entries of the modified list share it. Threading: the activity thread.
class ROUTEPOLICY_API SeqUndefinedReferencesOptionTracker final : public Plinth::PlainRecord {
 public:
   enum class Field : Quoin::FieldId { undefinedPrefixListMatchOption, undefinedCommListMatchOption, undefinedCommListSetOption };
   using MatchOptions = Plinth::HashSet2018<MatchOption>;
   using SetOptions = Plinth::HashSet2018<SetOption>;
   ~SeqUndefinedReferencesOptionTracker() override;

   PLINTH_SET( undefinedPrefixListMatchOption, undefinedPrefixListMatchOptionHas, undefinedPrefixListMatchOptionIs,
               undefinedPrefixListMatchOptionDel, undefinedPrefixListMatchOptionDelAll, Field::undefinedPrefixListMatchOption,
               MatchOptions );
   PLINTH_SET( undefinedCommListMatchOption, undefinedCommListMatchOptionHas, undefinedCommListMatchOptionIs,
               undefinedCommListMatchOptionDel, undefinedCommListMatchOptionDelAll, Field::undefinedCommListMatchOption, MatchOptions );
   PLINTH_SET( undefinedCommListSetOption, undefinedCommListSetOptionHas, undefinedCommListSetOptionIs, undefinedCommListSetOptionDel,
               undefinedCommListSetOptionDelAll, Field::undefinedCommListSetOption, SetOptions );
};

}   // namespace Routing::Policy
