/// @file substrate/quoin/Ptr.h
/// Strong pointers to nodes.
#pragma once

#include <compare>
#include <concepts>
#include <cstddef>
#include <type_traits>
#include <typeindex>   // std::hash, at the least cost
#include <utility>

#include "substrate/quoin/Node.h"

namespace Quoin {

/// Holds one use of a node, or none. Comparison is by identity.
/// Threading: a Ptr is a plain value; the count that it holds follows ThreadControl.
template <class T>
class Ptr {
 public:
   using element_type = T;

   constexpr Ptr() noexcept = default;
   constexpr Ptr( std::nullptr_t ) noexcept {}

   /// Takes a further use of a node that somebody else holds for the span of this call.
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

   /// Takes over the use that the maker of a node has, without counting it again.
   static Ptr adopt( T * node ) noexcept {
      Ptr p;
      p.node_ = node;
      return p;
   }

   /// Gives the use away: the caller now owes a decUseImpl().
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
   using Common = std::common_type_t<T *, U *>;   // as == does: a base may have an address of its own
   return std::compare_three_way()( static_cast<Common>( a.get() ), static_cast<Common>( b.get() ) );
}

/// Makes a node and hands its one use to the caller.
template <class T, class... Args>
Ptr<T> makeNode( Args &&... args ) {
   return Ptr<T>::adopt( new T( std::forward<Args>( args )... ) );
}

template <class To, class From>
Ptr<To> staticPtrCast( const Ptr<From> & from ) noexcept {
   return Ptr<To>( static_cast<To *>( from.get() ) );
}
template <class To, class From>
Ptr<To> dynamicPtrCast( const Ptr<From> & from ) noexcept {
   return Ptr<To>( dynamic_cast<To *>( from.get() ) );
}

}   // namespace Quoin

template <class T>
struct std::hash<Quoin::Ptr<T>> {
   size_t operator()( const Quoin::Ptr<T> & p ) const noexcept { return std::hash<const void *>()( p.get() ); }
};
