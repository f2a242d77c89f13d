/// @file substrate/gloss/EvaluationLogBase.h
/// The base of a log that explains the result of one evaluation. Both evaluators derive from it: that of route maps, and that of the
/// policy language.
#pragma once

#include <typeinfo>

#include "routepolicy_export.h"
#include "substrate/gloss/RendererV2.h"
#include "substrate/quoin/Node.h"

namespace Routing::Policy {

/// A log of one evaluation, of any kind of policy.
class ROUTEPOLICY_API EvaluationLogBase : public Quoin::Node {
 public:
   ~EvaluationLogBase() override;
   /// The C++ class of the log.
   virtual const std::type_info & typeData() const { return typeid( *this ); }
   /// The kind of policy; a caller uses it as the key of the structured form.
   virtual const char * policyType() const = 0;
   /// Writes the members of a JSON object. The caller opens and closes the object.
   virtual void toJson( Gloss::RendererV2 * renderer ) const = 0;
};

}   // namespace Routing::Policy
