/// @file compile/RouteMapSymbol.h
/// Represents a route map for all references to its name. Each name has one symbol, which exists while references to it exist, even if the
/// route map is undefined. Compilation publishes each generation through it; callers and agents read it.
/// Ownership: its users share it. The table holds a weak reference. Threading: the activity thread.
/// Invariant: when a version is published, the symbol already holds the status of this version.
#pragma once

#include "policy/RouteMapStatus.h"
#include "substrate/plinth/HashMap2018.h"
#include "substrate/routemap/ListSymbol.h"

namespace Routing::Policy {

class RouteMapSymbol;
using RouteMapSymbolDedupTable = Routing::RouteMap::SymbolDedupTable<RouteMapSymbol>;

/// The symbol of one route map.
class ROUTEPOLICY_API RouteMapSymbol final : public Routing::RouteMap::PolicySymbol {
 public:
   explicit RouteMapSymbol( const Quoin::String & name ) : PolicySymbol( name, Of::routeMap ) {}

   /// The compiled route map; null while the name is undefined.
   const Quoin::Ptr<const RouteMapStatus> & rmStatus() const noexcept { return rmStatus_; }
   /// Stores a status and notifies no subscriber. updateAndNotify() publishes.
   void rmStatusIs( const Quoin::Ptr<const RouteMapStatus> & status ) { rmStatus_ = status; }
   /// Stores the status, declares it current, and raises the version by one. The version rises even if the status is the same, since a
   /// callee may have changed.
   void updateAndNotify( const Quoin::Ptr<const RouteMapStatus> & status );

   /// The symbol of this name in `table`: this symbol if it is the first. This symbol must not belong to another table.
   Quoin::Ptr<RouteMapSymbol> dedup( const Quoin::Ptr<const RouteMapSymbolDedupTable> & table );

   // Hash and comparison use the name alone.
   static uint32_t hashOf( const Quoin::String & name ) noexcept;
   uint32_t hash() const override;

 private:
   Quoin::Ptr<const RouteMapStatus> rmStatus_;
};

/// A list of route map symbols by name. It shares ownership of its members.
class ROUTEPOLICY_API AllRouteMapSymbol final : public Quoin::NotifyingNode {
 public:
   enum class Field : Quoin::FieldId { symbol };
   using Symbols = Plinth::HashMap2018<Quoin::String, Quoin::Ptr<RouteMapSymbol>>;

   PLINTH_NODES( symbol, symbolIs, symbolDel, symbolDelAll, Field::symbol, name, Symbols );
};

ROUTEPOLICY_API Quoin::Ptr<RouteMapSymbol> routeMapSymbolFactory( const Quoin::String & name );
ROUTEPOLICY_API Quoin::Ptr<AllRouteMapSymbol> allRouteMapSymbolFactory();

}   // namespace Routing::Policy
