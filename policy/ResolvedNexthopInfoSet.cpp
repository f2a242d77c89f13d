#include "policy/ResolvedNexthopInfoSet.h"

namespace Routing::Policy {

ResolvedNexthopInfoSet::~ResolvedNexthopInfoSet() = default;

}   // namespace Routing::Policy
