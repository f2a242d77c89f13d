/// @file substrate/plinth/Clock.h
/// A clock calls its notifiees when their time comes. RealClock follows the system's time; tests move a ManualClock by hand. The agent's
/// loop drives the clock.
/// Ownership: a notifiee holds its clock; the clock does not own its notifiees. Threading: the activity thread.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <limits>
#include <map>
#include <utility>

#include "routepolicy_export.h"
#include "substrate/quoin/Ptr.h"

namespace Plinth {

/// The time, and the list of pending calls in the order of their time.
class ROUTEPOLICY_API Clock : public Quoin::Node {
 public:
   using Seconds = std::chrono::duration<double>;
   /// The time of a call that is never due.
   static constexpr Seconds kNever{ std::numeric_limits<double>::infinity() };

   class NotifieeConst;
   ~Clock() override;

   /// Time since a moment that is fixed for this clock. Never goes back. Unit: seconds.
   virtual Seconds now() const = 0;

   /// The time until the next call is due: 0 if a call is due now, kNever if no call is pending. For the agent's loop.
   Seconds untilNextCall() const;
   /// Makes the calls that are due, in the order of their time, and returns their number. A call that is requested meanwhile waits for
   /// the next turn, even if it is due at once.
   size_t callDue();
   /// Sets a callback that runs whenever the next call becomes due sooner than before, because the agent's loop would sleep too long.
   /// The callback only wakes the loop: it must not make the calls itself, and must not replace itself.
   void wakeUpCallbackIs( std::function<void()> callback ) { wakeUp_ = std::move( callback ); }

 private:
   using Calls = std::multimap<Seconds, NotifieeConst *>;
   Seconds nextCall() const { return calls_.empty() ? kNever : calls_.begin()->first; }
   void wakeUpIfSoonerThan( Seconds before );
   Calls calls_;
   uint64_t turn_ = 0;   // counts the calls of callDue()
   std::function<void()> wakeUp_;
};

/// Is called by a clock. A derived class does its timed work in handleTime().
class ROUTEPOLICY_API Clock::NotifieeConst {
 public:
   /// Errors: MutatorArgNullPointerException on null.
   explicit NotifieeConst( Quoin::Ptr<Clock> clock );
   virtual ~NotifieeConst();
   NotifieeConst( const NotifieeConst & ) = delete;
   NotifieeConst & operator=( const NotifieeConst & ) = delete;

   const Quoin::Ptr<Clock> & clock() const noexcept { return clock_; }
   /// Requests one call, this long from now. 0 means the next turn; kNever cancels the request. It replaces the previous request.
   void timeMinIs( Seconds fromNow );
   /// Turns calls on or off; initially on. A call that falls due while they are off is made after they are turned on again.
   void isRegisteredNotifieeIs( bool registered );
   bool isRegisteredNotifiee() const noexcept { return registered_; }

 protected:
   /// The requested time has come.
   virtual void handleTime() = 0;

 private:
   friend class Clock;
   void enter();
   void leave() noexcept;

   Quoin::Ptr<Clock> clock_;
   Seconds due_ = kNever;
   Calls::node_type unused_;   // the entry while it is not in the clock, so that a request allocates nothing
   Calls::iterator entry_;
   uint64_t enteredIn_ = 0;   // the turn in which it was entered
   bool entered_ = false;
   bool registered_ = true;
};

/// The system's monotonic time.
class ROUTEPOLICY_API RealClock final : public Clock {
 public:
   ~RealClock() override;
   Seconds now() const override;
};

/// A clock for tests: its time stands still until advance() moves it.
class ROUTEPOLICY_API ManualClock final : public Clock {
 public:
   ~ManualClock() override;
   Seconds now() const override { return now_; }
   /// Moves the time forward; a negative or zero `by` does nothing. Makes no calls: callDue() does.
   void advance( Seconds by ) noexcept {
      if( by > Seconds( 0 ) ) now_ += by;
   }

 private:
   Seconds now_{ 0 };
};

}   // namespace Plinth
