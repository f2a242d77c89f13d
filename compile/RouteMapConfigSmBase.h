/// @file compile/RouteMapConfigSmBase.h
#pragma once

#include <algorithm>

#include "compile/ContinueSeqMap.h"
#include "substrate/routemap/Map.h"
#include "substrate/zeugma/BaseOutputSm.h"

namespace Routing::Policy {

/// The base of the two machines of a configured route map: watches its sequences and its version. A derived class, RouteMapConfigFilterSm
/// or RouteMapConfigSymbolSm, calls handleInitialized() as the last step of its construction, for the first full run.
/// Threading: the activity thread.
class ROUTEPOLICY_API RouteMapConfigSmBase : public Zeugma::BaseOutputSm {
 public:
   explicit RouteMapConfigSmBase( const Quoin::Ptr<const Routing::RouteMap::Map> & routeMap );
   ~RouteMapConfigSmBase() override;

   /// The configured route map; null for none.
   const Quoin::Ptr<const Routing::RouteMap::Map> & routeMap() const noexcept { return routeMap_; }
   const Quoin::Ptr<ContinueSeqMap> & continueSeqMap() const noexcept { return continueSeqMap_; }

   /// The reaction to a sequence that was created or deleted. A look-up shows which of the two.
   virtual void handleRouteMapSeq( uint32_t seqno ) = 0;
   /// Handles all sequences. The implementation of the base calls handleRouteMapSeq( seqno ) for each, in ascending order.
   virtual void handleRouteMapSeq() = 0;
   /// The reaction to a new version: the agent has declared the route map consistent.
   virtual void handleVersion() = 0;
   /// Handles all sequences and the version for the first time.
   virtual void handleInitialized();

   /// The configured sequence; null if it does not exist.
   Quoin::Ptr<const Routing::RouteMap::MapEntry> seqConfig( uint32_t seqno ) const {
      return Quoin::Ptr<const Routing::RouteMap::MapEntry>( seqConfigGet( seqno ) );
   }
   /// The same without a use of the sequence.
   const Routing::RouteMap::MapEntry * seqConfigGet( uint32_t seqno ) const {
      if( !routeMap_ ) return nullptr;
      return found_.seqno == seqno && found_.version == routeMap_->mapEntry().version() ? found_.entry : lookUp( seqno );
   }

 protected:
   /// Handles all sequences and the version again.
   void handleChangeMissed() override;
   /// The same for the sequences that were created, deleted or replaced. `sms`: the machines of the sequences; they know their entry.
   template <class Sms>
   void handleMissedSeqs( const Sms & sms ) {
      if( !routeMap_ || !isMissed( sms ) ) return;
      for( auto i = sms.first(); i; i.next() )
         if( const uint32_t seqno = i.key(); i.value()->seqConfig().get() != seqConfigGet( seqno ) ) handleRouteMapSeq( seqno );
      for( auto i = routeMap_->mapEntry().first(); i; i.next() )
         if( !sms.find( i.key() ) ) handleRouteMapSeq( i.key() );
   }

 private:
   void handleRouteMap( const Quoin::Change & change );
   const Routing::RouteMap::MapEntry * lookUp( uint32_t seqno ) const;
   template <class Sms>
   bool isMissed( const Sms & sms ) const {
      return !std::ranges::equal( sms, routeMap_->mapEntry(), []( const auto & sm, const auto & entry ) {
         return sm.first == entry.first && sm.second->seqConfig() == entry.second;
      } );
   }

   // The last answer of seqConfigGet(): a handler asks several times for the sequence that it handles.
   struct Found {
      const Routing::RouteMap::MapEntry * entry = nullptr;   // valid while the version is the same
      uint32_t seqno = 0, version = 0;
   };

   Quoin::Ptr<const Routing::RouteMap::Map> routeMap_;
   Quoin::Ptr<ContinueSeqMap> continueSeqMap_;
   mutable Found found_;
   Zeugma::Reactor<RouteMapConfigSmBase> routeMapReactor_{ *this, &RouteMapConfigSmBase::handleRouteMap };
};

}   // namespace Routing::Policy
