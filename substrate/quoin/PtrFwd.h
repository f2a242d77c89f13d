/// @file substrate/quoin/PtrFwd.h
/// Declares the handle of nodes, for headers that name handles and use none.
/// The forward headers of policy/ and compile/ include it; substrate/quoin/Ptr.h defines the handle.
#pragma once

namespace Quoin {

class Node;
template <class T>
class Ptr;

}   // namespace Quoin
