/// @file examples/asio_loop/AsioLoop.h
/// Runs the tasks and timed calls of the library in a Boost.Asio loop, between the events of the agent. The scheduler and the clock wake
/// the loop.
#pragma once

#include <algorithm>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <memory>
#include <utility>

#include "substrate/plinth/Clock.h"
#include "substrate/zeugma/Task.h"

/// Connects a scheduler and a clock to an io_context. While no work is pending, nothing runs.
/// Ownership: shares the scheduler and the clock; the io_context outlives this object. Threading: the thread of the loop.
class AsioLoop {
 public:
   AsioLoop( boost::asio::io_context & io, Quoin::Ptr<Zeugma::TaskScheduler> scheduler, Quoin::Ptr<Plinth::Clock> clock )
         : io_( io ), timer_( io ), scheduler_( std::move( scheduler ) ), clock_( std::move( clock ) ) {
      scheduler_->wakeUpCallbackIs( [ this ] { postTasks(); } );
      clock_->wakeUpCallbackIs( [ this ] { waitForCall(); } );
      if( !scheduler_->idle() ) postTasks();
      waitForCall();
   }
   ~AsioLoop() {
      scheduler_->wakeUpCallbackIs( nullptr );
      clock_->wakeUpCallbackIs( nullptr );
   }
   AsioLoop( const AsioLoop & ) = delete;
   AsioLoop & operator=( const AsioLoop & ) = delete;

 private:
   // The length of a turn of tasks. Events of the agent that arrive during a turn run before the next turn.
   static constexpr std::chrono::milliseconds kTurn{ 5 };

   // A handler that runs `work` and then `again`. It does nothing if this object was destroyed before.
   template <class Work, class Again>
   auto inLoop( Work work, Again again ) {
      return [ here = std::weak_ptr<AsioLoop *>( here_ ), work, again ]( const boost::system::error_code & error = {} ) {
         auto self = here.lock();
         if( !self || error ) return;   // an error means that another wait has replaced this one
         AsioLoop & loop = **self;
         self.reset();
         work( loop );   // may destroy the AsioLoop
         if( const auto still = here.lock() ) again( **still );
      };
   }

   void postTasks() {
      boost::asio::post( io_,
                         inLoop( []( AsioLoop & loop ) { loop.scheduler_->runFor( kTurn ); },
                                 []( AsioLoop & loop ) {
                                    if( !loop.scheduler_->idle() ) loop.postTasks();
                                 } ) );
   }

   void waitForCall() {
      const auto wait = clock_->untilNextCall();
      if( wait == Plinth::Clock::kNever ) return;
      // A wait that ends early only starts again.
      timer_.expires_after( std::chrono::ceil<std::chrono::microseconds>( std::min( wait, Plinth::Clock::Seconds( 3600 ) ) ) );
      timer_.async_wait( inLoop( []( AsioLoop & loop ) { loop.clock_->callDue(); }, []( AsioLoop & loop ) { loop.waitForCall(); } ) );
   }

   boost::asio::io_context & io_;
   boost::asio::steady_timer timer_;
   Quoin::Ptr<Zeugma::TaskScheduler> scheduler_;
   Quoin::Ptr<Plinth::Clock> clock_;
   std::shared_ptr<AsioLoop *> here_ = std::make_shared<AsioLoop *>( this );   // tells handlers in the loop whether this object exists
};
