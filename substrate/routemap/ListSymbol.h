/// @file substrate/routemap/ListSymbol.h
/// The symbols of lists, and the tables of symbols. A symbol stands for a list name: producers of lists set its status, and compiled route
/// maps that refer to the name hold the symbol.
#pragma once

#include "substrate/lists/IpAccessListStatus.h"
#include "substrate/lists/ListStatus.h"
#include "substrate/lists/PrefixListStatus.h"
#include "substrate/lists/TagSetStatus.h"
#include "substrate/routemap/PolicySymbol.h"

namespace Routing::RouteMap {

/// The table of the symbols of one kind. Ownership: holds its symbols weakly. Threading: the activity thread.
template <class Symbol>
class SymbolDedupTable : public Quoin::Node {
 public:
   SymbolDedupTable() { handleInitialized(); }
   /// Starts an empty table; the constructor calls it. Symbols of the previous table stay in that table.
   void handleInitialized() { table_ = Quoin::makeNode<Zeugma::DedupHashTableUnorderedSet>( false ); }

   /// The symbol of that name; created if it does not exist. A hit allocates nothing.
   Quoin::Ptr<Symbol> symbol( const Quoin::String & name ) const {
      return Quoin::staticPtrCast<Symbol>(
         table_->findOrDedup( Zeugma::DedupContentHandle( name ), Symbol::hashOf( name ),
                              [ & ]() -> Quoin::Ptr<Zeugma::DedupHandleBase> { return Quoin::makeNode<Symbol>( name ); } ) );
   }
   /// The table's symbol with the same name as `symbol`; if it does not exist, enters `symbol` and returns it.
   Quoin::Ptr<Symbol> dedup( const Quoin::Ptr<Symbol> & symbol ) const { return Quoin::staticPtrCast<Symbol>( table_->dedup( symbol ) ); }
   /// The number of symbols in use.
   size_t count() const { return table_->count(); }
   /// The table that this class wraps.
   const Quoin::Ptr<Zeugma::DedupHashTableUnorderedSet> & dedupHashTable() const noexcept { return table_; }

 private:
   Quoin::Ptr<Zeugma::DedupHashTableUnorderedSet> table_;
};

/// The symbol of a list. While no list of that name is defined, `status` is null.
template <class Status>
class ListSymbol final : public PolicySymbol {
 public:
   enum class Field : Quoin::FieldId { status = Quoin::FieldId( PolicySymbol::Field::derived ) };
   using PolicySymbol::PolicySymbol;

   /// The symbol of this name in `table`; enters this symbol if the name has none.
   Quoin::Ptr<ListSymbol> dedup( const Quoin::Ptr<const SymbolDedupTable<ListSymbol>> & table ) {
      return table->dedup( Quoin::Ptr<ListSymbol>( this ) );
   }

   /// The compiled list; null while the name is undefined.
   PLINTH_ATTR( status, statusIs, Field::status, Quoin::Ptr<const Status> );
};

using PrefixListSymbol = ListSymbol<PrefixListStatus>;
using IpAccessListSymbol = ListSymbol<IpAccessListStatus>;
using TagSetSymbol = ListSymbol<TagSetStatus>;
using CommListSymbol = ListSymbol<CommListStatus>;
using AsPathListSymbol = ListSymbol<AsPathListStatus>;
using DynPrefixListSymbol = ListSymbol<DynPrefixListStatus>;
using RoaTableSymbol = ListSymbol<RoaTableStatus>;

/// The symbol of a tunnel table. It has no status in this library.
class TunnelRibSymbol final : public PolicySymbol {
 public:
   using PolicySymbol::PolicySymbol;
   /// As ListSymbol::dedup().
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
