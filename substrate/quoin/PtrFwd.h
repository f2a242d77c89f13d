/// @file substrate/quoin/PtrFwd.h
/// Forward declaration of the handle of nodes, for headers that only name handles.
/// The forward headers of policy/ and compile/ include it; substrate/quoin/Ptr.h defines the handle.
#pragma once

#include "routepolicy_export.h"

namespace Quoin {

class Node;
template <class T>
class Ptr;

}   // namespace Quoin
