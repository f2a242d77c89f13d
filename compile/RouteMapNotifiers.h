/// @file compile/RouteMapNotifiers.h
/// Two small publishers that RouteMapConfigSm shares with the machines of its route maps. One announces changes of the filtered
/// configuration, the other changes of the mode.
/// Threading: the activity thread.
#pragma once

#include "substrate/plinth/Attribute.h"
#include "substrate/quoin/NotifyingNode.h"
#include "substrate/routemap/Options.h"

namespace Routing::Policy {

/// A counter that changes whenever a filtered route map gets a new version or is deleted. Blocked sequences watch it and check their call
/// again. A subscriber may raise the counter: the new value is published once, after all subscribers were notified, so that a cascade needs
/// no stack.
class ROUTEPOLICY_API RouteMapUpdateNotifier final : public Quoin::NotifyingNode {
 public:
   enum class Field : Quoin::FieldId { version };
   ~RouteMapUpdateNotifier() override;

   uint32_t version() const noexcept { return version_; }
   /// Sets the counter. During a publication, it only records the value for the next publication.
   void versionIs( uint32_t version );
   void versionInc( uint32_t delta ) { versionIs( version() + delta ); }

 private:
   uint32_t version_ = 0;
   bool telling_ = false;
};

/// The mode of the route map feature. A change is published with the old value.
class ROUTEPOLICY_API RouteMapOpModeNotifier final : public Quoin::NotifyingNode {
 public:
   using RouteMapOpModeType = Routing::RouteMap::RouteMapOpModeType;
   enum class Field : Quoin::FieldId { routeMapOpMode };
   ~RouteMapOpModeNotifier() override;

   RouteMapOpModeType routeMapOpMode() const noexcept { return routeMapOpMode_; }
   void routeMapOpModeIs( RouteMapOpModeType mode );

 private:
   RouteMapOpModeType routeMapOpMode_{};
};

}   // namespace Routing::Policy
