/// @file compile/RouteMapSymbolAndNotifier.h
#pragma once

#include "compile/RouteMapSymbol.h"

namespace Routing::Policy {

/// The symbol of a route map with its notifier, in one object. A subscriber that needs both watches this object.
/// Threading: the activity thread.
class ROUTEPOLICY_API RouteMapSymbolAndNotifier final : public Quoin::NotifyingNode {
 public:
   enum class Field : Quoin::FieldId { rmSymbol, rmSymbolNotifier };

   /// A null symbol leaves both null.
   explicit RouteMapSymbolAndNotifier( const Quoin::Ptr<const RouteMapSymbol> & symbol ) {
      rmSymbol_.value = symbol;
      if( symbol ) rmSymbolNotifier_.value = symbol->notifier();
   }

   // The old value is released after the publication.
   PLINTH_ATTR( rmSymbol, rmSymbolIs, Field::rmSymbol, Quoin::Ptr<const RouteMapSymbol> );
   PLINTH_ATTR( rmSymbolNotifier, rmSymbolNotifierIs, Field::rmSymbolNotifier, Quoin::Ptr<const Routing::RouteMap::PolicySymbolNotifier> );
};

}   // namespace Routing::Policy
