/// @file substrate/zeugma/BaseNotifyingType.h
/// The base of a notifying object that can take over the attributes of another object of its class. The status objects of route maps and
/// of their sequences derive from it.
#pragma once

#include "routepolicy_export.h"
#include "substrate/quoin/Node.h"
#include "substrate/quoin/SealedPublisher.h"

namespace Zeugma {

/// A notifying object with clone().
class ROUTEPOLICY_API BaseNotifyingType : public Quoin::Node {
 public:
   ~BaseNotifyingType() override;
   Quoin::Publisher * publisher() const noexcept override;
   /// Whoever has computed something from the attributes closes it.
   const Quoin::Seal & seal() const noexcept { return publisher_.seal(); }

   /// Copies the attributes of `source`, an object of the same class, and publishes each real change. Attributes that are fixed at
   /// construction do not change.
   virtual void clone( const BaseNotifyingType & source ) = 0;

 protected:
   /// The attribute macros of Plinth publish through it. Mutable: subscribing does not change the object's value.
   mutable Quoin::SealedPublisher publisher_;
};

}   // namespace Zeugma
