/// @file tests/substrate/routemap/SymbolWatcher.h
#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "substrate/routemap/ListSymbol.h"

namespace Routing::RouteMap {

/// Writes down what a list's symbol and its notifier tell, and what a holder then finds.
template <class Status>
class SymbolWatcher {
 public:
   explicit SymbolWatcher( Quoin::Ptr<ListSymbol<Status>> symbol ) : symbol_( std::move( symbol ) ) {
      symbol_->publisher()->subscriberAdd( &ofSymbol_ );
      symbol_->notifier()->publisher()->subscriberAdd( &ofNotifier_ );
   }
   std::vector<std::string> take() const { return std::exchange( log_, {} ); }
   /// To the first version that is told of.
   std::function<void()> reaction;

 private:
   struct Ear final : Quoin::Subscriber {
      explicit Ear( std::function<void( const Quoin::Change & )> h ) : hear( std::move( h ) ) {}
      void onChange( const Quoin::Change & change ) override { hear( change ); }
      std::function<void( const Quoin::Change & )> hear;
   };
   Quoin::Ptr<ListSymbol<Status>> symbol_;
   mutable std::vector<std::string> log_;
   Ear ofSymbol_{ [ this ]( const Quoin::Change & change ) {
      if( change.field == Quoin::FieldId( PolicySymbol::Field::statusCurrent ) )
         log_.push_back( symbol_->statusCurrent() ? "current" : "not current" );
      else
         log_.push_back( change.field == Quoin::FieldId( ListSymbol<Status>::Field::status ) ? "status" : "notifier" );
   } };
   Ear ofNotifier_{ [ this ]( const Quoin::Change & ) {
      log_.push_back( "version " + std::to_string( symbol_->notifier()->version() ) +
                      ( symbol_->statusCurrent() ? ", current" : ", not current" ) + ( symbol_->status() ? ", defined" : ", undefined" ) );
      if( const auto react = std::exchange( reaction, nullptr ) ) react();
   } };
};

}   // namespace Routing::RouteMap
