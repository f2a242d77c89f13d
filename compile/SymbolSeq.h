/// @file compile/SymbolSeq.h
/// The symbols that one sequence watches: of its clauses, and of the route maps that it refers to. The machine of the route map writes them
/// when it applies changes; CommonComponentSymbolSeqSm subscribes to them.
/// Threading: the activity thread.
#pragma once

#include "compile/SequenceChangeSymbol.h"

namespace Routing::Policy {

/// The symbols of one clause. A change replaces the whole list.
template <class Option>
class PolicySymbolListOf final : public Plinth::PlainRecord {
 public:
   enum class Field : Quoin::FieldId { policySymbol };
   explicit PolicySymbolListOf( Option option ) : option_( option ) {}
   Option option() const noexcept { return option_; }
   PLINTH_SET( policySymbol, policySymbolHas, policySymbolIs, policySymbolDel, policySymbolDelAll, Field::policySymbol, PolicySymbols );

 private:
   Option option_;
};
using PolicyMatchSymbolList = PolicySymbolListOf<MatchOption>;
using PolicySetSymbolList = PolicySymbolListOf<SetOption>;

/// The symbols of all match clauses, or of all set clauses, of one sequence.
template <class Option>
class OptionSymbolSeq final : public Quoin::NotifyingNode {
 public:
   enum class Field : Quoin::FieldId { policySymbolList };
   using List = Quoin::Ptr<PolicySymbolListOf<Option>>;
   using Lists = Plinth::HashMap2018<Option, List>;
   /// `ledger`: of the route map; null for none.
   explicit OptionSymbolSeq( uint32_t seqno, Quoin::Ptr<SequenceLedger> ledger = nullptr )
         : ledger_( std::move( ledger ) ), seqno_( seqno ) {}
   ~OptionSymbolSeq() override {
      for( const auto & [ option, list ] : policySymbolList_ ) symbolsAreUsed( *list, false );
   }
   uint32_t seqno() const noexcept { return seqno_; }

   const Lists & policySymbolList() const noexcept { return policySymbolList_; }
   List policySymbolList( Option option ) const { return Plinth::memberOf( policySymbolList_, option ); }
   // A list that is stored does not change any more. While a change is published, the ledger counts the old and the new symbols.
   void policySymbolListIs( Option option, const List & list ) {
      const Quoin::ReleaseScope whole;   // a subscriber may release this object
      const List old = policySymbolList( option );
      if( list ) symbolsAreUsed( *list, true );
      Plinth::putMember( publisher_, kField, "policySymbolListIs", policySymbolList_, option, list );
      if( old ) symbolsAreUsed( *old, false );
   }
   void policySymbolListDel( Option option ) {
      const Quoin::ReleaseScope whole;
      const List old = policySymbolList( option );
      Plinth::eraseMember( publisher_, kField, policySymbolList_, option );
      if( old ) symbolsAreUsed( *old, false );
   }
   void policySymbolListDelAll() {
      Plinth::eraseAllMembers( publisher_, kField, policySymbolList_, [ this ]( const List & list ) { symbolsAreUsed( *list, false ); } );
   }

 private:
   static constexpr auto kField = Quoin::FieldId( Field::policySymbolList );
   void symbolsAreUsed( const PolicySymbolListOf<Option> & list, bool used ) const {
      if( !ledger_ ) return;
      for( const auto & symbol : list.policySymbol() ) used ? ledger_->symbolIs( symbol ) : ledger_->symbolDel( symbol );
   }

   Lists policySymbolList_;
   Quoin::Ptr<SequenceLedger> ledger_;
   uint32_t seqno_;
};
using MatchSymbolSeq = OptionSymbolSeq<MatchOption>;
using SetSymbolSeq = OptionSymbolSeq<SetOption>;

struct SubRouteMapTag;
struct AggRoleAttrMapTag;

/// A route map that one sequence refers to. `Tag` distinguishes the kinds of reference.
template <class Tag>
class RouteMapSymbolSeq final : public Quoin::NotifyingNode {
 public:
   enum class Field : Quoin::FieldId { symbol, currentVersion };
   /// `ledger`: of the route map; null for none.
   explicit RouteMapSymbolSeq( uint32_t seqno, Quoin::Ptr<SequenceLedger> ledger = nullptr )
         : ledger_( isAwaited() ? std::move( ledger ) : nullptr ), seqno_( seqno ) {}
   ~RouteMapSymbolSeq() override {
      if( ledger_ ) ledger_->symbolDel( symbol() );
   }
   uint32_t seqno() const noexcept { return seqno_; }

   const Quoin::Ptr<const RouteMapSymbol> & symbol() const noexcept { return symbol_.value; }
   void symbolIs( const Quoin::Ptr<const RouteMapSymbol> & symbol ) {
      const Quoin::ReleaseScope whole;   // a subscriber may release this object
      const auto old = this->symbol();
      if( ledger_ ) ledger_->symbolIs( symbol );
      if( symbol_.assign( Quoin::Ptr( symbol ) ) ) publisher_.publishChange( Quoin::FieldId( Field::symbol ) );
      if( ledger_ ) ledger_->symbolDel( old );
   }
   /// The version that the symbol's notifier had when the reference was applied.
   PLINTH_ATTR( currentVersion, currentVersionIs, Field::currentVersion, uint32_t );

 private:
   // Publication does not wait for the attribute map of an aggregate role.
   static constexpr bool isAwaited() { return std::is_same_v<Tag, SubRouteMapTag>; }

   Plinth::Attr<Quoin::Ptr<const RouteMapSymbol>> symbol_;
   Quoin::Ptr<SequenceLedger> ledger_;
   uint32_t seqno_;
};
using SubRouteMapSymbolSeq = RouteMapSymbolSeq<SubRouteMapTag>;
using AggRoleAttrMapSymbolSeq = RouteMapSymbolSeq<AggRoleAttrMapTag>;

}   // namespace Routing::Policy
