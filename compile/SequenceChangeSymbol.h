/// @file compile/SequenceChangeSymbol.h
/// The symbols that a sequence must watch after the next compilation. The machine of the sequence records them, and the machine of the
/// route map applies them.
/// Threading: the activity thread.
#pragma once

#include "compile/RouteMapSymbol.h"
#include "compile/SequenceLedger.h"
#include "policy/PolicyTypes.h"
#include "substrate/plinth/PlainRecord.h"

namespace Routing::Policy {

using PolicySymbols = Plinth::HashSet2018<Quoin::Ptr<const Routing::RouteMap::PolicySymbol>>;

/// The symbols of one match clause. An empty set ends the watch of the clause.
class ROUTEPOLICY_API MatcherChangeSymbol final : public Plinth::PlainRecord {
 public:
   enum class Field : Quoin::FieldId { matchSymbol };
   explicit MatcherChangeSymbol( MatchOption option ) : option_( option ) {}
   MatchOption option() const noexcept { return option_; }
   PLINTH_SET( matchSymbol, matchSymbolHas, matchSymbolIs, matchSymbolDel, matchSymbolDelAll, Field::matchSymbol, PolicySymbols );

 private:
   MatchOption option_;
};

/// The symbols of one set clause. An empty set ends the watch of the clause.
class ROUTEPOLICY_API SetterChangeSymbol final : public Plinth::PlainRecord {
 public:
   enum class Field : Quoin::FieldId { setSymbol };
   explicit SetterChangeSymbol( SetOption option ) : option_( option ) {}
   SetOption option() const noexcept { return option_; }
   PLINTH_SET( setSymbol, setSymbolHas, setSymbolIs, setSymbolDel, setSymbolDelAll, Field::setSymbol, PolicySymbols );

 private:
   SetOption option_;
};

/// The symbol of the new callee; null for none.
class ROUTEPOLICY_API SubRouteMapChangeSymbol final : public Plinth::PlainRecord {
 public:
   explicit SubRouteMapChangeSymbol( const Quoin::Ptr<const RouteMapSymbol> & symbol ) : symbol_( symbol ) {}
   PLINTH_VALUE( symbol, symbolIs, , Quoin::Ptr<const RouteMapSymbol> );
};

/// The new attribute map of an aggregate role; null for none.
class ROUTEPOLICY_API AggRoleAttrMapChangeSymbol final : public Plinth::PlainRecord {
 public:
   explicit AggRoleAttrMapChangeSymbol( const Quoin::Ptr<const RouteMapSymbol> & symbol ) : symbol_( symbol ) {}
   PLINTH_VALUE( symbol, symbolIs, , Quoin::Ptr<const RouteMapSymbol> );
};

/// All changes of the symbols of one sequence.
class ROUTEPOLICY_API SequenceChangeSymbol final : public Plinth::PlainRecord {
 public:
   enum class Field : Quoin::FieldId { matcherChangeSymbol, setterChangeSymbol, subRouteMapChangeSymbol, aggRoleAttrMapChangeSymbol };
   using MatcherChangeSymbols = Plinth::HashMap2018<MatchOption, Quoin::Ptr<MatcherChangeSymbol>>;
   using SetterChangeSymbols = Plinth::HashMap2018<SetOption, Quoin::Ptr<SetterChangeSymbol>>;
   /// `ledger`: of the route map; null for none.
   explicit SequenceChangeSymbol( uint32_t seqno, Quoin::Ptr<SequenceLedger> ledger = nullptr )
         : publisher_{ std::move( ledger ), seqno } {}
   uint32_t seqno() const noexcept { return publisher_.seqno; }

   PLINTH_MADE_NODES( matcherChangeSymbol, matcherChangeSymbolIs, matcherChangeSymbolDel, matcherChangeSymbolDelAll,
                      Field::matcherChangeSymbol, MatcherChangeSymbols );
   PLINTH_MADE_NODES( setterChangeSymbol, setterChangeSymbolIs, setterChangeSymbolDel, setterChangeSymbolDelAll, Field::setterChangeSymbol,
                      SetterChangeSymbols );
   /// The change of the call; null if it did not change.
   PLINTH_ATTR( subRouteMapChangeSymbol, subRouteMapChangeSymbolIs, Field::subRouteMapChangeSymbol, Quoin::Ptr<SubRouteMapChangeSymbol> );
   PLINTH_ATTR( aggRoleAttrMapChangeSymbol, aggRoleAttrMapChangeSymbolIs, Field::aggRoleAttrMapChangeSymbol,
                Quoin::Ptr<AggRoleAttrMapChangeSymbol> );

 private:
   RecordPublisher publisher_;
};

ROUTEPOLICY_API Quoin::Ptr<SequenceChangeSymbol> sequenceChangeSymbolFactory( uint32_t seqno );
ROUTEPOLICY_API Quoin::Ptr<SubRouteMapChangeSymbol> subRouteMapChangeSymbolFactory( const Quoin::Ptr<const RouteMapSymbol> & symbol );
ROUTEPOLICY_API Quoin::Ptr<AggRoleAttrMapChangeSymbol> aggRoleAttrMapChangeSymbolFactory( const Quoin::Ptr<const RouteMapSymbol> & symbol );

}   // namespace Routing::Policy
