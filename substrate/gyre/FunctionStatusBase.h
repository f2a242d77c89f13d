/// @file substrate/gyre/FunctionStatusBase.h
/// The status of one function of the policy language, as RouteMapStatus is the status of a route map. The agent that compiles the function
/// creates it; a policy evaluates it.
/// Ownership: lists of policies share it; it shares its body and its table of lists.
/// Threading: the creator writes it before it is published; afterwards it is read-only.
#pragma once

#include "routepolicy_export.h"
#include "substrate/gyre/Eval.h"
#include "substrate/gyre/ExternalMatchersBase.h"
#include "substrate/plinth/Attribute.h"
#include "substrate/quoin/String.h"
#include "substrate/zeugma/DumpContext.h"

namespace Gyre {

/// A named function, with its compiled body and the lists that the body uses.
class ROUTEPOLICY_API FunctionStatusBase : public Quoin::Node {
 public:
   explicit FunctionStatusBase( const Quoin::String & funcName );
   ~FunctionStatusBase() override;
   /// Creates an undefined function.
   static Quoin::Ptr<FunctionStatusBase> FunctionStatusBaseIs( const Quoin::String & funcName );

   const Quoin::String & funcName() const noexcept { return funcName_; }
   /// Whether the function has no body: its name is referred to, but the function is not compiled.
   bool undefined() const noexcept { return !aet_; }
   /// Writes the name, the lists and the body as lines of text; see substrate/zeugma/DumpContext.h.
   void dumpState( const Zeugma::DumpContextPtr & ctx, unsigned indent ) const;

   /// The compiled body; null while undefined.
   PLINTH_VALUE( aet, aetIs, {}, Quoin::Ptr<const Eval::FunctionBase> );
   /// The table of lists; the body refers to lists by their index in it.
   PLINTH_VALUE( externalMatchers, externalMatchersIs, {}, Quoin::Ptr<const ExternalMatchersBase> );

 private:
   Quoin::String funcName_;
};

}   // namespace Gyre
