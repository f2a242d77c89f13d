/// @file substrate/routemap/Config.h
#pragma once

#include "substrate/routemap/Map.h"
#include "substrate/routemap/Options.h"

namespace Routing::RouteMap {

/// The root of one set of configured route maps. Ownership: the agent's. Threading: the activity thread.
class ROUTEPOLICY_API Config final : public Quoin::NotifyingNode {
 public:
   enum class Field : Quoin::FieldId { routeMap, routeMapOpMode, edits };
   using RouteMaps = Plinth::TreeMap<Quoin::String, Quoin::Ptr<Map>>;

   Config() = default;
   ~Config() override;

   /// The route maps by name.
   PLINTH_MADE_NODES( routeMap, routeMapIs, routeMapDel, routeMapDelAll, Field::routeMap, RouteMaps );
   /// The operating mode of the route map feature; passed on unread.
   PLINTH_ATTR( routeMapOpMode, routeMapOpModeIs, Field::routeMapOpMode, RouteMapOpModeType );

 public:
   /// The number of open edit scopes (ConfigEdit). Of its changes, only the one to 0 is published.
   uint32_t edits() const noexcept { return edits_; }

 private:
   friend class ConfigEdit;
   uint32_t edits_ = 0;
};

/// An edit scope: while at least one is open on a configuration, no route map of that configuration is published.
///
///    {
///       const ConfigEdit edit( config );
///       ... create, change and delete route maps and sequences, raise versions, publish lists ...
///    }
///    scheduler->runUntilIdle();   // publishes each route map that all this changes once, callees before callers
///
/// A scope puts publication off, and replaces nothing: a changed attribute still waits for the `version` of its route map. The
/// scheduler may run while a scope is open. When the last scope closes, the machine that compiles the configuration schedules a task, which
/// deletes, creates and publishes what was put off; until that task has finished, further edits of the configuration are put off too.
/// Cost: opening and closing, a constant; the task, what was put off, and the route maps that its calls reach.
/// Ownership: a scope holds the configuration; the machine may be destroyed, or created, while a scope is open. Scopes nest, and may be
/// opened and closed inside reactions.
/// Threading: the activity thread.
class ROUTEPOLICY_API ConfigEdit {
 public:
   /// Errors: MutatorArgNullPointerException on null.
   explicit ConfigEdit( const Quoin::Ptr<Config> & config );
   /// Closes the scope. What a subscriber or the scheduler's wake-up callback throws is dropped; see close().
   ~ConfigEdit();
   ConfigEdit( const ConfigEdit & ) = delete;
   ConfigEdit & operator=( const ConfigEdit & ) = delete;

   /// Closes the scope before its end; a second call does nothing. Errors: what a subscriber or the scheduler's wake-up callback throws
   /// comes out. The scope is closed all the same, and the next change that is put off schedules the task again.
   void close();

 private:
   Quoin::Ptr<Config> config_;   // null once the scope is closed
};

}   // namespace Routing::RouteMap
