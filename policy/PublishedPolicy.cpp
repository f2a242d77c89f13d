#include "policy/PublishedPolicy.h"

#include <iterator>

namespace Routing::Policy {

// ---- the state

PublishedPolicy::State::State() : generations( 1, Generation( nullptr ) ), current( &generations.back() ) {}
PublishedPolicy::State::~State() = default;

PublishedPolicy::Generation & PublishedPolicy::State::readerIs( Generation * old ) noexcept {
   const std::lock_guard lock( mutex );
   if( old ) --old->readers;
   Generation & newest = generations.back();
   ++newest.readers;
   return newest;
}

void PublishedPolicy::State::readerDel( Generation & old ) noexcept {
   const std::lock_guard lock( mutex );
   --old.readers;
}

// ---- the activity thread

PublishedPolicy::PublishedPolicy() : state_( Quoin::makeNode<State>() ) {}

PublishedPolicy::~PublishedPolicy() {
   retiredDelAll();   // a reader that outlives this object need not free them
}

void PublishedPolicy::policyIs( PolicyPtr policy ) {
   if( policy != this->policy() ) {
      Generations next;
      next.emplace_back( std::move( policy ) );
      const std::lock_guard lock( state_->mutex );
      state_->generations.splice( state_->generations.end(), next );
      state_->current.store( &state_->generations.back(), std::memory_order_release );
   }
   retiredDelAll();
}

size_t PublishedPolicy::retiredDelAll() noexcept {
   Generations unread;   // freed after the mutex: readers need not wait, and a destructor may call this object, or destroy it
   size_t held = 0;
   const std::lock_guard lock( state_->mutex );
   auto & all = state_->generations;
   for( auto next = all.begin(); next != std::prev( all.end() ); ) {
      const auto generation = next++;
      if( generation->readers == 0 )
         unread.splice( unread.end(), all, generation );
      else
         ++held;
   }
   return held;
}

// ---- a reader

PublishedPolicy::Reader::Reader( const PublishedPolicy & published ) noexcept
      : state_( published.state_ ), generation_( &state_->readerIs( nullptr ) ) {}

PublishedPolicy::Reader::~Reader() {
   state_->readerDel( *generation_ );
}

}   // namespace Routing::Policy
