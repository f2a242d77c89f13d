/// @file tests/model/Shrinking.h
/// Runs random test cases and shrinks a case that fails. The report shows the smallest case found that still fails, step by step, and the
/// seed that reproduces the failure. A case fails by a failed expectation, an exception, or an abort of the process: each smaller candidate
/// runs in a forked process.
/// Threading: one thread; when a case fails, the process must have no other thread.
#pragma once

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <exception>
#include <functional>
#include <optional>
#include <string>
#include <utility>

#include <fcntl.h>
#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include "tests/model/Choices.h"

namespace Shrinking {

using Case = std::function<void( Choices & )>;
using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kBudget{ 60 };   // for all candidates of a case
constexpr int kFailed = 1;
constexpr int kAborted = 128 + SIGABRT;

/// The failures of one run of a case. The test does not get these failures.
class Attempt {
 public:
   Attempt() : before_( std::exchange( current_, this ) ) {}
   ~Attempt() { current_ = before_; }
   Attempt( const Attempt & ) = delete;
   Attempt & operator=( const Attempt & ) = delete;

   bool failed() const {
      for( int i = 0; i < results_.size(); ++i )
         if( results_.GetTestPartResult( i ).failed() ) return true;
      return false;
   }
   static const Attempt * current() { return current_; }

 private:
   testing::TestPartResultArray results_;
   testing::ScopedFakeTestPartResultReporter reporter_{ testing::ScopedFakeTestPartResultReporter::INTERCEPT_ONLY_CURRENT_THREAD,
                                                        &results_ };
   Attempt * before_;
   static inline Attempt * current_ = nullptr;
};

inline void play( const Case & body, Choices & choices ) {
   try {
      body( choices );
   } catch( const std::exception & e ) { ADD_FAILURE() << "thrown: " << e.what(); }
}

inline bool fails( const Case & body, Choices & choices ) {
   const Attempt attempt;
   play( body, choices );
   return attempt.failed();
}

/// Runs `f` in a forked process. Returns the exit status of that process, which is the result of `f`; nothing if `f` takes too long.
template <class F>
std::optional<int> inProcess( unsigned seconds, F f ) {
   std::fflush( nullptr );
   const pid_t child = fork();
   if( child == 0 ) {
      alarm( seconds );
      _exit( f() );
   }
   int status = 0;
   if( child < 0 || waitpid( child, &status, 0 ) != child ) return std::nullopt;
   if( WIFSIGNALED( status ) ) return WTERMSIG( status ) == SIGALRM ? std::nullopt : std::optional( 128 + WTERMSIG( status ) );
   return WEXITSTATUS( status );
}

/// Makes the row of a failing case smaller, as long as the case still fails.
class Shrinker {
 public:
   /// `status` is the exit status of a process whose case fails in the same way. `took` is the time that the original case took.
   Shrinker( const Case & body, Choices::Row row, int status, Clock::duration took )
         : body_( body ),
           row_( std::move( row ) ),
           status_( status ),
           seconds_( 2 + static_cast<unsigned>( 3 * took / std::chrono::seconds( 1 ) ) ) {}

   Choices::Row run() {
      for( bool smaller = true; smaller && !isOver(); ) {
         smaller = row_.steps.empty() ? eraseChunks( row_.numbers.size(), &Shrinker::withoutNumbers )
                                      : eraseChunks( row_.steps.size(), &Shrinker::withoutSteps );
         smaller |= zeroNumbers();
      }
      return row_;
   }

 private:
   bool isOver() const { return Clock::now() > deadline_; }
   bool takeIfItFails( const Choices::Row & candidate ) {
      const auto status = inProcess( seconds_, [ & ] {
         const int null = open( "/dev/null", O_WRONLY );
         for( const int stream : { STDOUT_FILENO, STDERR_FILENO } ) dup2( null, stream );
         std::signal( SIGABRT, SIG_DFL );
         Choices choices( candidate );
         try {
            return fails( body_, choices ) ? kFailed : 0;
         } catch( const Choices::Exhausted & ) { return 0; }
      } );
      if( status != status_ ) return false;
      row_ = candidate;
      return true;
   }

   // Tries halves, then quarters, and so on down to single items. Begins at the end: the items after the failure are never needed.
   bool eraseChunks( size_t size, Choices::Row ( Shrinker::*without )( size_t at, size_t count ) const ) {
      bool smaller = false;
      for( size_t chunk = size; chunk && !isOver(); chunk /= 2 )
         for( size_t end = size; end >= chunk && !isOver(); ) {
            const size_t at = end - chunk;
            if( takeIfItFails( ( this->*without )( at, chunk ) ) ) {
               size -= chunk;
               smaller = true;
               end = std::min( end, size );
            } else {
               end = at;
            }
         }
      return smaller;
   }
   Choices::Row withoutNumbers( size_t at, size_t count ) const {
      auto row = row_;
      const auto from = row.numbers.begin() + static_cast<std::ptrdiff_t>( at );
      row.numbers.erase( from, from + static_cast<std::ptrdiff_t>( count ) );
      return row;
   }
   Choices::Row withoutSteps( size_t at, size_t count ) const {
      Choices::Row row;
      row.numbers.assign( row_.numbers.begin(), row_.numbers.begin() + static_cast<std::ptrdiff_t>( row_.steps.front().begin ) );
      for( size_t step = 0; step < row_.steps.size(); ++step ) {
         if( step >= at && step < at + count ) continue;
         row.steps.push_back( { row.numbers.size(), row_.steps[ step ].kind } );
         row.numbers.insert( row.numbers.end(), row_.numbers.begin() + static_cast<std::ptrdiff_t>( row_.steps[ step ].begin ),
                             row_.numbers.begin() + static_cast<std::ptrdiff_t>( row_.end( step ) ) );
      }
      return row;
   }
   bool zeroNumbers() {
      bool smaller = false;
      for( size_t i = 0; i < row_.numbers.size() && !isOver(); ++i ) {
         if( row_.numbers[ i ] == 0 ) continue;
         auto candidate = row_;
         candidate.numbers[ i ] = 0;
         smaller |= takeIfItFails( candidate );
      }
      return smaller;
   }

   const Case & body_;
   Choices::Row row_;
   const int status_;
   const unsigned seconds_;   // for one candidate
   const Clock::time_point deadline_ = Clock::now() + kBudget;
};

/// An aborting process cannot report a failed test. It first shrinks its case and prints the result.
class WhileAborting {
 public:
   WhileAborting( const std::string & replay, const Case & body, const Choices & choices )
         : replay_( replay ), body_( body ), choices_( choices ) {
      current_ = this;
      before_ = std::signal( SIGABRT, tell );
   }
   ~WhileAborting() {
      std::signal( SIGABRT, before_ );
      current_ = nullptr;
   }
   WhileAborting( const WhileAborting & ) = delete;
   WhileAborting & operator=( const WhileAborting & ) = delete;

 private:
   static void tell( int ) {
      std::signal( SIGABRT, SIG_DFL );
      const WhileAborting & now = *current_;
      std::fprintf( stderr, "aborted at %s; the smallest case that fails:\n", now.replay_.c_str() );
      const auto row = Shrinker( now.body_, now.choices_.made(), kAborted, Clock::now() - now.begun_ ).run();
      inProcess( 60, [ & ] {
         Choices last( row, true );
         last_ = &last;
         std::signal( SIGABRT, []( int ) { std::fprintf( stderr, "%s\n", last_->text().c_str() ); } );
         play( now.body_, last );
         return 0;
      } );
   }

   const std::string & replay_;
   const Case & body_;
   const Choices & choices_;
   const Clock::time_point begun_ = Clock::now();
   void ( *before_ )( int );
   static inline const WhileAborting * current_ = nullptr;
   static inline const Choices * last_ = nullptr;
};

inline std::string sizeOf( const Choices::Row & row ) {
   return row.steps.empty() ? std::to_string( row.numbers.size() ) + " choices" : std::to_string( row.steps.size() ) + " steps";
}

/// Runs the case of a seed. `replay` tells the reader how to run the same case again.
inline void run( uint64_t seed, const std::string & replay, const Case & body ) {
   Choices choices( seed );
   const auto begun = Clock::now();
   {
      const WhileAborting aborting( replay, body, choices );
      if( !fails( body, choices ) ) return;
   }
   const auto made = choices.made();
   Choices last( Shrinker( body, made, kFailed, Clock::now() - begun ).run(), true );
   {
      const testing::ScopedTrace trace( __FILE__, __LINE__, replay );
      play( body, last );
   }
   const bool failsAgain = testing::Test::HasFailure();
   ADD_FAILURE() << replay << ( failsAgain ? "" : ", which does not fail again" ) << "; the smallest case that fails, of "
                 << sizeOf( last.made() ) << " where there were " << sizeOf( made ) << ":" << last.text();
}

}   // namespace Shrinking

/// Whether the current case has failed. The rest of a failed case is skipped.
inline bool caseFailed() {
   const auto * attempt = Shrinking::Attempt::current();
   return attempt ? attempt->failed() : testing::Test::HasFailure();
}
