/// @file substrate/quoin/Ptr.h
/// The strong handle of nodes. It holds one use of a Quoin::Node, which lives at least as long as its handles.
#pragma once

#include <compare>
#include <concepts>
#include <cstddef>
#include <type_traits>
#include <typeindex>   // std::hash, at the least cost
#include <utility>

#include "substrate/quoin/Node.h"

namespace Quoin {

/// Holds one use of a node, or null. Comparison is by identity: two handles are equal if they hold the same node.
/// Threading: a Ptr is a plain value; the use count of its node follows ThreadControl.
template <class T>
class Ptr {
 public:
   using element_type = T;

   constexpr Ptr() noexcept = default;
   constexpr Ptr( std::nullptr_t ) noexcept {}

   /// Adds a use of `node`. Another holder must keep the node alive during this call. Null gives an empty handle.
   explicit Ptr( T * node ) noexcept : node_( node ) {
      if( node_ ) node_->incUse();
   }
   Ptr( const Ptr & other ) noexcept : Ptr( other.node_ ) {}
   Ptr( Ptr && other ) noexcept : node_( std::exchange( other.node_, nullptr ) ) {}
   // clang-format off
   template <class U>
      requires std::convertible_to<U *, T *>
   Ptr( const Ptr<U> & other ) noexcept : Ptr( static_cast<T *>( other.get() ) ) {}
   template <class U>
      requires std::convertible_to<U *, T *>
   Ptr( Ptr<U> && other ) noexcept : node_( other.detach() ) {}
   // clang-format on
   Ptr & operator=( Ptr other ) noexcept {
      std::swap( node_, other.node_ );
      return *this;
   }
   ~Ptr() {
      if( node_ ) node_->decUseImpl();
   }

   /// Takes over the one use that the creator of a node has; the count does not change.
   static Ptr adopt( T * node ) noexcept {
      Ptr p;
      p.node_ = node;
      return p;
   }

   /// Hands the use to the caller, who must call decUseImpl() later. The handle is empty afterwards.
   [[nodiscard]] T * detach() noexcept { return std::exchange( node_, nullptr ); }

   T * get() const noexcept { return node_; }
   T * operator->() const noexcept { return node_; }
   T & operator*() const noexcept { return *node_; }
   explicit operator bool() const noexcept { return node_ != nullptr; }

 private:
   T * node_ = nullptr;
};

template <class T, class U>
bool operator==( const Ptr<T> & a, const Ptr<U> & b ) noexcept {
   return a.get() == b.get();
}
template <class T>
bool operator==( const Ptr<T> & a, std::nullptr_t ) noexcept {
   return !a;
}
template <class T, class U>
auto operator<=>( const Ptr<T> & a, const Ptr<U> & b ) noexcept {
   using Common = std::common_type_t<T *, U *>;   // the same conversion as in ==: a base may have another address than its object
   return std::compare_three_way()( static_cast<Common>( a.get() ), static_cast<Common>( b.get() ) );
}

/// Creates a node and returns the handle that holds its only use.
template <class T, class... Args>
Ptr<T> makeNode( Args &&... args ) {
   return Ptr<T>::adopt( new T( std::forward<Args>( args )... ) );
}

/// A further handle of the same node, by static_cast.
template <class To, class From>
Ptr<To> staticPtrCast( const Ptr<From> & from ) noexcept {
   return Ptr<To>( static_cast<To *>( from.get() ) );
}
/// A further handle of the same node, by dynamic_cast; null if the node is not a `To`.
template <class To, class From>
Ptr<To> dynamicPtrCast( const Ptr<From> & from ) noexcept {
   return Ptr<To>( dynamic_cast<To *>( from.get() ) );
}

}   // namespace Quoin

template <class T>
struct std::hash<Quoin::Ptr<T>> {
   size_t operator()( const Quoin::Ptr<T> & p ) const noexcept { return std::hash<T *>()( p.get() ); }
};
