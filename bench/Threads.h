/// @file bench/Threads.h
/// Measures what a question costs on each of several threads that ask at the same time.
#pragma once

#include <time.h>

#include <algorithm>
#include <barrier>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <thread>
#include <vector>

#include <benchmark/benchmark.h>

namespace Bench {

// The processor time of this thread. Unit: nanoseconds.
inline double threadNs() {
   timespec t;
   clock_gettime( CLOCK_THREAD_CPUTIME_ID, &t );
   return double( t.tv_sec ) * 1e9 + double( t.tv_nsec );
}

// The time of a question on each of `threads` threads that start together. Other programs may keep one of the threads waiting, so that the
// threads do not disturb each other in this turn: the median of many turns counts.
inline double nsPerQuestion( size_t threads, size_t asked, const std::function<uint64_t()> & pass ) {
   std::vector<double> turns;
   for( int turn = 0; turn < 15; ++turn ) {
      std::barrier start( static_cast<std::ptrdiff_t>( threads ) );
      std::vector<double> ns( threads );
      std::vector<std::thread> running;
      for( size_t t = 0; t < threads; ++t )
         running.emplace_back( [ &, t ] {
            start.arrive_and_wait();
            const double begun = threadNs();
            benchmark::DoNotOptimize( pass() );
            ns[ t ] = threadNs() - begun;
         } );
      for( auto & thread : running ) thread.join();
      turns.insert( turns.end(), ns.begin(), ns.end() );
   }
   std::nth_element( turns.begin(), turns.begin() + static_cast<std::ptrdiff_t>( turns.size() / 2 ), turns.end() );
   return turns[ turns.size() / 2 ] / double( asked );
}

}   // namespace Bench
