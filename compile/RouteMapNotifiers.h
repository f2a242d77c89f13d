/// @file compile/RouteMapNotifiers.h
/// Two small publishers that RouteMapConfigSm shares with the machines of its route maps. One announces changes of the filtered
/// configuration, the other changes of the mode.
/// Threading: the activity thread.
#pragma once

#include <map>
#include <utility>

#include "substrate/plinth/Attribute.h"
#include "substrate/quoin/NotifyingNode.h"
#include "substrate/routemap/CallOrder.h"
#include "substrate/routemap/Options.h"

namespace Routing::Policy {

/// A sequence whose call is blocked, because it would close a cycle.
class ROUTEPOLICY_API BlockedCall {
 public:
   BlockedCall( const BlockedCall & ) = delete;
   BlockedCall & operator=( const BlockedCall & ) = delete;
   /// Checks the call again. It may destroy any blocked sequence.
   virtual void handleRouteMapUpdateNotifier() = 0;

 protected:
   BlockedCall() = default;
   virtual ~BlockedCall() = default;   // never deleted through this type

 private:
   friend class RouteMapUpdateNotifier;
   std::pair<Routing::RouteMap::CallOrder::Place, uint64_t> turn_;   // while it is in the collection
};

/// A counter that changes whenever a filtered route map gets a new version or is deleted. Blocked sequences then check their call again.
/// A subscriber or a freed call may raise the counter: the new value is published once, after all were notified, so that a cascade needs no
/// stack.
class ROUTEPOLICY_API RouteMapUpdateNotifier final : public Quoin::NotifyingNode {
 public:
   enum class Field : Quoin::FieldId { version };

   uint32_t version() const noexcept { return version_; }
   /// The order of calls of the filtered configuration. With it, calls are checked again only after a call was deleted; without it (null),
   /// at each change of the counter.
   PLINTH_VALUE( callOrder, callOrderIs, {}, Quoin::Ptr<const Routing::RouteMap::CallOrder> );

 public:
   /// Sets the counter. During a publication, it only records the value for the next publication.
   void versionIs( uint32_t version );
   void versionInc( uint32_t delta ) { versionIs( version() + delta ); }

   /// Adds a blocked sequence of the route map `rmName`, or deletes it. Calls are checked in the order of calls, callers first: a route map
   /// whose call is freed becomes a caller of others, and then frees the calls of those below.
   void blockedCallIs( BlockedCall & call, const Quoin::String & rmName ) const;
   void blockedCallDel( BlockedCall & call ) const noexcept { blockedCall_.erase( call.turn_ ); }

 private:
   void retryAll();

   mutable std::map<std::pair<Routing::RouteMap::CallOrder::Place, uint64_t>, BlockedCall *> blockedCall_;
   mutable uint64_t blocked_ = 0;   // the number of the last blocked call
   uint64_t deletionsBefore_ = 0;   // of calls, when the blocked calls were checked last
   uint32_t version_ = 0;
   bool isPublishing_ = false;
};

/// The mode of the route map feature. A change is published with the old value.
class ROUTEPOLICY_API RouteMapOpModeNotifier final : public Quoin::NotifyingNode {
 public:
   using RouteMapOpModeType = Routing::RouteMap::RouteMapOpModeType;
   enum class Field : Quoin::FieldId { routeMapOpMode };

   RouteMapOpModeType routeMapOpMode() const noexcept { return routeMapOpMode_; }
   void routeMapOpModeIs( RouteMapOpModeType mode );

 private:
   RouteMapOpModeType routeMapOpMode_{};
};

}   // namespace Routing::Policy
