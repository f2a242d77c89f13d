/// @file examples/asio_loop/AsioLoop.h
/// Runs the library's tasks and timed calls from a Boost.Asio loop, among the agent's own events.
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

/// Nothing runs while there is nothing to do: the scheduler and the clock wake the loop. What a task or a timed call throws comes out of
/// the loop's run(), which can be called again. The io_context outlives this.
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
   // A turn of tasks is short, and the next one stands behind what has come in meanwhile.
   static constexpr std::chrono::milliseconds kTurn{ 5 };

   // Runs `work` in the loop, unless this has gone by then, and `again` behind it, also if it throws.
   template <class Work, class Again>
   auto inLoop( Work work, Again again ) {
      return [ here = std::weak_ptr<AsioLoop *>( here_ ), work, again ]( const boost::system::error_code & error = {} ) {
         auto self = here.lock();
         if( !self || error ) return;   // with an error, another wait has taken this one's place
         AsioLoop & loop = **self;
         self.reset();   // the work may end the loop
         struct Behind {
            std::weak_ptr<AsioLoop *> here;
            Again again;
            ~Behind() {
               if( const auto self = here.lock() ) again( **self );
            }
         } behind{ here, again };
         work( loop );
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
      // A wait that is over early is only taken up again.
      timer_.expires_after( std::chrono::ceil<std::chrono::microseconds>( std::min( wait, Plinth::Clock::Seconds( 3600 ) ) ) );
      timer_.async_wait( inLoop( []( AsioLoop & loop ) { loop.clock_->callDue(); }, []( AsioLoop & loop ) { loop.waitForCall(); } ) );
   }

   boost::asio::io_context & io_;
   boost::asio::steady_timer timer_;
   Quoin::Ptr<Zeugma::TaskScheduler> scheduler_;
   Quoin::Ptr<Plinth::Clock> clock_;
   std::shared_ptr<AsioLoop *> here_ = std::make_shared<AsioLoop *>( this );   // for what is still in the loop when this goes
};
