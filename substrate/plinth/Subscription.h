/// @file substrate/plinth/Subscription.h
/// Calls a function for each change of one object, for as long as the subscription lives.
/// It stands between an object and code that has no reactor class of its own, such as an agent's main function or a test.
///
///    const Plinth::Subscription published( *symbol->notifier(), [ & ]( const Quoin::Change & ) { task.scheduleTask(); } );
///
/// Ownership: owns the function, and does not hold the object: when the object goes, the calls end.
/// Threading: the activity thread. The function runs inside the write, and may do what Quoin::Subscriber::onChange() may.
/// Invariant: a call that has begun keeps the function whole to its end, also when that very call destroys the subscription.
#pragma once

#include <functional>

#include "routepolicy_export.h"
#include "substrate/quoin/Ptr.h"
#include "substrate/quoin/Publisher.h"

namespace Plinth {

/// Neither copied nor moved, since the object knows its address; one that is to be replaced stands in a std::optional.
class ROUTEPOLICY_API Subscription final : private Quoin::Subscriber {
 public:
   using Function = std::function<void( const Quoin::Change & change )>;
   /// Subscribes, and delivery is on. An object that publishes nothing causes no call.
   /// Errors: std::bad_function_call on an empty function.
   Subscription( const Quoin::Node & object, Function function );
   ~Subscription() override;

   /// False once the object has gone, and for one that publishes nothing.
   using Subscriber::subscribed;

 private:
   struct Call;
   void onChange( const Quoin::Change & change ) override;
   Quoin::Ptr<const Call> call_;
};

}   // namespace Plinth
