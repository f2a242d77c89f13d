#include "substrate/routemap/Config.h"

namespace Routing::RouteMap {

Map::~Map() = default;
Config::~Config() = default;

}   // namespace Routing::RouteMap
