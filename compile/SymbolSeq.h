/// @file compile/SymbolSeq.h
/// The symbols that one sequence watches: of its clauses, and of the route maps that it refers to. The machine of the route map writes them
/// when it applies changes; CommonComponentSymbolSeqSm subscribes to them.
/// Threading: the activity thread.
#pragma once

#include "compile/SequenceChangeSymbol.h"

namespace Routing::Policy {

/// The symbols of one clause. A change replaces the whole list.
template <class Option>
class PolicySymbolListOf final : public Plinth::PlainRecord {
 public:
   enum class Field : Quoin::FieldId { policySymbol };
   explicit PolicySymbolListOf( Option option ) : option_( option ) {}
   Option option() const noexcept { return option_; }
   PLINTH_SET( policySymbol, policySymbolHas, policySymbolIs, policySymbolDel, policySymbolDelAll, Field::policySymbol, PolicySymbols );

 private:
   Option option_;
};
using PolicyMatchSymbolList = PolicySymbolListOf<MatchOption>;
using PolicySetSymbolList = PolicySymbolListOf<SetOption>;

/// The symbols of all match clauses, or of all set clauses, of one sequence.
template <class Option>
class OptionSymbolSeq final : public Quoin::NotifyingNode {
 public:
   enum class Field : Quoin::FieldId { policySymbolList };
   using Lists = Plinth::HashMap2018<Option, Quoin::Ptr<PolicySymbolListOf<Option>>>;
   explicit OptionSymbolSeq( uint32_t seqno ) : seqno_( seqno ) {}
   uint32_t seqno() const noexcept { return seqno_; }
   PLINTH_COLLECTION( policySymbolList, policySymbolListIs, policySymbolListDel, policySymbolListDelAll, Field::policySymbolList,
                      typename OptionSymbolSeq::Lists );

 private:
   uint32_t seqno_;
};
using MatchSymbolSeq = OptionSymbolSeq<MatchOption>;
using SetSymbolSeq = OptionSymbolSeq<SetOption>;

/// A route map that one sequence refers to. `Tag` distinguishes the kinds of reference.
template <class Tag>
class RouteMapSymbolSeq final : public Quoin::NotifyingNode {
 public:
   enum class Field : Quoin::FieldId { symbol, currentVersion };
   explicit RouteMapSymbolSeq( uint32_t seqno ) : seqno_( seqno ) {}
   uint32_t seqno() const noexcept { return seqno_; }
   PLINTH_ATTR( symbol, symbolIs, Field::symbol, Quoin::Ptr<const RouteMapSymbol> );
   /// The version that the symbol's notifier had when the reference was configured.
   PLINTH_ATTR( currentVersion, currentVersionIs, Field::currentVersion, uint32_t );

 private:
   uint32_t seqno_;
};
using SubRouteMapSymbolSeq = RouteMapSymbolSeq<struct SubRouteMapTag>;
using AggRoleAttrMapSymbolSeq = RouteMapSymbolSeq<struct AggRoleAttrMapTag>;

}   // namespace Routing::Policy
