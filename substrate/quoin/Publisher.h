/// @file substrate/quoin/Publisher.h
/// A publisher notifies its subscribers that an attribute of an object has changed. Every notifying object has one publisher; state
/// machines and other watchers are the subscribers.
/// Ownership: neither side owns the other. When either side is destroyed, the subscription ends.
/// Threading: one thread at a time; a delivery and all that it causes run on one thread. Cost: subscribing and unsubscribing allocate
/// nothing, and do not depend on the number of subscribers; unsubscribing visits the deliveries in progress. A publisher is one pointer.
/// Invariant: a subscriber is notified of a change if it is subscribed when the change is published, and still subscribed when its turn
/// comes.
#pragma once

#include <cstdint>

#include "routepolicy_export.h"

namespace Quoin {

/// Numbers the attributes of a class.
using FieldId = uint16_t;

/// Whether two keys of a collection are equal. A subscriber that watches one key compares keys with it.
using KeyIsEq = bool ( * )( const void * a, const void * b );

/// One change of an attribute. The pointers are valid only during the call.
struct Change {
   FieldId field;
   const void * key = nullptr;        // the key of a collection's member; null for a plain attribute
   const void * oldValue = nullptr;   // the member's previous value; null if the writer does not supply it
   KeyIsEq keyIsEq = nullptr;         // compares keys of this collection; null for a plain attribute
};

class Publisher;

/// Watches one publisher at a time. A class that watches several objects has one Subscriber for each.
class ROUTEPOLICY_API Subscriber {
 public:
   Subscriber( const Subscriber & ) = delete;
   Subscriber & operator=( const Subscriber & ) = delete;

   /// Called for each change, inside the write. It is re-entrant: it may subscribe, unsubscribe, write, and destroy subscribers,
   /// including this one. Errors: an exception ends the process.
   virtual void onChange( const Change & change ) = 0;

   /// Whether a subscription exists. It ends when the publisher is destroyed.
   bool subscribed() const noexcept { return publisher_ != nullptr; }
   /// Ends the subscription. Does nothing if no subscription exists.
   void unsubscribe() noexcept;

 protected:
   Subscriber() = default;
   virtual ~Subscriber();   // never deleted through this type

 private:
   friend class Publisher;
   Publisher * publisher_ = nullptr;
   Subscriber * prev_ = nullptr;   // of the first subscriber: the last one
   Subscriber * next_ = nullptr;   // of the last subscriber: null
   bool active_ = true;
};

/// The list of an object's subscribers.
class ROUTEPOLICY_API Publisher {
 public:
   Publisher() noexcept = default;
   ~Publisher();
   Publisher( const Publisher & ) = delete;
   Publisher & operator=( const Publisher & ) = delete;

   /// Adds a subscriber at the end of the list; a subscription to another publisher ends first. While `active` is false, the
   /// subscriber keeps its place in the list and is not notified; a second call with the same subscriber changes `active`. A new
   /// subscriber is not notified of a change whose delivery is already in progress.
   /// Errors: MutatorArgNullPointerException on null.
   void subscriberAdd( Subscriber * subscriber, bool active = true );

   /// Removes a subscriber. Does nothing if it is not subscribed to this publisher.
   void subscriberRemove( Subscriber * subscriber ) noexcept;

   /// Notifies every subscriber, in the order of subscription, that `field` has changed.
   void publishChange( FieldId field ) noexcept {
      if( first_ ) deliver( Change{ field } );
   }

   /// Notifies every subscriber that the member under `key` of the collection `field` has changed. The arguments become the Change.
   void publishChangeRecursive( FieldId field, const void * key, const void * oldValue, KeyIsEq keyIsEq ) noexcept {
      if( first_ ) deliver( Change{ field, key, oldValue, keyIsEq } );
   }

 private:
   friend class Subscriber;
   class Delivery;

   void deliver( const Change & change ) noexcept;
   void append( Subscriber & subscriber ) noexcept;
   void unlink( Subscriber & subscriber ) noexcept;

   Subscriber * first_ = nullptr;
};

}   // namespace Quoin
