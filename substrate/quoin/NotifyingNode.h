/// @file substrate/quoin/NotifyingNode.h
#pragma once

#include "routepolicy_export.h"
#include "substrate/quoin/Node.h"
#include "substrate/quoin/Publisher.h"

namespace Quoin {

/// The base of an object that tells of its changes.
class ROUTEPOLICY_API NotifyingNode : public Node {
 public:
   ~NotifyingNode() override;
   Publisher * publisher() const noexcept override;

 protected:
   mutable Publisher publisher_;
};

}   // namespace Quoin
