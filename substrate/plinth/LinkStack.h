/// @file substrate/plinth/LinkStack.h
/// The stack: last in, first out. Each element keeps an index, by which it can be found and removed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "substrate/plinth/Version.h"

namespace Plinth {

/// The index of a pushed element is one above the index of the top; it is 0 on an empty stack. Removing an element in the middle does
/// not change the indices of the others. Threading: any number of readers, or one writer.
template <class V>
class LinkStack {
 public:
   struct Element {
      uint32_t index;
      V value;
   };

   size_t count() const noexcept { return elements_.size(); }
   bool empty() const noexcept { return elements_.empty(); }
   uint32_t version() const noexcept { return version_; }

   void push( V value ) {
      elements_.push_back( { empty() ? 0 : elements_.back().index + 1, std::move( value ) } );
      ++version_;
   }

   /// Removes and returns the top. An empty stack returns a default-built value and does not change.
   V pop() {
      if( empty() ) return V{};
      V value = std::move( elements_.back().value );
      elements_.pop_back();
      ++version_;
      return value;
   }

   /// The newest element, or null. Valid until the next change, as are bottom() and find().
   const V * top() const noexcept { return empty() ? nullptr : &elements_.back().value; }
   /// The oldest element, or null.
   const V * bottom() const noexcept { return empty() ? nullptr : &elements_.front().value; }
   /// The element with that index, or null.
   const V * find( uint32_t index ) const noexcept {
      for( const Element & e : elements_ )
         if( e.index == index ) return &e.value;
      return nullptr;
   }

   /// Removes the element with that index. Returns false if it does not exist.
   bool erase( uint32_t index ) {
      for( size_t i = 0; i < elements_.size(); ++i ) {
         if( elements_[ i ].index != index ) continue;
         [[maybe_unused]] V gone = std::move( elements_[ i ].value );   // destroyed when the new state is complete
         elements_.erase( elements_.begin() + static_cast<ptrdiff_t>( i ) );
         ++version_;
         return true;
      }
      return false;
   }

   /// Removes all elements.
   void reset() {
      if( empty() ) return;
      std::vector<Element> gone;
      gone.swap( elements_ );
      ++version_;
   }

 private:
   std::vector<Element> elements_;
   Version version_;
};

}   // namespace Plinth
