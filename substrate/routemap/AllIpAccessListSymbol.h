/// @file substrate/routemap/AllIpAccessListSymbol.h
#pragma once

#include "substrate/plinth/HashMap2018.h"
#include "substrate/quoin/NotifyingNode.h"
#include "substrate/routemap/ListSymbol.h"

namespace Routing::RouteMap {

/// The access list symbols that have a list behind them, by name. Ownership: holds a use of each. Threading: the activity thread.
class AllIpAccessListSymbol : public Quoin::NotifyingNode {
 public:
   enum class Field : Quoin::FieldId { symbol };
   using Symbols = Plinth::HashMap2018<Quoin::String, Quoin::Ptr<IpAccessListSymbol>>;

   PLINTH_NODES( symbol, symbolIs, symbolDel, symbolDelAll, Field::symbol, name, Symbols );
};

}   // namespace Routing::RouteMap
