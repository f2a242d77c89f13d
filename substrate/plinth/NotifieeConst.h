/// @file substrate/plinth/NotifieeConst.h
/// The base of a reactor: it watches one object and is called for each change of the object, inside the write. It stands between the
/// object's publisher and the state machine that reacts.
/// Ownership: holds the watched object. Threading: the activity thread.
/// Invariant: while notification is off, no change is delivered. A new reactor only remembers that it missed a change; see changeMissed().
#pragma once

#include <utility>

#include "routepolicy_export.h"
#include "substrate/quoin/Ptr.h"
#include "substrate/quoin/Publisher.h"

namespace Plinth {

/// The key of a change. `K` must be the key type of the changed collection.
template <class K>
const K & keyOf( const Quoin::Change & change ) noexcept {
   return *static_cast<const K *>( change.key );
}

/// Watches one object through a const handle. It is a member of its owner; NotifieeConst is a Watch that is also a node.
class ROUTEPOLICY_API Watch : private Quoin::Subscriber {
 public:
   /// The watched object, or null.
   const Quoin::Ptr<const Quoin::Node> & notifier() const noexcept { return notifier_; }
   /// Stops watching the previous object and subscribes to this one. An object that publishes nothing is allowed.
   void notifierIs( Quoin::Ptr<const Quoin::Node> notifier );

   bool hasNotificationActive() const noexcept { return active_; }
   /// Turns delivery on or off; initially off. Turning it off also ends the subscription.
   void hasNotificationActiveIs( bool active );

   /// Whether the object changed between notifierIs() and the moment when delivery was turned on. Reading resets it to false.
   bool changeMissed() noexcept { return std::exchange( missed_, false ); }

 protected:
   Watch() = default;
   ~Watch() override;
   /// Reacts to one change. It is re-entrant, as Quoin::Subscriber::onChange().
   virtual void handleChange( const Quoin::Change & change ) = 0;

 private:
   void onChange( const Quoin::Change & change ) final;
   void subscribe();

   bool active_ = false;   // both flags fit into the padding of the base class
   bool missed_ = false;
   Quoin::Ptr<const Quoin::Node> notifier_;
};

/// A reactor with owners of its own.
class ROUTEPOLICY_API NotifieeConst : public Quoin::Node, public Watch {
 public:
   NotifieeConst() = default;
   ~NotifieeConst() override;
   /// Turns delivery off, since a ReleaseScope may keep the reactor a while, and calls onZeroReferences().
   void lastUserGone() const override;

 protected:
   /// Called when the last use of the reactor is dropped; the reactor is still complete.
   virtual void onZeroReferences() {}
};

}   // namespace Plinth
