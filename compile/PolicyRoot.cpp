#include "compile/PolicyRoot.h"

namespace Routing::Policy {

PolicyRoot::PolicyRoot() = default;
PolicyRoot::~PolicyRoot() = default;

}   // namespace Routing::Policy
