/// @file substrate/plinth/PlainRecord.h
#pragma once

#include "routepolicy_export.h"
#include "substrate/quoin/Node.h"
#include "substrate/quoin/Publisher.h"

namespace Plinth {

/// Takes what would be published, and tells nobody.
struct NullPublisher {
   static void publishChange( Quoin::FieldId ) noexcept {}
   static void publishChangeRecursive( Quoin::FieldId, const void *, const void *, Quoin::KeyIsEq ) noexcept {}
};

/// The base of a record with the accessors of a notifying object, which nobody watches.
class ROUTEPOLICY_API PlainRecord : public Quoin::Node {
 public:
   ~PlainRecord() override;

 protected:
   static constexpr NullPublisher publisher_{};
};

}   // namespace Plinth
