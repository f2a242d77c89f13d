/// @file substrate/routemap/ListPublication.h
/// The publication of one list: how a producer of compiled lists hands a new status to the users of a symbol. PrefixListProducer and
/// TagSetProducer are built on it.
#pragma once

#include <utility>

#include "substrate/routemap/ListSymbol.h"

namespace Routing::RouteMap {

/// The producer's side of a list symbol: it notifies the subscribers of the symbol that a change is in progress, and that it is published.
/// A name has one producer at a time; a new producer may be created before the old one is destroyed.
/// Ownership: holds the symbol. When the publication is destroyed, the list becomes undefined, unless a new producer has defined it
/// meanwhile.
/// Threading: the activity thread; evaluation may continue to read published statuses on other threads.
template <class Status>
class ListPublication {
 public:
   using Symbol = ListSymbol<Status>;
   explicit ListPublication( Quoin::Ptr<Symbol> symbol ) : state_( Quoin::makeNode<State>( std::move( symbol ) ) ) {}
   ~ListPublication() {
      state_->gone = true;
      const auto symbol = state_->symbol;
      const auto isMine = [ & ] { return state_->status && symbol->status() == state_->status; };
      if( isMine() )
         symbol->statusCurrentIs( false );
      else if( !state_->underWay )
         return;
      const bool undefines = isMine();   // the notification may have created a new producer
      if( undefines ) symbol->statusIs( nullptr );
      symbol->statusCurrentIs( true );
      if( const auto notifier = symbol->notifier(); notifier && undefines ) notifier->versionInc( 1 );
   }
   ListPublication( const ListPublication & ) = delete;
   ListPublication & operator=( const ListPublication & ) = delete;

   const Quoin::Ptr<Symbol> & symbol() const noexcept { return state_->symbol; }
   /// Whether a change has begun and is not published yet.
   bool underWay() const noexcept { return state_->underWay; }

   /// Begins a change. Until publish(), the published status does not agree with the configuration.
   void begin() {
      ++state_->changes;
      state_->underWay = true;
      const auto symbol = state_->symbol;
      symbol->statusCurrentIs( false );
   }
   /// Completes the change: publishes the status that `build()` returns. The subscribers are notified once, by the version of the symbol's
   /// notifier. If a subscriber begins or publishes another change meanwhile, only that other change raises the version.
   template <class Build>
   void publish( Build && build ) {
      const auto state = state_;   // a subscriber may drop the producer
      begin();
      if( !state->gone ) State::land( state, build() );
   }

 private:
   struct State final : Quoin::Node {
      explicit State( Quoin::Ptr<Symbol> s ) : symbol( std::move( s ) ) {}
      static void land( const Quoin::Ptr<State> & held, Quoin::Ptr<const Status> status ) {
         const auto state = held;
         const auto change = ++state->changes;
         state->status = status;
         state->symbol->statusCurrentIs( false );
         if( state->changes != change ) return;
         state->symbol->statusIs( std::move( status ) );
         if( state->changes != change ) return;
         state->symbol->statusCurrentIs( true );
         if( state->changes != change ) return;
         state->underWay = false;
         if( const auto notifier = state->symbol->notifier() ) notifier->versionInc( 1 );
      }
      const Quoin::Ptr<Symbol> symbol;
      Quoin::Ptr<const Status> status;   // the last status of this producer
      uint64_t changes = 0;              // counts begin() and land()
      bool underWay = false;
      bool gone = false;   // the producer was destroyed
   };
   Quoin::Ptr<State> state_;
};

}   // namespace Routing::RouteMap
