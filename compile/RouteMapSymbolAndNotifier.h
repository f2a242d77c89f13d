/// @file compile/RouteMapSymbolAndNotifier.h
#pragma once

#include "compile/RouteMapSymbol.h"

namespace Routing::Policy {

/// A symbol with its notifier, for those who want to watch one object. Threading: the activity thread.
class ROUTEPOLICY_API RouteMapSymbolAndNotifier final : public Quoin::NotifyingNode {
 public:
   enum class Field : Quoin::FieldId { rmSymbol, rmSymbolNotifier };

   /// Of a null symbol, both stay null.
   explicit RouteMapSymbolAndNotifier( const Quoin::Ptr<const RouteMapSymbol> & symbol );
   ~RouteMapSymbolAndNotifier() override;

   // What is replaced is let go behind the publication.
   PLINTH_ATTR( rmSymbol, rmSymbolIs, Field::rmSymbol, Quoin::Ptr<const RouteMapSymbol> );
   PLINTH_ATTR( rmSymbolNotifier, rmSymbolNotifierIs, Field::rmSymbolNotifier, Quoin::Ptr<const Routing::RouteMap::PolicySymbolNotifier> );
};

}   // namespace Routing::Policy
