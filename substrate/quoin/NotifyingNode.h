/// @file substrate/quoin/NotifyingNode.h
/// A node with a publisher. Configuration and status objects derive from it; state machines subscribe to it.
#pragma once

#include "routepolicy_export.h"
#include "substrate/quoin/Node.h"
#include "substrate/quoin/Publisher.h"

namespace Quoin {

/// The base of an object that notifies subscribers of its changes.
class ROUTEPOLICY_API NotifyingNode : public Node {
 public:
   ~NotifyingNode() override;
   Publisher * publisher() const noexcept override;

 protected:
   /// The attribute macros of Plinth publish through it. Mutable: subscribing does not change the object's value.
   mutable Publisher publisher_;
};

}   // namespace Quoin
