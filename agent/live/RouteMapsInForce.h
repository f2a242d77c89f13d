/// @file agent/live/RouteMapsInForce.h
#pragma once

#include <map>
#include <string>
#include <vector>

#include "analysis/HeldBack.h"
#include "live/CompileRouteMaps.h"
#include "text/Dialect.h"
#include "text/PolicyText.h"

namespace Agent {

/// Keeps the route maps of the policy in force compiled. LivePolicy passes each new text to it. Route maps that are held back because of
/// their calls (HeldBack.h) are not configured; every other route map sees them as undefined.
/// Threading: the activity thread.
class RouteMapsInForce {
 public:
   using RouteMaps = PolicyText::ByName<RouteMapText>;
   RouteMapsInForce( const Quoin::Ptr<AgentRoot> & root, const Quoin::Ptr<Zeugma::TaskScheduler> & scheduler, Dialect dialect );

   /// While such a scope is open, no route map is published, whatever changes.
   Routing::RouteMap::ConfigEdit editScope() const { return Routing::RouteMap::ConfigEdit( config_ ); }
   /// Applies the differences between two states, and declares each changed route map consistent once. All are compiled when the scheduler
   /// is idle. Returns the number of clauses, sequences and whole route maps that were written or removed.
   size_t apply( const RouteMaps & before, const RouteMaps & after );
   /// The route maps whose status was replaced or deleted since the last call; ascending.
   std::vector<std::string> republished();
   /// The compiled route map; null if it is undefined or held back.
   Quoin::Ptr<const Routing::Policy::RouteMapStatus> status( const std::string & name ) const;
   /// RouteMapConfigSm::verify().
   std::vector<std::string> verify() const { return machine_->verify(); }

 private:
   struct InForce {
      Quoin::Ptr<Routing::RouteMap::Map> map;
      Quoin::Ptr<Routing::Policy::RouteMapSymbol> symbol;
      Quoin::Ptr<const Routing::Policy::RouteMapStatus> told;   // the status at the last call of republished()
   };
   size_t routeMapDel( const std::string & name );
   size_t routeMapIs( const std::string & name, const RouteMapText & was, const RouteMapText & is );

   const Dialect dialect_;
   Quoin::Ptr<Routing::RouteMap::Config> config_;
   Quoin::Ptr<Routing::Policy::SetterTable> setters_;
   Quoin::Ptr<AgentRoot> root_;
   Quoin::Ptr<Routing::Policy::RouteMapConfigSm> machine_;
   std::map<std::string, InForce> inForce_;
   std::map<std::string, HeldBackBy> heldBack_;
   std::vector<std::string> gone_;   // deleted since the last call of republished()
};

}   // namespace Agent
