#include "substrate/quoin/NotifyingNode.h"

namespace Quoin {

NotifyingNode::~NotifyingNode() = default;

Publisher * NotifyingNode::publisher() const noexcept {
   return &publisher_;
}

}   // namespace Quoin
