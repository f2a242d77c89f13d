/// @file substrate/gyre/ExternalMatchersBase.h
#pragma once

#include "routepolicy_export.h"
#include "substrate/zeugma/DedupHandle.h"
#include "substrate/zeugma/DumpContext.h"

namespace Gyre {

/// The table of the lists that a function of the policy language refers to by number; one object per content.
class ROUTEPOLICY_API ExternalMatchersBase : public Zeugma::DedupHandleBase {
 public:
   ~ExternalMatchersBase() override;
   virtual void dumpState( const Zeugma::DumpContextPtr & ctx, unsigned indent ) const = 0;
};

}   // namespace Gyre
