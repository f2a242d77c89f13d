/// @file substrate/routemap/AllIpAccessListSymbol.h
#pragma once

#include "substrate/plinth/Exception.h"
#include "substrate/plinth/HashMap2018.h"
#include "substrate/routemap/ListSymbol.h"

namespace Routing::RouteMap {

/// The access list symbols that have a list behind them, by name. Ownership: holds a use of each. Threading: the activity thread.
class AllIpAccessListSymbol : public Quoin::Node {
 public:
   enum class Field : Quoin::FieldId { symbol };
   using Symbols = Plinth::HashMap2018<Quoin::String, Quoin::Ptr<IpAccessListSymbol>>;

   Quoin::Publisher * publisher() noexcept override { return &publisher_; }

   const Symbols & symbol() const noexcept { return symbol_; }
   /// Null when there is none.
   Quoin::Ptr<IpAccessListSymbol> symbol( const Quoin::String & name ) const { return Plinth::memberOf( symbol_, name ); }
   /// Enters the symbol under its name. Errors: MutatorArgNullPointerException on null.
   void symbolIs( Quoin::Ptr<IpAccessListSymbol> symbol ) {   // by value: a reaction may drop the caller's
      if( !symbol ) Plinth::throwMutatorArgNullPointerException( "AllIpAccessListSymbol::symbolIs" );
      Plinth::putMember( publisher_, Quoin::FieldId( Field::symbol ), "symbolIs", symbol_, symbol->name(), symbol );
   }
   void symbolDel( Quoin::String name ) { Plinth::eraseMember( publisher_, Quoin::FieldId( Field::symbol ), symbol_, name ); }

 private:
   Quoin::Publisher publisher_;
   Symbols symbol_;
};

}   // namespace Routing::RouteMap
