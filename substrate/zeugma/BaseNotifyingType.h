/// @file substrate/zeugma/BaseNotifyingType.h
/// The base of a notifying object that can take over the attributes of another object of its class. The status objects of route maps and
/// of their sequences derive from it.
#pragma once

#include "routepolicy_export.h"
#include "substrate/quoin/NotifyingNode.h"

namespace Zeugma {

/// A notifying object with clone().
class ROUTEPOLICY_API BaseNotifyingType : public Quoin::NotifyingNode {
 public:
   ~BaseNotifyingType() override;

   /// Copies the attributes of `source`, an object of the same class, and publishes each real change. Attributes that are fixed at
   /// construction do not change.
   virtual void clone( const BaseNotifyingType & source ) = 0;
};

}   // namespace Zeugma
