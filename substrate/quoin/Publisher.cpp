#include "substrate/quoin/Publisher.h"

#include "substrate/plinth/Exception.h"
#include "substrate/quoin/Assert.h"

namespace Quoin {

struct Subscriber::List {
#if defined( __GNUC__ ) && !defined( __clang__ )
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdangling-pointer"   // the cursor removes itself from the list in its destructor
#endif
   // One delivery in progress. Deliveries of one publisher can be nested, since a handler may write to the object that it watches.
   struct Cursor {
      List * list;         // null after the publisher was destroyed
      Subscriber * next;   // the next subscriber to notify
      Cursor * outer;
      explicit Cursor( List & l ) : list( &l ), next( l.first ), outer( l.deliveries ) { l.deliveries = this; }
      ~Cursor() {
         if( list ) list->deliveries = outer;
      }
   };
#if defined( __GNUC__ ) && !defined( __clang__ )
#pragma GCC diagnostic pop
#endif

   Subscriber * first = nullptr;
   Subscriber * last = nullptr;
   Cursor * deliveries = nullptr;
   uint64_t published = 0;

   void append( Subscriber * s ) {
      s->list_ = this;
      s->prev_ = last;
      s->next_ = nullptr;
      s->since_ = published;
      ( last ? last->next_ : first ) = s;
      last = s;
   }

   void unlink( Subscriber * s ) noexcept {
      for( Cursor * c = deliveries; c; c = c->outer )
         if( c->next == s ) c->next = s->next_;
      ( s->prev_ ? s->prev_->next_ : first ) = s->next_;
      ( s->next_ ? s->next_->prev_ : last ) = s->prev_;
      s->list_ = nullptr;
      s->prev_ = s->next_ = nullptr;
   }
};

Subscriber::~Subscriber() {
   unsubscribe();
}

void Subscriber::unsubscribe() noexcept {
   if( list_ ) list_->unlink( this );
}

Publisher::Publisher() noexcept = default;

Publisher::~Publisher() {
   if( !list_ ) return;
   for( auto * c = list_->deliveries; c; c = c->outer ) {
      c->next = nullptr;
      c->list = nullptr;
   }
   while( list_->first ) list_->unlink( list_->first );
   delete list_;
}

void Publisher::subscriberAdd( Subscriber * subscriber, bool active ) {
   if( !subscriber ) Plinth::throwMutatorArgNullPointerException( "Publisher::subscriberAdd" );
   if( !list_ ) list_ = new Subscriber::List;
   subscriber->active_ = active;
   if( subscriber->list_ == list_ ) return;
   if( subscriber->list_ ) subscriber->list_->unlink( subscriber );
   list_->append( subscriber );
}

void Publisher::subscriberRemove( Subscriber * subscriber ) noexcept {
   if( list_ && subscriber && subscriber->list_ == list_ ) list_->unlink( subscriber );
}

void Publisher::deliver( const Change & change ) noexcept {
   Subscriber::List & list = *list_;
   const uint64_t number = ++list.published;
   Subscriber::List::Cursor cursor( list );
   whole( "a reaction", [ & ] {
      while( Subscriber * s = cursor.next ) {
         cursor.next = s->next_;
         if( s->active_ && s->since_ < number ) s->onChange( change );   // the call may destroy the subscriber
      }
   } );
}

}   // namespace Quoin
