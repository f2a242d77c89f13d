// Two threads evaluate what is published, and what was, while a random program edits: the verdicts are those of the generation that a
// thread took, also when it lets go of it as the last.

#include "tests/model/CompilationModel.h"

#include <atomic>
#include <deque>
#include <mutex>
#include <thread>

namespace {

using namespace CompilationModel;

const std::vector<MatchInput_> & inputs() {
   static const std::vector<MatchInput_> all = [] {
      std::vector<MatchInput_> made;
      for( const Route & route : sampleRoutes() ) made.push_back( EvaluationModel::twinOf( route ) );
      return made;
   }();
   return all;
}

/// A published status, and what the activity thread made of every route when it was.
struct Generation {
   Ptr<const RouteMapStatus> status;
   std::vector<Verdict> verdicts;
};

/// Where the activity thread puts what it publishes.
class Board {
 public:
   std::optional<Generation> present( unsigned map ) const {
      const std::lock_guard lock( mutex_ );
      return maps_[ map ];
   }
   void presentIs( unsigned map, const Ptr<const RouteMapStatus> & status ) {
      std::optional<Generation> next;
      if( status ) {
         next = Generation{ status, {} };
         for( const auto & input : inputs() ) next->verdicts.push_back( verdictOf( *status, input ) );
      }
      const std::lock_guard lock( mutex_ );
      std::swap( maps_[ map ], next );
   }

 private:
   mutable std::mutex mutex_;
   std::optional<Generation> maps_[ kMaps ];
};

/// A thread that evaluates until it is told to stop, and at least some rounds.
class Reader {
 public:
   Reader( const Board & board, const std::atomic<bool> & done, unsigned seed )
         : board_( board ), done_( done ), random_( seed ), thread_( [ this ] { run(); } ) {}
   void join() { thread_.join(); }

   uint64_t verdicts = 0, generations = 0;
   std::string wrong;   // the first; empty for none

 private:
   void run() {
      std::deque<Generation> kept;
      const RouteMapStatus * last[ kMaps ] = {};
      for( unsigned round = 0; wrong.empty() && ( round < 1000 || !done_.load( std::memory_order_relaxed ) ); ++round ) {
         const unsigned map = unsigned( random_() % kMaps );
         if( auto now = board_.present( map ) ) {
            generations += last[ map ] != now->status.get();
            last[ map ] = now->status.get();
            ask( *now );
            kept.push_back( std::move( *now ) );
            if( kept.size() > 16 ) kept.pop_front();
         }
         if( !kept.empty() ) ask( kept[ random_() % kept.size() ] );   // an old one answers as it always did
      }
   }

   void ask( const Generation & generation ) {
      const size_t i = random_() % inputs().size();
      const Verdict verdict = verdictOf( *generation.status, inputs()[ i ] );
      ++verdicts;
      if( verdict == generation.verdicts[ i ] ) return;
      std::ostringstream os;
      os << textOf( generation.status.get() ) << ": " << verdict << ", was " << generation.verdicts[ i ];
      wrong = os.str();
   }

   const Board & board_;
   const std::atomic<bool> & done_;
   std::mt19937 random_;
   std::thread thread_;   // last: it uses the rest
};

TEST( CompilationThreads, whoEvaluatesSeesWholeGenerations ) {
   const char * more = std::getenv( "COMPILATION_PROGRAMS" );
   const unsigned programs = more ? unsigned( std::atoi( more ) ) : 40;
   inputs();
   Board board;
   std::atomic<bool> done = false;
   Reader one( board, done, 1 ), other( board, done, 2 );
   uint64_t published = 0;
   for( unsigned seed = 1; seed <= programs && !HasFailure(); ++seed ) {
      SCOPED_TRACE( "seed " + std::to_string( seed ) );
      Choices choices( seed );
      Program program( choices, [ & ]( unsigned map, const Ptr<const RouteMapStatus> & status ) {
         ++published;
         board.presentIs( map, status );
      } );
      program.run( 100 );
      if( !HasFailure() ) program.checkNothingIsLeft();
   }
   done = true;
   for( Reader * reader : { &one, &other } ) {
      reader->join();
      EXPECT_EQ( reader->wrong, "" );
   }
   EXPECT_GT( published, programs );
   EXPECT_GT( one.verdicts + other.verdicts, 0u );
   EXPECT_GT( one.generations + other.generations, 0u );
   RecordProperty( "verdicts", std::to_string( one.verdicts + other.verdicts ) );
   RecordProperty( "generations", std::to_string( one.generations + other.generations ) );
}

}   // namespace
