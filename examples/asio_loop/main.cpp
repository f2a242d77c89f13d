// A small agent on a Boost.Asio loop. When a prefix list changes, a task matches a table of routes again, in short turns that do not block
// the loop.
#include <cstdint>
#include <functional>
#include <iostream>
#include <utility>
#include <vector>

#include "AsioLoop.h"
#include "compile/PolicyRoot.h"
#include "policy/PrefixListMatcher.h"
#include "substrate/plinth/Subscription.h"
#include "substrate/routemap/PrefixListProducer.h"

namespace {

using Routing::RouteMap::PrefixListEntry;
using Routing::RouteMap::PrefixListProducer;
using Routing::RouteMap::PrefixListSymbol;

/// Counts the routes that a prefix list permits. A change of the list restarts the count.
class RouteCounter final {
 public:
   RouteCounter( const Quoin::Ptr<const PrefixListSymbol> & list, const Quoin::Ptr<Zeugma::TaskScheduler> & scheduler,
                 std::function<void()> handleCounted )
         : list_( list ),
           task_( scheduler, Zeugma::TaskPriority::normal, "RouteCounter", [ this ] { handleTask(); } ),
           handleCounted_( std::move( handleCounted ) ) {
      for( uint32_t i = 0; i < 200'000; ++i )
         routes_.emplace_back( Ferule::IpGenAddr( Ferule::IpAddr( 10u << 24 | i << 6 ) ), uint8_t( 26 ) );
   }

 private:
   // Runs in the loop.
   void handleTask() {
      const Routing::Policy::PrefixListMatcher matcher( list_->name(), list_->status() );
      while( next_ < routes_.size() ) {
         permitted_ += matcher.matchPrefix( routes_[ next_++ ] ).result == Routing::Policy::PrefixListMatchResult::permit;
         if( next_ % 1024 == 0 && task_.taskShouldYield() ) {
            task_.taskWorkPendingIs( routes_.size() - next_ );
            return task_.scheduleTask();
         }
      }
      task_.taskWorkCountInc( routes_.size() );
      task_.taskWorkPendingIs( 0 );
      std::cout << "version " << list_->notifier()->version() << " of " << list_->name() << ": " << permitted_ << " of " << routes_.size()
                << " routes are permitted\n";
      handleCounted_();
   }

   Quoin::Ptr<const PrefixListSymbol> list_;
   Zeugma::Task task_;
   std::function<void()> handleCounted_;
   std::vector<Ferule::IpGenPrefix> routes_;
   size_t next_ = 0;
   size_t permitted_ = 0;
   // Runs inside the write, so it only resets the count and schedules the task.
   Plinth::Subscription published_{ *list_->notifier(), [ this ]( const Quoin::Change & ) {
                                      next_ = permitted_ = 0;
                                      task_.scheduleTask();
                                   } };
};

/// The operator: enters the next line shortly after a count has ended.
class Operator final : private Plinth::Clock::NotifieeConst {
 public:
   Operator( const Quoin::Ptr<Plinth::Clock> & clock, PrefixListProducer & list ) : NotifieeConst( clock ), list_( list ) {}
   void handleCounted() {
      if( next_ < std::size( kLines ) ) timeMinIs( std::chrono::milliseconds( 20 ) );
   }

 private:
   struct Line {
      Acl::MatchPermit action;
      const char * prefix;
      uint32_t le;
   };
   static constexpr Line kLines[] = { { Acl::MatchPermit::permit, "10.0.0.0/16", 32 },
                                      { Acl::MatchPermit::deny, "10.1.0.0/17", 32 },
                                      { Acl::MatchPermit::permit, "10.1.0.0/16", 32 },
                                      { Acl::MatchPermit::permit, "10.64.0.0/10", 26 } };

   void handleTime() override {
      const Line & line = kLines[ next_++ ];
      const PrefixListEntry entry{ 10 * uint32_t( next_ ), line.action, Ferule::IpGenPrefix( line.prefix ), std::nullopt, line.le };
      std::cout << "entering " << entry.toStrep() << '\n';
      if( const auto error = list_.entryIs( entry ) ) std::cout << error->toStrep() << '\n';
      list_.publish();
   }

   PrefixListProducer & list_;
   size_t next_ = 0;
};

}   // namespace

int main() {
   boost::asio::io_context io;
   const auto scheduler = Quoin::makeNode<Zeugma::TaskScheduler>();
   const auto clock = Quoin::makeNode<Plinth::RealClock>();
   const AsioLoop loop( io, scheduler, clock );

   const auto root = Quoin::makeNode<Routing::Policy::PolicyRoot>();
   PrefixListProducer list( root->ipv4PrefixListTable(), "CUSTOMERS", Ferule::AddressFamily::ipv4 );
   Operator user( clock, list );
   RouteCounter counter( list.symbol(), scheduler, [ & ] { user.handleCounted(); } );

   list.publish();   // empty at first
   io.run();         // returns when no work is pending
}
