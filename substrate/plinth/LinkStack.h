/// @file substrate/plinth/LinkStack.h
/// The stack: last in, first out, each element under its index.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "substrate/plinth/Version.h"

namespace Plinth {

/// Elements carry the index they were pushed with, one above the top's, 0 on an empty stack. Deleting one in the middle leaves the
/// others' indices as they are. Threading: any number of readers, or one writer.
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

   /// Takes the top off; a default-built value, and no change, when there is none.
   V pop() {
      if( empty() ) return V{};
      V value = std::move( elements_.back().value );
      elements_.pop_back();
      ++version_;
      return value;
   }

   /// The top, the bottom, the element of an index; null when there is none. Good until the next change.
   const V * top() const noexcept { return empty() ? nullptr : &elements_.back().value; }
   const V * bottom() const noexcept { return empty() ? nullptr : &elements_.front().value; }
   const V * find( uint32_t index ) const noexcept {
      for( const Element & e : elements_ )
         if( e.index == index ) return &e.value;
      return nullptr;
   }

   /// False when there is no such index.
   bool erase( uint32_t index ) {
      for( size_t i = 0; i < elements_.size(); ++i ) {
         if( elements_[ i ].index != index ) continue;
         [[maybe_unused]] V gone = std::move( elements_[ i ].value );   // what it held is let go when all is in place again
         elements_.erase( elements_.begin() + static_cast<ptrdiff_t>( i ) );
         ++version_;
         return true;
      }
      return false;
   }

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
