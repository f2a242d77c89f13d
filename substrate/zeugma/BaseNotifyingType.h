/// @file substrate/zeugma/BaseNotifyingType.h
/// The base of a value object that tells of its changes.
#pragma once

#include "routepolicy_export.h"
#include "substrate/quoin/NotifyingNode.h"

namespace Zeugma {

class ROUTEPOLICY_API BaseNotifyingType : public Quoin::NotifyingNode {
 public:
   ~BaseNotifyingType() override;

   /// Takes the attributes of `source`, an object of the same class, publishing as for a write of each. What is fixed at
   /// construction stays.
   virtual void clone( const BaseNotifyingType & source ) = 0;
};

}   // namespace Zeugma
