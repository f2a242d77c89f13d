#include "compile/RouteMapSymbolAndNotifier.h"

namespace Routing::Policy {

RouteMapSymbolAndNotifier::RouteMapSymbolAndNotifier( const Quoin::Ptr<const RouteMapSymbol> & symbol ) {
   rmSymbol_.value = symbol;
   if( symbol ) rmSymbolNotifier_.value = symbol->notifier();
}

RouteMapSymbolAndNotifier::~RouteMapSymbolAndNotifier() = default;

}   // namespace Routing::Policy
