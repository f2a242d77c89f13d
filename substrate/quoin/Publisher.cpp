#include "substrate/quoin/Publisher.h"

#include "substrate/plinth/Exception.h"
#include "substrate/quoin/Assert.h"

namespace Quoin {

// One delivery in progress. Deliveries can be nested, since a handler may write. It ends with the subscriber that is the last one at its
// beginning, because later subscribers are not notified of its change.
class Publisher::Delivery {
 public:
   explicit Delivery( Subscriber & first ) noexcept : next_( &first ), last_( first.prev_ ), outer_( innermost ) { innermost = this; }
   ~Delivery() { innermost = outer_; }
   Delivery( const Delivery & ) = delete;
   Delivery & operator=( const Delivery & ) = delete;

   /// The next subscriber to notify; null behind the last one.
   Subscriber * take() noexcept {
      Subscriber * s = next_;
      if( s ) leave( *s );
      return s;
   }

   /// Takes a subscriber out of all deliveries in progress.
   static void subscriberDel( Subscriber & s ) noexcept {
      for( Delivery * d = innermost; d; d = d->outer_ ) {
         if( d->next_ == &s )
            d->leave( s );
         else if( d->last_ == &s )
            d->last_ = s.prev_;
      }
   }

 private:
   void leave( const Subscriber & s ) noexcept { next_ = &s == last_ ? nullptr : s.next_; }

   // Static TLS, as the state of a release has it: each delivery writes the variable.
   [[gnu::tls_model( "initial-exec" )]] static constinit thread_local Delivery * innermost;
   Subscriber * next_;
   Subscriber * last_;
   Delivery * outer_;
};

constinit thread_local Publisher::Delivery * Publisher::Delivery::innermost = nullptr;

Subscriber::~Subscriber() {
   unsubscribe();
}

void Subscriber::unsubscribe() noexcept {
   if( publisher_ ) publisher_->unlink( *this );
}

Publisher::~Publisher() {
   while( first_ ) unlink( *first_ );
}

void Publisher::append( Subscriber & subscriber ) noexcept {
   subscriber.publisher_ = this;
   subscriber.prev_ = first_ ? first_->prev_ : &subscriber;
   subscriber.next_ = nullptr;
   ( first_ ? first_->prev_->next_ : first_ ) = &subscriber;
   first_->prev_ = &subscriber;
}

void Publisher::unlink( Subscriber & subscriber ) noexcept {
   Delivery::subscriberDel( subscriber );
   const bool isFirst = first_ == &subscriber;
   ( isFirst ? first_ : subscriber.prev_->next_ ) = subscriber.next_;
   if( subscriber.next_ )
      subscriber.next_->prev_ = subscriber.prev_;
   else if( first_ )
      first_->prev_ = subscriber.prev_;
   subscriber.publisher_ = nullptr;
   subscriber.prev_ = subscriber.next_ = nullptr;
}

void Publisher::subscriberAdd( Subscriber * subscriber, bool active ) {
   if( !subscriber ) Plinth::throwMutatorArgNullPointerException( "Publisher::subscriberAdd" );
   subscriber->active_ = active;
   if( subscriber->publisher_ == this ) return;
   subscriber->unsubscribe();
   append( *subscriber );
}

void Publisher::subscriberRemove( Subscriber * subscriber ) noexcept {
   if( subscriber && subscriber->publisher_ == this ) unlink( *subscriber );
}

void Publisher::deliver( const Change & change ) noexcept {
   Delivery delivery( *first_ );
   whole( "a reaction", [ & ] {
      while( Subscriber * s = delivery.take() )
         if( s->active_ ) s->onChange( change );   // the call may destroy the subscriber and this publisher
   } );
}

}   // namespace Quoin
