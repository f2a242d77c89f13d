#include "substrate/weft/InputStateMachine.h"

namespace Weft::Gen {

InputStateMachine::~InputStateMachine() = default;

}   // namespace Weft::Gen
