#include "live/LivePolicy.h"

#include <algorithm>
#include <thread>
#include <utility>

#include "dialect/FrrRules.h"
#include "live/ListsInForce.h"
#include "live/RouteMapsInForce.h"
#include "substrate/lists/RetiredPrefixRows.h"
#include "substrate/quoin/Assert.h"
#include "text/LineEdits.h"
#include "text/SetForms.h"

namespace Agent {

using Plinth::Clock;
using Quoin::makeNode;
using Quoin::Ptr;
using Routing::RouteMap::RetiredPrefixRows;
using namespace Routing::Policy;

class LivePolicy::Impl {
 public:
   Impl( Dialect dialect, Assumptions assumptions ) : dialect_( dialect ), assumptions_( std::move( assumptions ) ) {
      text_.dialect = dialect;
   }

   ApplyReport apply( PolicyText text ) {
      QUOIN_ASSERT( text.dialect == dialect_, "a policy in the dialect of the policy in force" );
      return publish( [ & ] { return applyText( {}, std::move( text ) ); } );
   }

   ApplyReport applyEdit( TextEdit edit ) {
      return publish( [ & ] {
         const size_t edits = lists_.apply( edit );
         if( edit.read ) {
            PolicyText lists = takeEdited( edit, text_ );
            return edits + applyText( std::move( lists ), std::move( *edit.read ) );
         }
         const bool areSame = dialect_ == Dialect::native || !changesSteps( edit );
         Agent::apply( std::move( edit ), text_ );
         return edits + ( areSame ? 0 : applyRules() );
      } );
   }

   const PolicyText & text() const noexcept { return text_; }
   Ptr<PolicyRoot> root() const noexcept { return root_; }
   Ptr<const RouteMapStatus> routeMap( const std::string & name ) const { return routeMaps_.status( name ); }
   std::vector<std::string> verify() const { return routeMaps_.verify(); }

 private:
   // Nothing is published before all edits are written and the access lists are compiled, so that each route map is published once.
   template <class Write>
   ApplyReport publish( Write write ) {
      const auto start = std::chrono::steady_clock::now();
      ApplyReport report;
      {
         const auto edit = routeMaps_.editScope();
         report.edits = write();
         runClock();
      }
      scheduler_->runUntilIdle();
      report.republished = routeMaps_.republished();
      runClock();                               // frees the large lists that were released
      while( !RetiredPrefixRows::letGo() ) {}   // with what lists in use need no more; no route waits here
      report.took = std::chrono::steady_clock::now() - start;
      return report;
   }

   // `lists` are in force already, and in neither text.
   size_t applyText( PolicyText lists, PolicyText text ) {
      const size_t edits = lists_.apply( text_, text );
      std::swap( text_, text );
      putLists( std::move( lists ), text_ );
      return edits + ( dialect_ == Dialect::native ? routeMaps_.apply( text.routeMaps, text_.routeMaps ) : applyRules() );
   }

   // Steps tell places, and have copies of the lists that their set clauses name; route maps have not changed in any other way.
   bool changesSteps( const TextEdit & edit ) const {
      const bool mayBeCopied =
         !( edit.communityLists.empty() && edit.largeCommunityLists.empty() && edit.extCommunityLists.empty() && edit.asPathLists.empty() );
      return !edit.moves.empty() ||
         ( mayBeCopied && std::ranges::any_of( rules_.steps, []( const auto & step ) {
              return std::ranges::any_of( step.second.set, []( const SetClause & clause ) { return thingNamedBy( clause ).has_value(); } );
           } ) );
   }

   size_t applyRules() {
      CompiledRules rules = compileFrrRules( text_, assumptions_, rules_ );
      std::swap( rules_, rules );
      const size_t edits = lists_.applySteps( rules.steps, rules_.steps );
      return edits + routeMaps_.apply( rules.routeMaps, rules_.routeMaps );
   }

   void runClock() {
      for( auto wait = clock_->untilNextCall(); wait != Clock::kNever; wait = clock_->untilNextCall() ) {
         if( wait > Clock::Seconds( 0 ) ) std::this_thread::sleep_for( wait );
         clock_->callDue();
      }
   }

   const Dialect dialect_;
   const Assumptions assumptions_;   // of the dialect of FRR
   PolicyText text_;
   CompiledRules rules_;   // of the dialect of FRR
   const Ptr<Clock> clock_ = makeNode<Plinth::RealClock>();
   const Ptr<Zeugma::TaskScheduler> scheduler_ = makeNode<Zeugma::TaskScheduler>();
   const Ptr<AgentRoot> root_ = makeNode<AgentRoot>();
   ListsInForce lists_{ root_, clock_, dialect_ };
   RouteMapsInForce routeMaps_{ root_, scheduler_, dialect_ };
};

LivePolicy::LivePolicy( Dialect dialect, Assumptions assumptions ) : impl_( std::make_unique<Impl>( dialect, std::move( assumptions ) ) ) {}
LivePolicy::~LivePolicy() = default;

ApplyReport LivePolicy::apply( PolicyText text ) {
   return impl_->apply( std::move( text ) );
}

ApplyReport LivePolicy::applyEdit( TextEdit edit ) {
   return impl_->applyEdit( std::move( edit ) );
}

const PolicyText & LivePolicy::text() const noexcept {
   return impl_->text();
}

Ptr<const RouteMapStatus> LivePolicy::routeMap( const std::string & name ) const {
   return impl_->routeMap( name );
}

std::vector<std::string> LivePolicy::verify() const {
   return impl_->verify();
}

Ptr<PolicyRoot> LivePolicy::root() const noexcept {
   return impl_->root();
}

}   // namespace Agent
