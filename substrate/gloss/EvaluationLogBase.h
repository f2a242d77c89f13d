/// @file substrate/gloss/EvaluationLogBase.h
/// What an evaluation leaves of why it ended as it did, whichever evaluator made it.
#pragma once

#include <typeinfo>

#include "routepolicy_export.h"
#include "substrate/gloss/RendererV2.h"
#include "substrate/quoin/Node.h"

namespace Routing::Policy {

class ROUTEPOLICY_API EvaluationLogBase : public Quoin::Node {
 public:
   ~EvaluationLogBase() override;
   /// The class of the log.
   virtual const std::type_info & typeData() const { return typeid( *this ); }
   /// The kind of policy, under which a caller puts the structured form.
   virtual const char * policyType() const = 0;
   /// Writes the members of an object that the caller opens and closes.
   virtual void toJson( Gloss::RendererV2 * renderer ) const = 0;
};

}   // namespace Routing::Policy
