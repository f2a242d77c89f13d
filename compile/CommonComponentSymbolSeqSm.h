/// @file compile/CommonComponentSymbolSeqSm.h
/// Watches the lists and the route map that a sequence refers to, and records their changes for the next compilation of its route map. It
/// compiles nothing itself, so that a burst of changes costs one compilation.
/// Threading: the activity thread.
#pragma once

#include "compile/CommonComponent.h"
#include "compile/RouteMapNotifiers.h"

namespace Routing::Policy {

/// The symbols of one match clause, each with its notifier.
class ROUTEPOLICY_API PolicyMatchSymbolNotifierMap final : public Quoin::NotifyingNode {
 public:
   using Symbol = Quoin::Ptr<const Routing::RouteMap::PolicySymbol>;
   using Notifier = Quoin::Ptr<const Routing::RouteMap::PolicySymbolNotifier>;
   enum class Field : Quoin::FieldId { policyMatchSymbolNotifier };
   using Notifiers = Plinth::HashMap2018<Symbol, Notifier>;
   explicit PolicyMatchSymbolNotifierMap( MatchOption option ) : option_( option ) {}
   MatchOption option() const noexcept { return option_; }
   PLINTH_COLLECTION( policyMatchSymbolNotifier, policyMatchSymbolNotifierIs, policyMatchSymbolNotifierDel,
                      policyMatchSymbolNotifierDelAll, Field::policyMatchSymbolNotifier, Notifiers );

 private:
   MatchOption option_;
};

/// The machine that watches the symbols of one sequence.
class ROUTEPOLICY_API CommonComponentSymbolSeqSm final : public CommonComponentRmSeqConfigSmInterface {
 public:
   CommonComponentSymbolSeqSm( const Quoin::Ptr<const Routing::RouteMap::MapEntry> & seqConfig, const Quoin::Ptr<RouteMapSymbol> & rmSymbol,
                               const Quoin::Ptr<const MatchSymbolSeq> & matchSymbolSeq,
                               const Quoin::Ptr<const SubRouteMapSymbolSeq> & subRouteMapSymbolSeq,
                               const Quoin::Ptr<RmConfigSymbolReactor> & rmConfigSymbolReactor,
                               const Quoin::Ptr<const RouteMapOpModeNotifier> & routeMapOpModeNotifier,
                               std::span<const MatchOptionRow> ownOptions = {} );
   ~CommonComponentSymbolSeqSm() override;

   /// Watches the symbols of all match clauses.
   void handleInitialized();
   /// The reaction to a clause whose symbols have changed.
   void handleMatchSymbolSeq( MatchOption option );
   /// The reaction to a callee that was published or replaced by another callee.
   void handleSubRouteMapSymbol();

   const Quoin::Ptr<const Routing::RouteMap::MapEntry> & seqConfig() const noexcept { return seqConfig_; }
   uint32_t seqno() const noexcept { return seqConfig_ ? seqConfig_->seqno() : 0; }
   const Quoin::Ptr<RouteMapSymbol> & rmSymbol() const noexcept { return rmSymbol_; }
   const Quoin::Ptr<const MatchSymbolSeq> & matchSymbolSeq() const noexcept { return matchSymbolSeq_; }
   const Quoin::Ptr<const SubRouteMapSymbolSeq> & subRouteMapSymbolSeq() const noexcept { return subRouteMapSymbolSeq_; }
   const Quoin::Ptr<RmConfigSymbolReactor> & rmConfigSymbolReactor() const noexcept { return rmConfigSymbolReactor_; }
   const Quoin::Ptr<const RouteMapOpModeNotifier> & routeMapOpModeNotifier() const noexcept { return routeMapOpModeNotifier_; }
   void formatDerivedType( std::ostream & os ) const override { formatSequence( os, rmSymbol_->name(), seqConfig_.get() ); }

   /// Watches the notifiers of the symbols of one clause.
   class NestedSm_MatchSymNotifierMap final : public Plinth::NotifieeConst {
    public:
      /// Watches the notifier of one symbol.
      class NestedSm_MatchSymNotifier final : public Plinth::NotifieeConst {
       public:
         NestedSm_MatchSymNotifier( NestedSm_MatchSymNotifierMap & parent, const PolicyMatchSymbolNotifierMap::Symbol & matchSymbol,
                                    const PolicyMatchSymbolNotifierMap::Notifier & notifier );
         const PolicyMatchSymbolNotifierMap::Symbol & matchSymbol() const noexcept { return matchSymbol_; }
         /// The reaction to a new version of the list.
         void handleVersion();

       private:
         void handleChange( const Quoin::Change & change ) override;
         NestedSm_MatchSymNotifierMap & parent_;
         PolicyMatchSymbolNotifierMap::Symbol matchSymbol_;
      };

      NestedSm_MatchSymNotifierMap( CommonComponentSymbolSeqSm & parent, MatchOption option ) : parent_( parent ), option_( option ) {}
      MatchOption option() const noexcept { return option_; }
      /// Watches the symbols of another map. Symbols that both maps contain are not read again. A null map contains none.
      void notifierIs( const Quoin::Ptr<const PolicyMatchSymbolNotifierMap> & map );
      /// Watches a symbol. A null notifier ends the watch.
      void matchSymNotifierIs( const PolicyMatchSymbolNotifierMap::Symbol & symbol,
                               const PolicyMatchSymbolNotifierMap::Notifier & notifier );
      void matchSymNotifierDel( PolicyMatchSymbolNotifierMap::Symbol symbol );
      const Plinth::HashMap2018<PolicyMatchSymbolNotifierMap::Symbol, Quoin::Ptr<NestedSm_MatchSymNotifier>> &
      matchSymNotifier() const noexcept {
         return matchSymNotifier_;
      }

    private:
      void handleChange( const Quoin::Change & change ) override;
      CommonComponentSymbolSeqSm & parent_;
      MatchOption option_;
      Plinth::HashMap2018<PolicyMatchSymbolNotifierMap::Symbol, Quoin::Ptr<NestedSm_MatchSymNotifier>> matchSymNotifier_;
   };

   const Plinth::HashMap2018<MatchOption, Quoin::Ptr<const PolicyMatchSymbolNotifierMap>> & matchSymbolNotifierColl() const noexcept {
      return matchSymbolNotifierColl_;
   }
   const Plinth::HashMap2018<MatchOption, Quoin::Ptr<NestedSm_MatchSymNotifierMap>> & matchSymNotifierMap() const noexcept {
      return matchSymNotifierMap_;
   }
   /// The notifier of the called route map; null for none.
   const Quoin::Ptr<const Routing::RouteMap::PolicySymbolNotifier> & subRouteMapSymbolNotifier() const noexcept {
      return subRouteMapSymbolNotifier_;
   }

 private:
   void handleChangeMissed() override;
   void handleMatchSymbols( const Quoin::Change & change ) { handleMatchSymbolSeq( Plinth::keyOf<MatchOption>( change ) ); }
   void handleSubRouteMapSymbolSeq( const Quoin::Change & change );
   void handleSubNotifier( const Quoin::Change & ) { handleSubRouteMapSymbol(); }
   void refreshSubRouteMapSymbolNotifier();
   void matchSymNotifierMapIs( MatchOption option, const Quoin::Ptr<const PolicyMatchSymbolNotifierMap> & map );
   bool isNotified() const noexcept { return !zombieReactors() && switchesOnNested(); }
   Quoin::Ptr<const Routing::RouteMap::PolicySymbol> matchSymbolOf( MatchOption option ) const;
   void handleMatchedList( MatchOption option );
   Quoin::Ptr<const RouteMapSeqStatus> seqStatus() const;

   Quoin::Ptr<const Routing::RouteMap::MapEntry> seqConfig_;
   Quoin::Ptr<RouteMapSymbol> rmSymbol_;
   Quoin::Ptr<const MatchSymbolSeq> matchSymbolSeq_;
   Quoin::Ptr<const SubRouteMapSymbolSeq> subRouteMapSymbolSeq_;
   Quoin::Ptr<RmConfigSymbolReactor> rmConfigSymbolReactor_;
   Quoin::Ptr<const RouteMapOpModeNotifier> routeMapOpModeNotifier_;
   Quoin::Ptr<const Routing::RouteMap::PolicySymbolNotifier> subRouteMapSymbolNotifier_;
   Plinth::HashMap2018<MatchOption, Quoin::Ptr<const PolicyMatchSymbolNotifierMap>> matchSymbolNotifierColl_;
   Plinth::HashMap2018<MatchOption, Quoin::Ptr<NestedSm_MatchSymNotifierMap>> matchSymNotifierMap_;
   Zeugma::Reactor<CommonComponentSymbolSeqSm> matchSymbolsReactor_{ *this, &CommonComponentSymbolSeqSm::handleMatchSymbols };
   Zeugma::Reactor<CommonComponentSymbolSeqSm> subSymbolReactor_{ *this, &CommonComponentSymbolSeqSm::handleSubRouteMapSymbolSeq };
   Zeugma::Reactor<CommonComponentSymbolSeqSm> subNotifierReactor_{ *this, &CommonComponentSymbolSeqSm::handleSubNotifier };
};

/// Creates the machine and switches it on.
ROUTEPOLICY_API Quoin::Ptr<CommonComponentSymbolSeqSm> commonComponentSymbolSeqSmFactory(
   const Quoin::Ptr<const Routing::RouteMap::MapEntry> & seqConfig, const Quoin::Ptr<RouteMapSymbol> & rmSymbol,
   const Quoin::Ptr<const MatchSymbolSeq> & matchSymbolSeq, const Quoin::Ptr<const SubRouteMapSymbolSeq> & subRouteMapSymbolSeq,
   const Quoin::Ptr<RmConfigSymbolReactor> & rmConfigSymbolReactor, const Quoin::Ptr<const RouteMapOpModeNotifier> & routeMapOpModeNotifier,
   std::span<const MatchOptionRow> ownOptions = {} );

}   // namespace Routing::Policy
