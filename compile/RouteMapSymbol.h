/// @file compile/RouteMapSymbol.h
/// What stands for a route map wherever one is referred to: one object per name, alive from the first reference to the last, whether
/// the route map exists or not.
/// Ownership: those who refer to it share it; its table holds it weakly. Threading: the activity thread.
/// Invariant: who hears of a version finds the status that it stands for in place.
#pragma once

#include "policy/RouteMapStatus.h"
#include "substrate/plinth/HashMap2018.h"
#include "substrate/routemap/ListSymbol.h"

namespace Routing::Policy {

class RouteMapSymbol;
using RouteMapSymbolDedupTable = Routing::RouteMap::SymbolDedupTable<RouteMapSymbol>;

class ROUTEPOLICY_API RouteMapSymbol final : public Routing::RouteMap::PolicySymbol {
 public:
   explicit RouteMapSymbol( const Quoin::String & name ) : PolicySymbol( name ) {}
   ~RouteMapSymbol() override;

   /// The compiled route map; null while there is none of that name.
   const Quoin::Ptr<const RouteMapStatus> & rmStatus() const noexcept { return rmStatus_; }
   /// Stores and tells nobody: for the first fill.
   void rmStatusIs( const Quoin::Ptr<const RouteMapStatus> & status ) { rmStatus_ = status; }
   /// Stores the status, says that it is current, and raises the version by one, also for the status that stands already: what has
   /// changed may lie below it.
   void updateAndNotify( const Quoin::Ptr<const RouteMapStatus> & status );

   /// The one symbol of this name in `table`: this one if it is the first. A symbol that stands in another table must not come here.
   Quoin::Ptr<RouteMapSymbol> dedup( const Quoin::Ptr<const RouteMapSymbolDedupTable> & table );

   // The name alone counts.
   static uint32_t hashOf( const Quoin::String & name ) noexcept;
   uint32_t hash() const override;
   bool compare( const Zeugma::DedupHandleBase * other ) const override;

 private:
   Quoin::Ptr<const RouteMapStatus> rmStatus_;
};

/// The route map symbols that somebody has listed, by name. Each lives while it is listed.
class ROUTEPOLICY_API AllRouteMapSymbol final : public Quoin::NotifyingNode {
 public:
   enum class Field : Quoin::FieldId { symbol };
   using Symbols = Plinth::HashMap2018<Quoin::String, Quoin::Ptr<RouteMapSymbol>>;
   ~AllRouteMapSymbol() override;

   PLINTH_NODES( symbol, symbolIs, symbolDel, symbolDelAll, Field::symbol, name, Symbols );
};

ROUTEPOLICY_API Quoin::Ptr<RouteMapSymbol> routeMapSymbolFactory( const Quoin::String & name );
ROUTEPOLICY_API Quoin::Ptr<AllRouteMapSymbol> allRouteMapSymbolFactory();

}   // namespace Routing::Policy
