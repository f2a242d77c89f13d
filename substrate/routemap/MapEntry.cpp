#include "substrate/routemap/MapEntry.h"

#include <utility>

#include "substrate/routemap/Map.h"

namespace Routing::RouteMap {

MapEntry::~MapEntry() = default;

void MapEntry::matchRuleIs( MatchRule rule ) {
   Plinth::putMember( publisher_, Quoin::FieldId( Field::matchRule ), "matchRuleIs", matchRule_, rule.option, rule );
}

void MapEntry::subRouteMapIs( SubRouteMap call ) {
   if( map_ && call.name != subRouteMap_.value.name ) map_->callChanged( subRouteMap_.value.name, call.name );
   if( subRouteMap_.assign( std::move( call ) ) ) publisher_.publishChange( Quoin::FieldId( Field::subRouteMap ) );
}

void MapEntry::matchRuleDel( MatchOption option ) {
   Plinth::eraseMember( publisher_, Quoin::FieldId( Field::matchRule ), matchRule_, option );
}

}   // namespace Routing::RouteMap
