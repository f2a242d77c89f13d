/// @file substrate/plinth/Subscription.h
/// Calls a function for each change of one object, as long as the Subscription and the object exist.
/// It stands between an object and code that has no reactor class of its own, such as an agent's main function or a test.
///
///    const Plinth::Subscription published( *symbol->notifier(), [ & ]( const Quoin::Change & ) { task.scheduleTask(); } );
///
/// Ownership: owns the function, and does not hold the object: the calls end when the object is destroyed.
/// Threading: the activity thread. The function runs inside the write, and is re-entrant like Quoin::Subscriber::onChange().
/// Invariant: a call in progress keeps the function alive until it returns, even if this call destroys the subscription.
#pragma once

#include <functional>

#include "routepolicy_export.h"
#include "substrate/quoin/Ptr.h"
#include "substrate/quoin/Publisher.h"

namespace Plinth {

/// A Subscription can be neither copied nor moved, because the object keeps its address. To replace a subscription, keep it in a
/// std::optional.
class ROUTEPOLICY_API Subscription final : private Quoin::Subscriber {
 public:
   using Function = std::function<void( const Quoin::Change & change )>;
   /// Subscribes; delivery is on from the start. An object that publishes nothing causes no call.
   /// Errors: std::bad_function_call on an empty function.
   Subscription( const Quoin::Node & object, Function function );
   ~Subscription() override;

   /// False after the object was destroyed, and for an object that publishes nothing.
   using Subscriber::subscribed;

 private:
   struct Call;
   void onChange( const Quoin::Change & change ) override;
   Quoin::Ptr<const Call> call_;
};

}   // namespace Plinth
