/// @file substrate/routemap/ListPublication.h
#pragma once

#include <utility>

#include "substrate/plinth/EveryStep.h"
#include "substrate/routemap/ListSymbol.h"

namespace Routing::RouteMap {

/// The producer's end of a list's symbol: tells those who hold the symbol that a change is under way, and when it has landed.
/// A name has one producer at a time; a successor may come before its predecessor goes.
/// Ownership: holds the symbol; the list is undefined again when its publication goes, unless a successor has defined it meanwhile.
/// What is thrown then by who hears of it is lost. Threading: the activity thread; evaluation may go on reading statuses on others.
template <class Status>
class ListPublication {
 public:
   using Symbol = ListSymbol<Status>;
   explicit ListPublication( Quoin::Ptr<Symbol> symbol ) : state_( Quoin::makeNode<State>( std::move( symbol ) ) ) {}
   ~ListPublication() {
      state_->gone = true;
      const auto symbol = state_->symbol;
      const auto isMine = [ & ] { return state_->status && symbol->status() == state_->status; };
      Plinth::EveryStep quietly;
      if( isMine() )
         quietly( [ & ] { symbol->statusCurrentIs( false ); } );
      else if( !state_->underWay )
         return;
      const bool undefines = isMine();   // a successor may have come just now
      if( undefines ) quietly( [ & ] { symbol->statusIs( nullptr ); } );
      quietly( [ & ] { symbol->statusCurrentIs( true ); } );
      if( const auto notifier = symbol->notifier(); notifier && undefines ) quietly( [ & ] { notifier->versionInc( 1 ); } );
   }
   ListPublication( const ListPublication & ) = delete;
   ListPublication & operator=( const ListPublication & ) = delete;

   const Quoin::Ptr<Symbol> & symbol() const noexcept { return state_->symbol; }
   /// A change has begun that has not landed, be it that somebody who heard of it threw.
   bool underWay() const noexcept { return state_->underWay; }

   /// A change begins: until it lands, the status does not agree with the configuration.
   void begin() {
      ++state_->changes;
      state_->underWay = true;
      const auto symbol = state_->symbol;
      symbol->statusCurrentIs( false );
   }
   /// The change lands, with the status that `build()` makes aside. Those who hold the symbol hear of it once, by its version; of
   /// changes that begin or land meanwhile, by theirs.
   template <class Build>
   void publish( Build && build ) {
      const auto state = state_;   // who hears of it may drop the producer
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
      Quoin::Ptr<const Status> status;   // the last that it has published
      uint64_t changes = 0;              // begun and landed
      bool underWay = false;
      bool gone = false;   // the producer
   };
   Quoin::Ptr<State> state_;
};

}   // namespace Routing::RouteMap
