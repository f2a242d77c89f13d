/// @file tests/substrate/plinth/Members.h
/// What a collection holds, as a container that a matcher takes.
#pragma once

#include <vector>

/// In the order of its walk.
template <class Collection>
auto membersOf( const Collection & collection ) {
   return std::vector( collection.begin(), collection.end() );
}
