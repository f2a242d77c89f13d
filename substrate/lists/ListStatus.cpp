#include "substrate/lists/ListStatus.h"

namespace Routing::RouteMap {

NamedListStatus::~NamedListStatus() = default;
DynPrefixListStatus::~DynPrefixListStatus() = default;

}   // namespace Routing::RouteMap
