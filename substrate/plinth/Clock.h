/// @file substrate/plinth/Clock.h
/// Timed calls, on the system's time or on one that is moved by hand.
/// Ownership: a notifiee holds its clock; the clock knows those that are registered. Threading: the activity thread.
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

class ROUTEPOLICY_API Clock : public Quoin::Node {
 public:
   using Seconds = std::chrono::duration<double>;
   static constexpr Seconds kNever{ std::numeric_limits<double>::infinity() };

   class NotifieeConst;
   ~Clock() override;

   /// Time since some moment that stays the same for this clock; never goes back.
   virtual Seconds now() const = 0;

   /// How long until a call is due: 0 if one is already, kNever if none will be. For the agent's loop.
   Seconds untilNextCall() const;
   /// Makes the calls that are due, in the order of their time. Those that they ask for wait for the next turn, also the ones
   /// that are due at once. Gives how many there were.
   size_t callDue();
   /// Runs whenever the next call comes to be due sooner than before: the agent's loop sleeps for too long then. It only wakes: it must
   /// not make the calls there and then, nor replace itself.
   void wakeUpCallbackIs( std::function<void()> callback ) { wakeUp_ = std::move( callback ); }

 private:
   using Calls = std::multimap<Seconds, NotifieeConst *>;
   Seconds nextCall() const { return calls_.empty() ? kNever : calls_.begin()->first; }
   void wakeUpIfSoonerThan( Seconds before );
   Calls calls_;
   uint64_t turn_ = 0;   // counts callDue()
   std::function<void()> wakeUp_;
};

/// Gets calls from a clock.
class ROUTEPOLICY_API Clock::NotifieeConst {
 public:
   /// Errors: MutatorArgNullPointerException on null.
   explicit NotifieeConst( Quoin::Ptr<Clock> clock );
   virtual ~NotifieeConst();
   NotifieeConst( const NotifieeConst & ) = delete;
   NotifieeConst & operator=( const NotifieeConst & ) = delete;

   const Quoin::Ptr<Clock> & clock() const noexcept { return clock_; }
   /// Asks for one call, this long from now: 0 is the next turn, kNever calls off. It takes the place of the one asked for before.
   void timeMinIs( Seconds fromNow );
   /// Calls come only while this is on, as it is at first. What fell due meanwhile comes when it is turned on.
   void isRegisteredNotifieeIs( bool registered );
   bool isRegisteredNotifiee() const noexcept { return registered_; }

 protected:
   virtual void handleTime() = 0;

 private:
   friend class Clock;
   void enter();
   void leave() noexcept;

   Quoin::Ptr<Clock> clock_;
   Seconds due_ = kNever;
   Calls::node_type unused_;   // the entry while it is not in the clock: asking for a call allocates nothing
   Calls::iterator entry_;
   uint64_t enteredIn_ = 0;   // the turn
   bool entered_ = false;
   bool registered_ = true;
};

/// The system's monotonic time.
class ROUTEPOLICY_API RealClock final : public Clock {
 public:
   ~RealClock() override;
   Seconds now() const override;
};

/// Stands still until it is moved.
class ROUTEPOLICY_API ManualClock final : public Clock {
 public:
   ~ManualClock() override;
   Seconds now() const override { return now_; }
   /// Moves on without a call; never back.
   void advance( Seconds by ) noexcept {
      if( by > Seconds( 0 ) ) now_ += by;
   }

 private:
   Seconds now_{ 0 };
};

}   // namespace Plinth
