/// @file bench/Measure.h
/// Measures several ways to answer the same questions, checks that their answers are equal, and prints one row per comparison.
/// The ways of a comparison run in turns. The fastest turn of each way counts, since other programs on the machine disturbed it least.
#pragma once

#if !defined( NDEBUG ) || !defined( __OPTIMIZE__ )
#error "A number from a debug build would only mislead: use the release preset."
#endif

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <limits>
#include <regex>
#include <string>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>

namespace Bench {

[[noreturn]] inline void fail( const std::string & why ) {
   std::fprintf( stderr, "%s\n", why.c_str() );
   std::exit( 1 );
}

/// A checksum that depends on the order of the answers.
constexpr uint64_t mixed( uint64_t sum, uint64_t answer ) noexcept {
   return ( sum + answer + 1 ) * 0x9E3779B97F4A7C15u;
}

/// Asks `ask( i )` for each i below `count`. The processor may begin a question before the previous question is answered.
template <class Ask>
uint64_t overlapped( size_t count, Ask && ask ) {
   uint64_t sum = 0;
   for( size_t i = 0; i < count; ++i ) sum = mixed( sum, ask( i ) );
   return sum;
}

/// Asks `count` questions, and returns the checksum of the first `compared`: the other way of a comparison answers only these.
template <class Ask>
uint64_t overlapped( size_t count, size_t compared, Ask && ask ) {
   const uint64_t sum = overlapped( compared, ask );
   benchmark::DoNotOptimize( overlapped( count - compared, [ & ]( size_t i ) { return ask( compared + i ); } ) );
   return sum;
}

/// Makes the processor wait until all previous instructions are complete.
inline void waitForAll() {
#if defined( __x86_64__ )
   asm volatile( "lfence" ::: "memory" );
#elif defined( __aarch64__ )
   asm volatile( "isb" ::: "memory" );
#endif
}

/// Asks the same questions in a chain: the index of a question depends on the previous answer. The processor could still predict an answer
/// that comes from a branch and continue speculatively; the wait prevents this.
template <class Ask>
uint64_t chained( size_t count, Ask && ask ) {
   volatile size_t nothing = 0;   // volatile: the compiler must not know the value
   const size_t mask = nothing;
   uint64_t sum = 0;
   size_t last = 0;
   for( size_t i = 0; i < count; ++i ) {
      last = ask( i ^ ( last & mask ) );
      waitForAll();
      sum = mixed( sum, last );
   }
   return sum;
}

/// The number with separators, such as "500,000".
inline std::string grouped( size_t n ) {
   std::string text = std::to_string( n );
   for( size_t at = text.size(); at > 3; ) text.insert( at -= 3, 1, ',' );
   return text;
}

/// Prints one row of the table.
inline void printRow( const std::string & question, const std::string & size, const char * unit, double ours, const std::string & yardstick,
                      double yardstickValue ) {
   constexpr const char * kFormat = "%-46s %9s %9s %-7s %-28s %9s %8s\n";
   static bool headed = false;
   if( !std::exchange( headed, true ) ) std::printf( kFormat, "question", "size", "ours", "unit", "yardstick", "takes", "ratio" );
   auto number = []( double v ) {
      char text[ 32 ];
      std::snprintf( text, sizeof text, v < 100 ? "%.1f" : "%.0f", v );
      return std::string( text );
   };
   char ratio[ 32 ];
   std::snprintf( ratio, sizeof ratio, ours < 0.1 * yardstickValue ? "%.4f" : "%.2f", ours / yardstickValue );
   std::printf( kFormat, question.c_str(), size.c_str(), number( ours ).c_str(), unit, yardstick.c_str(), number( yardstickValue ).c_str(),
                ratio );
   std::fflush( stdout );
}

/// Whether --benchmark_filter selects a group of comparisons. Without a filter, all groups are selected.
inline bool wanted( const std::string & group ) {
   const std::string filter = benchmark::GetBenchmarkFilter();
   return filter.empty() || filter == "all" || std::regex_search( group, std::regex( filter ) );
}

/// The ways that are measured together, and the rows to print.
class Group {
 public:
   using Way = size_t;

   /// Adds a way: `pass` asks `asked` questions and returns the checksum of the answers. `behind` runs after each pass; its time does not
   /// count.
   Way way( std::string name, size_t asked, std::function<uint64_t()> pass, std::function<void()> behind = {} ) {
      ways_.push_back( { std::move( name ), asked, std::move( pass ), std::move( behind ), 0, std::numeric_limits<double>::infinity() } );
      return ways_.size() - 1;
   }
   /// Adds a comparison of two ways. The row shows the yardstick under the name of its way.
   void row( std::string question, std::string size, Way ours, Way yardstick ) {
      rows_.push_back( { std::move( question ), std::move( size ), ours, yardstick } );
   }

   /// Measures and prints. The program ends if the two ways of a row give different answers.
   void run() {
      for( auto & w : ways_ ) {
         w.answers = w.pass();
         if( w.behind ) w.behind();
      }
      for( const auto & r : rows_ )
         if( ways_[ r.ours ].answers != ways_[ r.yardstick ].answers )
            fail( r.question + ", " + r.size + ": " + ways_[ r.ours ].name + " and " + ways_[ r.yardstick ].name + " answer differently" );

      for( size_t i = 0; i < ways_.size(); ++i ) {
         benchmark::RegisterBenchmark( std::to_string( i ).c_str(), [ &w = ways_[ i ] ]( benchmark::State & state ) {
            for( auto _ : state ) {
               if( w.pass() != w.answers ) state.SkipWithError( "the answers changed" );
               if( !w.behind ) continue;
               state.PauseTiming();
               w.behind();
               state.ResumeTiming();
            }
         } );
      }
      Reporter reporter( ways_ );
      benchmark::RunSpecifiedBenchmarks( &reporter, "all" );
      benchmark::ClearRegisteredBenchmarks();
      for( const auto & r : rows_ )
         printRow( r.question, r.size, "ns", ways_[ r.ours ].bestNs, ways_[ r.yardstick ].name, ways_[ r.yardstick ].bestNs );
   }

 private:
   struct Measured {
      std::string name;
      size_t asked;
      std::function<uint64_t()> pass;
      std::function<void()> behind;
      uint64_t answers;
      double bestNs;   // per question
   };
   struct Row {
      std::string question;
      std::string size;
      Way ours;
      Way yardstick;
   };
   class Reporter final : public benchmark::BenchmarkReporter {
    public:
      explicit Reporter( std::vector<Measured> & ways ) : ways_( ways ) {}
      bool ReportContext( const Context & ) override { return true; }
      void ReportRuns( const std::vector<Run> & runs ) override {
         for( const Run & run : runs ) {
            Measured & w = ways_[ std::stoul( run.run_name.function_name ) ];
            if( run.error_occurred ) fail( w.name + ": " + run.error_message );
            if( run.run_type != Run::RT_Iteration ) continue;
            w.bestNs = std::min( w.bestNs, run.GetAdjustedCPUTime() / static_cast<double>( w.asked ) );
         }
      }

    private:
      std::vector<Measured> & ways_;
   };

   std::vector<Measured> ways_;
   std::vector<Row> rows_;
};

/// The body of main(): parses the options of Google Benchmark. Turns are as described above, unless options change this.
inline int benchMain( int argc, char ** argv, void ( *measureAll )() ) {
   std::vector<std::string> given( argv, argv + argc );
   given.insert( given.begin() + 1,
                 { "--benchmark_repetitions=5", "--benchmark_enable_random_interleaving=true", "--benchmark_min_time=0.05" } );
   std::vector<char *> args;
   for( auto & g : given ) args.push_back( g.data() );
   int count = static_cast<int>( args.size() );
   args.push_back( nullptr );
   benchmark::Initialize( &count, args.data() );
   if( benchmark::ReportUnrecognizedArguments( count, args.data() ) ) return 1;
   measureAll();
   return 0;
}

}   // namespace Bench
