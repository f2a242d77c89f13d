/// @file substrate/routemap/Config.h
/// The configuration of route maps, as an agent writes it, and the scope that brackets many edits. The machines of compile/ watch the
/// configuration and publish compiled route maps.
#pragma once

#include "substrate/routemap/Map.h"
#include "substrate/routemap/Options.h"

namespace Routing::RouteMap {

/// The root of one set of configured route maps. Ownership: the agent.
/// Threading: the activity thread.
class ROUTEPOLICY_API Config final : public Quoin::NotifyingNode {
 public:
   enum class Field : Quoin::FieldId { routeMap, routeMapOpMode, edits };
   using RouteMaps = Plinth::TreeMap<Quoin::String, Quoin::Ptr<Map>>;

   Config() = default;
   ~Config() override;

   /// The route maps by name.
   PLINTH_LINKED_NODES( routeMap, routeMapIs, routeMapDel, routeMapDelAll, Field::routeMap, link, unlink, RouteMaps );
   /// The operating mode of the route map feature. Compilation passes it on and compiles again when it changes; its value has no effect
   /// here.
   PLINTH_ATTR( routeMapOpMode, routeMapOpModeIs, Field::routeMapOpMode, RouteMapOpModeType );

 public:
   /// The number of open edit scopes (ConfigEdit). Only the change to 0 is published.
   uint32_t edits() const noexcept { return edits_; }

   /// An order of the route maps by their calls; null unless callOrderIs() was called.
   Quoin::Ptr<const CallOrder> callOrder() const noexcept { return callOrder_; }
   /// Begins to keep the order. Cost: linear in the configuration; a second call does nothing.
   void callOrderIs();

 private:
   friend class ConfigEdit;

   void link( Map & map ) { map.callOrderIs( callOrder_ ); }
   void unlink( Map & map ) { map.callOrderIs( nullptr ); }

   Quoin::Ptr<CallOrder> callOrder_;
   uint32_t edits_ = 0;
};

/// An edit scope: while at least one is open on a configuration, no route map of that configuration is published.
///
///    {
///       const ConfigEdit edit( config );
///       ... create, change and delete route maps and sequences, raise versions, publish lists ...
///    }
///    scheduler->runUntilIdle();   // publishes each changed route map once, callees before callers
///
/// A scope only delays publication: after a change of an attribute, the agent must still change the `version` of the route map. The
/// scheduler may run while a scope is open. When the last scope closes, the machine that compiles the configuration schedules a task. The
/// task does the pending deletions, creations and publications; edits that are made before the task has finished are pending too.
/// Scopes can be nested, and can be opened and closed inside reactions.
/// Cost: opening and closing are O(1); the cost of the task grows with the pending work and the route maps that it reaches through calls.
/// Ownership: a scope holds the configuration; the machine may be destroyed or created while a scope is open.
/// Threading: the activity thread.
class ROUTEPOLICY_API ConfigEdit {
 public:
   /// Errors: MutatorArgNullPointerException on null.
   explicit ConfigEdit( const Quoin::Ptr<Config> & config );
   ~ConfigEdit();   // closes the scope
   ConfigEdit( const ConfigEdit & ) = delete;
   ConfigEdit & operator=( const ConfigEdit & ) = delete;

   /// Closes the scope early; a second call does nothing.
   void close() noexcept;

 private:
   Quoin::Ptr<Config> config_;   // null after the scope was closed
};

}   // namespace Routing::RouteMap
