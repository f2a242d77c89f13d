/// @file substrate/quoin/SealedPublisher.h
/// The publisher of an object that may be sealed: each published change is a change of the object.
#pragma once

#include "substrate/quoin/Publisher.h"
#include "substrate/quoin/Seal.h"

namespace Quoin {

/// A publisher with a seal. The attribute macros of Plinth publish through it as through any other.
class ROUTEPOLICY_API SealedPublisher : public Publisher {
 public:
   const Seal & seal() const noexcept { return seal_; }
   void publishChange( FieldId field ) noexcept {
      seal_.changed();
      Publisher::publishChange( field );
   }
   void publishChangeRecursive( FieldId field, const void * key, const void * oldValue, KeyIsEq keyIsEq ) noexcept {
      seal_.changed();
      Publisher::publishChangeRecursive( field, key, oldValue, keyIsEq );
   }

 private:
   Seal seal_;
};

}   // namespace Quoin
