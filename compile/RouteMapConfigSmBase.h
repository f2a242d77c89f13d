/// @file compile/RouteMapConfigSmBase.h
#pragma once

#include "compile/ContinueSeqMap.h"
#include "substrate/routemap/Map.h"
#include "substrate/zeugma/BaseOutputSm.h"

namespace Routing::Policy {

/// The base of the two machines that a configured route map has: watches its sequences and its version.
/// A derived class calls handleInitialized() as the last step of its construction, so that the first full compile happens there.
/// Threading: the activity thread.
class ROUTEPOLICY_API RouteMapConfigSmBase : public Zeugma::BaseOutputSm {
 public:
   explicit RouteMapConfigSmBase( const Quoin::Ptr<const Routing::RouteMap::Map> & routeMap );
   ~RouteMapConfigSmBase() override;

   /// Null for none.
   const Quoin::Ptr<const Routing::RouteMap::Map> & routeMap() const noexcept { return routeMap_; }
   const Quoin::Ptr<ContinueSeqMap> & continueSeqMap() const noexcept { return continueSeqMap_; }

   /// A sequence came or went; which of them, a look-up tells.
   virtual void handleRouteMapSeq( uint32_t seqno ) = 0;
   /// All sequences, as they stand. What is implemented here calls the above for each, in ascending order.
   virtual void handleRouteMapSeq() = 0;
   /// The route map has been declared consistent.
   virtual void handleVersion() = 0;
   /// The initial scan.
   virtual void handleInitialized();

   /// Null for none.
   Quoin::Ptr<const Routing::RouteMap::MapEntry> seqConfig( uint32_t seqno ) const {
      return routeMap_ ? routeMap_->mapEntry( seqno ) : nullptr;
   }

 protected:
   /// Scans all again.
   void handleChangeMissed() override;
   /// The same for the sequences, by machines that know which entry each was made for; `deleteSeq` is called for what has gone.
   template <class Sms, class F>
   void handleMissedSeqs( const Sms & sms, F && deleteSeq ) {
      for( auto i = sms.first(); i; i.next() )
         if( const uint32_t seqno = i.key(); i.value()->seqConfig() != seqConfig( seqno ) ) deleteSeq( seqno );
      if( !routeMap_ ) return;
      for( auto i = routeMap_->mapEntry().first(); i; i.next() )
         if( !sms.find( i.key() ) ) handleRouteMapSeq( i.key() );
   }

 private:
   void handleRouteMap( const Quoin::Change & change );

   Quoin::Ptr<const Routing::RouteMap::Map> routeMap_;
   Quoin::Ptr<ContinueSeqMap> continueSeqMap_;
   Zeugma::Reactor<RouteMapConfigSmBase> routeMapReactor_{ *this, &RouteMapConfigSmBase::handleRouteMap };
};

}   // namespace Routing::Policy
