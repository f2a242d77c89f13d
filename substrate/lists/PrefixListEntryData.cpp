#include "substrate/lists/PrefixListEntryData.h"

namespace Routing::RouteMap {

PrefixListEntryData::~PrefixListEntryData() = default;

}   // namespace Routing::RouteMap
