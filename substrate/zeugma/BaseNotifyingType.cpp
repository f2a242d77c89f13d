#include "substrate/zeugma/BaseNotifyingType.h"

namespace Zeugma {

BaseNotifyingType::~BaseNotifyingType() = default;

Quoin::Publisher * BaseNotifyingType::publisher() const noexcept {
   return &publisher_;
}

}   // namespace Zeugma
