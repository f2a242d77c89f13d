#include "substrate/gloss/EvaluationLogBase.h"

namespace Routing::Policy {

EvaluationLogBase::~EvaluationLogBase() = default;

}   // namespace Routing::Policy
