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
   /// All sequences, as they stand.
   virtual void handleRouteMapSeq() = 0;
   /// The route map has been declared consistent.
   virtual void handleVersion() = 0;
   /// The initial scan.
   virtual void handleInitialized();

 protected:
   void handleChangeMissed() override;

 private:
   void handleRouteMap( const Quoin::Change & change );

   Quoin::Ptr<const Routing::RouteMap::Map> routeMap_;
   Quoin::Ptr<ContinueSeqMap> continueSeqMap_;
   Zeugma::Reactor<RouteMapConfigSmBase> routeMapReactor_{ *this, &RouteMapConfigSmBase::handleRouteMap };
};

}   // namespace Routing::Policy
