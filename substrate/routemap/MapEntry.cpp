#include "substrate/routemap/MapEntry.h"

namespace Routing::RouteMap {

MapEntry::~MapEntry() = default;

void MapEntry::matchRuleIs( MatchRule rule ) {
   Plinth::putMember( publisher_, Quoin::FieldId( Field::matchRule ), "matchRuleIs", matchRule_, rule.option, rule );
}

void MapEntry::matchRuleDel( MatchOption option ) {
   Plinth::eraseMember( publisher_, Quoin::FieldId( Field::matchRule ), matchRule_, option );
}

}   // namespace Routing::RouteMap
