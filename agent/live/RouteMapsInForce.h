/// @file agent/live/RouteMapsInForce.h
#pragma once

#include <map>
#include <string>
#include <vector>

#include "analysis/HeldBack.h"
#include "live/CompileRouteMaps.h"
#include "text/PolicyText.h"

namespace Agent {

/// The route maps of the text in force, but for those that are held back for their calls (HeldBack.h): to all others, these do not
/// exist.
/// Threading: the activity thread.
class RouteMapsInForce {
 public:
   RouteMapsInForce( const Quoin::Ptr<AgentRoot> & root, const Quoin::Ptr<Zeugma::TaskScheduler> & scheduler );

   /// While such a scope is open, no route map is published, whatever lists and route maps do.
   Routing::RouteMap::ConfigEdit editScope() const { return Routing::RouteMap::ConfigEdit( config_ ); }
   /// Writes what differs, and declares each route map that does once. They are compiled when the scheduler is idle.
   /// Gives the number of clauses, sequences and whole route maps that were written or taken out.
   size_t apply( const PolicyText & before, const PolicyText & after );
   /// Those that have another status since the last call, or none any more; ascending.
   std::vector<std::string> republished();
   /// Null where there is none.
   Quoin::Ptr<const Routing::Policy::RouteMapStatus> status( const std::string & name ) const;

 private:
   struct InForce {
      Quoin::Ptr<Routing::RouteMap::Map> map;
      Quoin::Ptr<Routing::Policy::RouteMapSymbol> symbol;
      Quoin::Ptr<const Routing::Policy::RouteMapStatus> told;   // the status that republished() has told of
   };
   size_t routeMapDel( const std::string & name );
   size_t routeMapIs( const std::string & name, const RouteMapText & was, const RouteMapText & is );

   Quoin::Ptr<Routing::RouteMap::Config> config_;
   Quoin::Ptr<Routing::Policy::SetterTable> setters_;
   Quoin::Ptr<AgentRoot> root_;
   Quoin::Ptr<Routing::Policy::RouteMapConfigSm> machine_;
   std::map<std::string, InForce> inForce_;
   std::map<std::string, HeldBackBy> heldBack_;
   std::vector<std::string> gone_;   // that republished() has not told of
};

}   // namespace Agent
