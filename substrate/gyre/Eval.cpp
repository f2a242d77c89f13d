#include "substrate/gyre/Eval.h"

#include "substrate/gyre/ExternalMatchersBase.h"

namespace Gyre {

ExternalMatchersBase::~ExternalMatchersBase() = default;

namespace Eval {

EvalContextBase::~EvalContextBase() = default;
FunctionBase::~FunctionBase() = default;
GyreEvalContextMap::~GyreEvalContextMap() = default;

Quoin::Ptr<GyreEvalContextMap> GyreEvalContextMap::getGyreEvalContextMapWithOneEntry( Precedence precedence,
                                                                                      const Quoin::Ptr<EvalContextBase> & context ) {
   auto map = Quoin::makeNode<GyreEvalContextMap>();
   map->contextIs( precedence, context );
   return map;
}

}   // namespace Eval
}   // namespace Gyre
