/// @file substrate/plinth/NotifieeConst.h
/// The base of a reactor: watches one object and gets a call for each of its changes, inside the write.
/// Ownership: holds what it watches. Threading: the activity thread.
/// Invariant: while notification is off nothing is delivered; that something was missed behind notifierIs() is remembered.
#pragma once

#include <utility>

#include "routepolicy_export.h"
#include "substrate/quoin/Ptr.h"
#include "substrate/quoin/Publisher.h"

namespace Plinth {

/// The key of a change, of the type that the field's collection has.
template <class K>
const K & keyOf( const Quoin::Change & change ) noexcept {
   return *static_cast<const K *>( change.key );
}

class ROUTEPOLICY_API NotifieeConst : public Quoin::Node, private Quoin::Subscriber {
 public:
   NotifieeConst() = default;
   ~NotifieeConst() override;
   /// Turns delivery off, since a ReleaseScope may keep the reactor a while, and calls onZeroReferences().
   void lastUserGone() const override;

   /// What is watched; null for nothing.
   const Quoin::Ptr<const Quoin::Node> & notifier() const noexcept { return notifier_; }
   /// Leaves the object watched so far and subscribes to this one. One that tells of nothing may be watched too.
   void notifierIs( Quoin::Ptr<const Quoin::Node> notifier );

   bool hasNotificationActive() const noexcept { return active_; }
   /// Turns delivery on or off; a new reactor has it off. Turning it off leaves the object's list as well.
   void hasNotificationActiveIs( bool active );

   /// Whether the object changed after it was subscribed to and before delivery was turned on. Reading it forgets it.
   bool changeMissed() noexcept { return std::exchange( missed_, false ); }

 protected:
   /// One change. It may do what Quoin::Subscriber::onChange() may.
   virtual void handleChange( const Quoin::Change & change ) = 0;
   /// The last use has gone; the reactor is whole.
   virtual void onZeroReferences() {}

 private:
   void onChange( const Quoin::Change & change ) final;
   void subscribe();

   Quoin::Ptr<const Quoin::Node> notifier_;
   bool active_ = false;
   bool missed_ = false;
};

}   // namespace Plinth
