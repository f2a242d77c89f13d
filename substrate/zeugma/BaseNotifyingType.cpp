#include "substrate/zeugma/BaseNotifyingType.h"

namespace Zeugma {

BaseNotifyingType::~BaseNotifyingType() = default;

}   // namespace Zeugma
