/// @file substrate/routemap/AllIpAccessListSymbol.h
/// The collection of the symbols of all defined access lists. The machine that compiles access lists fills it.
#pragma once

#include "substrate/plinth/HashMap2018.h"
#include "substrate/quoin/NotifyingNode.h"
#include "substrate/routemap/ListSymbol.h"

namespace Routing::RouteMap {

/// The symbols of the defined access lists, by name. Ownership: holds the symbols. Threading: the activity thread.
class AllIpAccessListSymbol : public Quoin::NotifyingNode {
 public:
   enum class Field : Quoin::FieldId { symbol };
   using Symbols = Plinth::HashMap2018<Quoin::String, Quoin::Ptr<IpAccessListSymbol>>;

   /// The symbols by name.
   PLINTH_NODES( symbol, symbolIs, symbolDel, symbolDelAll, Field::symbol, name, Symbols );
};

}   // namespace Routing::RouteMap
