/// @file substrate/gyre/FunctionStatusBase.h
/// The status of one function of the policy language: the counterpart of a route map's.
/// Ownership: lists share it; it shares its body and its table. Threading: whoever compiles the function writes it before it is
/// published; from then on it is read only.
#pragma once

#include "routepolicy_export.h"
#include "substrate/gyre/Eval.h"
#include "substrate/gyre/ExternalMatchersBase.h"
#include "substrate/plinth/Attribute.h"
#include "substrate/quoin/String.h"
#include "substrate/zeugma/DumpContext.h"

namespace Gyre {

class ROUTEPOLICY_API FunctionStatusBase : public Quoin::Node {
 public:
   explicit FunctionStatusBase( const Quoin::String & funcName );
   ~FunctionStatusBase() override;
   static Quoin::Ptr<FunctionStatusBase> FunctionStatusBaseIs( const Quoin::String & funcName );

   const Quoin::String & funcName() const noexcept { return funcName_; }
   /// True while the function has no body: it is named, and not yet compiled.
   bool undefined() const noexcept { return !aet_; }
   void dumpState( const Zeugma::DumpContextPtr & ctx, unsigned indent ) const;

   /// The compiled body; null while undefined.
   PLINTH_VALUE( aet, aetIs, {}, Quoin::Ptr<const Eval::FunctionBase> );
   /// The table that the body's list numbers index.
   PLINTH_VALUE( externalMatchers, externalMatchersIs, {}, Quoin::Ptr<const ExternalMatchersBase> );

 private:
   Quoin::String funcName_;
};

}   // namespace Gyre
