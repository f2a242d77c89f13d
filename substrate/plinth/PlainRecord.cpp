#include "substrate/plinth/PlainRecord.h"

namespace Plinth {

PlainRecord::~PlainRecord() = default;

}   // namespace Plinth
