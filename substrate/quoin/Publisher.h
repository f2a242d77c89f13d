/// @file substrate/quoin/Publisher.h
/// Tells those who watch an object that one of its attributes has changed.
/// Ownership: neither side owns the other. A subscriber that goes leaves its publisher; a publisher that goes lets its subscribers go.
/// Threading: one thread at a time. Cost: subscribing and leaving are O(1); a publisher without subscribers is one null pointer.
/// Invariant: a subscriber hears of a change if it was subscribed when the change was published and still is when its turn comes.
#pragma once

#include <cstdint>

#include "routepolicy_export.h"

namespace Quoin {

using FieldId = uint16_t;   // a small number per attribute of a class

/// Two keys are the same one: what tells a keyed change of interest from others.
using KeyIsEq = bool ( * )( const void * a, const void * b );

/// What is told of one change. Pointers are good for the span of the call only.
struct Change {
   FieldId field;
   const void * key = nullptr;        // of a collection's member; null for a plain attribute
   const void * oldValue = nullptr;   // what the member was, where the writer still has it
   KeyIsEq keyIsEq = nullptr;
};

class Publisher;

/// Watches one publisher at a time. A watcher of several objects has one of these for each.
class ROUTEPOLICY_API Subscriber {
 public:
   Subscriber( const Subscriber & ) = delete;
   Subscriber & operator=( const Subscriber & ) = delete;

   /// Runs inside the write. It may subscribe, leave, write, and destroy subscribers, this one too.
   virtual void onChange( const Change & change ) = 0;

   bool subscribed() const noexcept { return list_ != nullptr; }
   /// Leaves the publisher; nothing happens if there is none.
   void unsubscribe() noexcept;

 protected:
   Subscriber() = default;
   virtual ~Subscriber();   // never deleted through this type

 private:
   friend class Publisher;
   struct List;
   List * list_ = nullptr;
   Subscriber * prev_ = nullptr;
   Subscriber * next_ = nullptr;
   uint64_t since_ = 0;   // number of the last change published before this one subscribed
   bool active_ = true;
};

class ROUTEPOLICY_API Publisher {
 public:
   Publisher() noexcept;
   ~Publisher();
   Publisher( const Publisher & ) = delete;
   Publisher & operator=( const Publisher & ) = delete;

   /// Adds at the end. A subscriber of another publisher leaves that one first. While `active` is false it is in the list and
   /// hears nothing; adding it again changes that. What is being published right now is not delivered to a new one.
   /// Errors: MutatorArgNullPointerException on null.
   void subscriberAdd( Subscriber * subscriber, bool active = true );

   /// Nothing happens if it is not subscribed here.
   void subscriberRemove( Subscriber * subscriber ) noexcept;

   /// Tells every subscriber, in the order of their coming, that `field` has changed.
   void publishChange( FieldId field ) {
      if( list_ ) deliver( Change{ field } );
   }

   /// The same for a member of a collection, or a nested attribute.
   void publishChangeRecursive( FieldId field, const void * key, const void * oldValue, KeyIsEq keyIsEq ) {
      if( list_ ) deliver( Change{ field, key, oldValue, keyIsEq } );
   }

 private:
   void deliver( const Change & change );
   Subscriber::List * list_ = nullptr;   // owned; created for the first subscriber
};

}   // namespace Quoin
