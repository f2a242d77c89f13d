/// @file tests/model/GenerationReaders.h
/// Two threads that ask the generations of a list, while new generations come and old ones go.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "substrate/quoin/Ptr.h"

/// A generation, and the key that it alone has not.
template <class List>
struct Generation {
   Quoin::Ptr<const List> list;
   uint32_t missing = 0;
};

/// The readers. Each holds five generations, and is the last user of some. They ask at least a thousand questions in all.
template <class List>
class GenerationReaders {
 public:
   /// `wrongAnswers( generation, i )` asks the i-th question, and returns the number of wrong answers.
   GenerationReaders( Generation<List> first, std::function<int( const Generation<List> &, uint32_t )> wrongAnswers )
         : present_( std::move( first ) ), wrongAnswers_( std::move( wrongAnswers ) ) {
      for( uint32_t t = 0; t < 2; ++t ) threads_.emplace_back( [ this, t ] { read( t ); } );
   }
   ~GenerationReaders() { end(); }
   GenerationReaders( const GenerationReaders & ) = delete;
   GenerationReaders & operator=( const GenerationReaders & ) = delete;

   /// The key that the present generation has not.
   uint32_t missing() const { return present_.missing; }   // written by this thread only
   void presentIs( Generation<List> next ) {
      const std::lock_guard lock( mutex_ );
      std::swap( present_, next );
   }
   /// Ends the threads. Returns the number of wrong answers.
   int end() {
      ends_ = true;
      for( auto & thread : threads_ ) thread.join();
      threads_.clear();
      return wrong_;
   }

 private:
   void read( uint32_t first ) {
      std::vector<Generation<List>> held( 5 );
      for( uint32_t i = first; !ends_ || asked_ < 1000; ++i ) {
         Generation<List> & mine = held[ i % held.size() ];
         {
            Generation<List> taken;   // the former one is released without the lock
            {
               const std::lock_guard lock( mutex_ );
               taken = present_;
            }
            std::swap( mine, taken );
         }
         wrong_ += wrongAnswers_( mine, i );
         ++asked_;
      }
   }

   std::mutex mutex_;
   Generation<List> present_;
   const std::function<int( const Generation<List> &, uint32_t )> wrongAnswers_;
   std::atomic<bool> ends_ = false;
   std::atomic<int> wrong_ = 0;
   std::atomic<size_t> asked_ = 0;
   std::vector<std::thread> threads_;
};
