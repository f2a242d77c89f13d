/// @file compile/PublishedRouteMap.h
/// Applies a route map, by its name, at a point of application whose routes are evaluated on several threads. It stands between the symbol of
/// the route map, which compilation publishes through, and the readers of a PublishedPolicy.
///
///    PublishedRouteMap in( root->routeMapTable(), "IN", RmPrecedence::routeMapPrecedence, WhileUndefined::deny );   // activity thread
///    PublishedPolicy::Reader reader( in.published() );                                                              // evaluation thread
///
/// Ownership: holds the symbol, so the name is in use. Readers may outlive it; see PublishedPolicy.
/// Threading: the activity thread. Readers are created from published() on any thread.
/// Invariant: the current policy is a list with the present status of the route map as its only member; it is never null.
#pragma once

#include "compile/RouteMapSymbol.h"
#include "policy/PublishedPolicy.h"
#include "substrate/plinth/Subscription.h"

namespace Routing::Policy {

/// What a point of application does with every route while its route map is undefined: before the route map is created, and after it was
/// deleted. A defined route map without sequences always permits, as in every list.
enum class WhileUndefined : uint8_t { permit, deny };

/// One route map at one point of application.
class ROUTEPOLICY_API PublishedRouteMap final {
 public:
   /// Publishes the present status at once, and each later one inside its publication by compilation. Subscribers that are added to the
   /// notifier of the symbol afterwards are notified when readers already get the new policy.
   /// `table`: routeMapTable() or peerFilterTable() of the agent's PolicyRoot. `precedence`: the place of the route map in the list.
   /// Errors: a null table, and a symbol without a notifier, end the process.
   PublishedRouteMap( const Quoin::Ptr<const RouteMapSymbolDedupTable> & table, const Quoin::String & name, RmPrecedence precedence,
                      WhileUndefined whileUndefined );
   ~PublishedRouteMap();
   PublishedRouteMap( const PublishedRouteMap & ) = delete;
   PublishedRouteMap & operator=( const PublishedRouteMap & ) = delete;

   const Quoin::Ptr<RouteMapSymbol> & symbol() const noexcept { return symbol_; }
   /// The policy for the readers. While the route map is undefined, the list holds a route map of this name with `undefined` set.
   const PublishedPolicy & published() const noexcept { return published_; }
   /// As PublishedPolicy::retiredDelAll().
   size_t retiredDelAll() noexcept { return published_.retiredDelAll(); }

 private:
   void publish();

   const Quoin::Ptr<RouteMapSymbol> symbol_;
   const Quoin::Ptr<const RouteMapStatus> whileUndefined_;
   const RmPrecedence precedence_;
   PublishedPolicy published_;
   const Plinth::Subscription versionRises_;
};

}   // namespace Routing::Policy
