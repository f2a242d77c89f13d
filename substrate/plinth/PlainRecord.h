/// @file substrate/plinth/PlainRecord.h
/// The base of records without subscribers. The compiler's records of a change derive from it; they use the same attribute macros as
/// notifying objects.
#pragma once

#include "routepolicy_export.h"
#include "substrate/quoin/Node.h"
#include "substrate/quoin/Publisher.h"

namespace Plinth {

/// A publisher that does nothing.
struct NullPublisher {
   static void publishChange( Quoin::FieldId ) noexcept {}
   static void publishChangeRecursive( Quoin::FieldId, const void *, const void *, Quoin::KeyIsEq ) noexcept {}
};

/// The base of a record that has the accessors of a notifying object but publishes no change.
class ROUTEPOLICY_API PlainRecord : public Quoin::Node {
 public:
   ~PlainRecord() override;

 protected:
   static constexpr NullPublisher publisher_{};
};

}   // namespace Plinth
