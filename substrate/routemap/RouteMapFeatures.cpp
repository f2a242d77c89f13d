#include "substrate/routemap/RouteMapFeatures.h"

#include <ostream>

namespace Routing::RouteMap {

namespace {

const char * nameOf( RouteMapFeatures::Bit bit ) {
   switch( bit ) {
      case RouteMapFeatures::matchPrefixDependent: return "matchPrefixDependent";
      case RouteMapFeatures::matchInterface: return "matchInterface";
      case RouteMapFeatures::matchResolvedNexthop: return "matchResolvedNexthop";
      case RouteMapFeatures::matchRouterId: return "matchRouterId";
      case RouteMapFeatures::matchBestpath: return "matchBestpath";
      case RouteMapFeatures::matchAggregateRole: return "matchAggregateRole";
   }
   return nullptr;
}

}   // namespace

Quoin::String RouteMapFeatures::toStrep() const {
   return Quoin::bitsText( bits_, nameOf );
}

std::ostream & operator<<( std::ostream & os, const RouteMapFeatures & features ) {
   return os << features.toStrep();
}

}   // namespace Routing::RouteMap
