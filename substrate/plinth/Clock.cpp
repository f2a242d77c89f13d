#include "substrate/plinth/Clock.h"

#include <algorithm>

#include "substrate/plinth/Exception.h"
#include "substrate/quoin/Assert.h"

namespace Plinth {

Clock::~Clock() = default;
RealClock::~RealClock() = default;
ManualClock::~ManualClock() = default;

Clock::Seconds RealClock::now() const {
   return std::chrono::steady_clock::now().time_since_epoch();
}

Clock::Seconds Clock::untilNextCall() const {
   return calls_.empty() ? kNever : std::max( nextCall() - now(), Seconds( 0 ) );
}

void Clock::wakeUpIfSoonerThan( Seconds before ) {
   if( nextCall() < before && wakeUp_ ) Quoin::whole( "a wake-up", wakeUp_ );
}

size_t Clock::callDue() {
   const Quoin::Ptr<Clock> self( this );   // a call may drop the last other handle
   const Seconds time = now();
   const uint64_t turn = ++turn_;
   size_t called = 0;
   // A call that is requested during this turn is due at `time` or later, so it sorts after all calls of this turn.
   while( nextCall() <= time && !calls_.empty() && calls_.begin()->second->enteredIn_ < turn ) {
      NotifieeConst & notifiee = *calls_.begin()->second;
      notifiee.leave();
      notifiee.due_ = kNever;
      ++called;
      Quoin::whole( "a timed call", [ & ] { notifiee.handleTime(); } );   // the call may destroy the notifiee
   }
   return called;
}

Clock::NotifieeConst::NotifieeConst( Quoin::Ptr<Clock> clock ) : clock_( std::move( clock ) ) {
   if( !clock_ ) throwMutatorArgNullPointerException( "Clock::NotifieeConst" );
   Calls made;
   unused_ = made.extract( made.emplace( kNever, this ) );
}

Clock::NotifieeConst::~NotifieeConst() {
   leave();
}

void Clock::NotifieeConst::timeMinIs( Seconds fromNow ) {
   const Seconds before = clock_->nextCall();
   leave();
   if( !( fromNow > Seconds( 0 ) ) ) fromNow = Seconds( 0 );   // also for NaN
   due_ = fromNow == kNever ? kNever : clock_->now() + fromNow;
   if( registered_ ) enter();
   clock_->wakeUpIfSoonerThan( before );
}

void Clock::NotifieeConst::isRegisteredNotifieeIs( bool registered ) {
   if( registered == registered_ ) return;
   registered_ = registered;
   const Seconds before = clock_->nextCall();
   if( registered )
      enter();
   else
      leave();
   clock_->wakeUpIfSoonerThan( before );
}

void Clock::NotifieeConst::enter() {
   if( due_ == kNever ) return;
   unused_.key() = std::max( due_, clock_->now() );
   entry_ = clock_->calls_.insert( std::move( unused_ ) );
   enteredIn_ = clock_->turn_;
   entered_ = true;
}

void Clock::NotifieeConst::leave() noexcept {
   if( !entered_ ) return;
   unused_ = clock_->calls_.extract( entry_ );
   entered_ = false;
}

}   // namespace Plinth
