/// @file substrate/routemap/ListSymbol.h
/// The symbols of lists, and their tables.
#pragma once

#include "substrate/lists/IpAccessListStatus.h"
#include "substrate/lists/ListStatus.h"
#include "substrate/lists/PrefixListStatus.h"
#include "substrate/lists/TagSetStatus.h"
#include "substrate/routemap/PolicySymbol.h"

namespace Routing::RouteMap {

/// A table of the symbols of one kind. Threading: the activity thread.
template <class Symbol>
class SymbolDedupTable : public Quoin::Node {
 public:
   SymbolDedupTable() { handleInitialized(); }
   void handleInitialized() { table_ = Quoin::makeNode<Zeugma::DedupHashTableUnorderedSet>( false ); }

   /// The one symbol of that name; made if there is none. A hit allocates nothing.
   Quoin::Ptr<Symbol> symbol( const Quoin::String & name ) const {
      return Quoin::staticPtrCast<Symbol>(
         table_->findOrDedup( Zeugma::DedupContentHandle( name ), Symbol::hashOf( name ),
                              [ & ]() -> Quoin::Ptr<Zeugma::DedupHandleBase> { return Quoin::makeNode<Symbol>( name ); } ) );
   }
   /// The one symbol of the given symbol's name, which may be that symbol itself.
   Quoin::Ptr<Symbol> dedup( const Quoin::Ptr<Symbol> & symbol ) const { return Quoin::staticPtrCast<Symbol>( table_->dedup( symbol ) ); }
   /// Symbols that somebody uses.
   size_t count() const { return table_->count(); }
   const Quoin::Ptr<Zeugma::DedupHashTableUnorderedSet> & dedupHashTable() const noexcept { return table_; }

 private:
   Quoin::Ptr<Zeugma::DedupHashTableUnorderedSet> table_;
};

/// The symbol of a list. `status` is null while no list of that name is configured: the name is then undefined.
template <class Status>
class ListSymbol final : public PolicySymbol {
 public:
   enum class Field : Quoin::FieldId { status = Quoin::FieldId( PolicySymbol::Field::derived ) };
   using PolicySymbol::PolicySymbol;

   /// The one symbol of this name in `table`: this one if it is the first.
   Quoin::Ptr<ListSymbol> dedup( const Quoin::Ptr<const SymbolDedupTable<ListSymbol>> & table ) {
      return table->dedup( Quoin::Ptr<ListSymbol>( this ) );
   }

   /// The compiled list.
   PLINTH_ATTR( status, statusIs, Field::status, Quoin::Ptr<const Status> );
};

using PrefixListSymbol = ListSymbol<PrefixListStatus>;
using IpAccessListSymbol = ListSymbol<IpAccessListStatus>;
using TagSetSymbol = ListSymbol<TagSetStatus>;
using CommListSymbol = ListSymbol<CommListStatus>;
using AsPathListSymbol = ListSymbol<AsPathListStatus>;
using DynPrefixListSymbol = ListSymbol<DynPrefixListStatus>;
using RoaTableSymbol = ListSymbol<RoaTableStatus>;

/// The symbol of a tunnel table, which has no status here.
class TunnelRibSymbol final : public PolicySymbol {
 public:
   using PolicySymbol::PolicySymbol;
   Quoin::Ptr<TunnelRibSymbol> dedup( const Quoin::Ptr<const SymbolDedupTable<TunnelRibSymbol>> & table ) {
      return table->dedup( Quoin::Ptr<TunnelRibSymbol>( this ) );
   }
};

using PrefixListSymbolDedupTable = SymbolDedupTable<PrefixListSymbol>;
using IpAccessListSymbolDedupTable = SymbolDedupTable<IpAccessListSymbol>;
using TagSetSymbolDedupTable = SymbolDedupTable<TagSetSymbol>;
using CommListSymbolDedupTable = SymbolDedupTable<CommListSymbol>;
using AsPathListSymbolDedupTable = SymbolDedupTable<AsPathListSymbol>;
using DynPrefixListSymbolDedupTable = SymbolDedupTable<DynPrefixListSymbol>;
using RoaTableSymbolDedupTable = SymbolDedupTable<RoaTableSymbol>;
using TunnelRibSymbolDedupTable = SymbolDedupTable<TunnelRibSymbol>;

}   // namespace Routing::RouteMap
