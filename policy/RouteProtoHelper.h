/// @file policy/RouteProtoHelper.h
#pragma once

#include "routepolicy_export.h"
#include "substrate/quoin/Node.h"
#include "substrate/routing/RouteTypes.h"

namespace Routing::Policy {

/// The protocol that a kind of route in the forwarding table belongs to; 0 for a kind without one, and for no kind.
/// Threading: any.
class ROUTEPOLICY_API RouteProtoHelper : public Quoin::Node {
 public:
   ~RouteProtoHelper() override;
   static RouteProto routeProto( Routing::Fib::RouteType t );
   static RouteProto routeProto6( Routing6::Fib::RouteType t );
};

}   // namespace Routing::Policy
