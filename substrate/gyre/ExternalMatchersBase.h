/// @file substrate/gyre/ExternalMatchersBase.h
/// The base of the table of lists that a function of the policy language uses. function/GyreExternalMatchers.h derives the real table.
#pragma once

#include "routepolicy_export.h"
#include "substrate/zeugma/DedupHandle.h"
#include "substrate/zeugma/DumpContext.h"

namespace Gyre {

/// The lists that a function refers to by number. One object exists per content.
class ROUTEPOLICY_API ExternalMatchersBase : public Zeugma::DedupHandleBase {
 public:
   ~ExternalMatchersBase() override;
   /// Writes the lists as lines of text; see substrate/zeugma/DumpContext.h.
   virtual void dumpState( const Zeugma::DumpContextPtr & ctx, unsigned indent ) const = 0;
};

}   // namespace Gyre
