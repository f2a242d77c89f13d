#include "compile/SeqUndefinedReferencesOptionTracker.h"

namespace Routing::Policy {

SeqUndefinedReferencesOptionTracker::~SeqUndefinedReferencesOptionTracker() = default;

}   // namespace Routing::Policy
