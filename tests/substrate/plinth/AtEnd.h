/// @file tests/substrate/plinth/AtEnd.h
/// A value that tells when a collection lets go of it.
#pragma once

#include <functional>
#include <memory>
#include <utility>

/// Equal to its own copies only; runs `f` when the last of them goes.
inline std::shared_ptr<int> atEnd( std::function<void()> f ) {
   return std::shared_ptr<int>( new int, [ f = std::move( f ) ]( int * p ) {
      delete p;
      f();
   } );
}
