/// @file policy/RouteProtoHelper.h
#pragma once

#include "routepolicy_export.h"
#include "substrate/quoin/Node.h"
#include "substrate/routing/RouteTypes.h"

namespace Routing::Policy {

/// Maps a route type of the forwarding table to the protocol that it belongs to; 0 for a type without a protocol and for an unknown type.
/// Threading: any.
class ROUTEPOLICY_API RouteProtoHelper : public Quoin::Node {
 public:
   ~RouteProtoHelper() override;
   /// The protocol of an IPv4 route type.
   static RouteProto routeProto( Routing::Fib::RouteType t );
   /// The protocol of an IPv6 route type.
   static RouteProto routeProto6( Routing6::Fib::RouteType t );
};

}   // namespace Routing::Policy
