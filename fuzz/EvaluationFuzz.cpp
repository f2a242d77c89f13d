// Reads any bytes as a policy and some routes. The library must give the same answers and logs as the model, in every way to evaluate.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <string>
#include <vector>

#include "tests/model/EvaluationTwin.h"
#include "tests/model/RouteMapGenerator.h"

namespace {

using namespace EvaluationModel;

// Each byte is one choice: no choice has more than 256 different outcomes.
std::vector<uint32_t> rowOf( const uint8_t * data, size_t size ) {
   return { data, data + size };
}

void check( const std::string & differences, const Policy & policy, const Route & route ) {
   if( differences.empty() ) return;
   std::fprintf( stderr, "%s%s%s", differences.c_str(), describe( route ).c_str(), describe( policy ).c_str() );
   std::abort();
}

}   // namespace

extern "C" int LLVMFuzzerTestOneInput( const uint8_t * data, size_t size ) {
   // The routes come first: the policy uses all remaining bytes.
   Choices choices( rowOf( data, size ) );
   Generator generator( choices );
   const std::vector<Route> routes = { generator.route(), generator.route() };
   const Policy policy = generator.policy();
   const Result before = generator.resultBefore( policy );
   const Watching watching = kAllWatching[ choices.below( std::size( kAllWatching ) ) ];
   Twin twin( policy );
   for( const Route & route : routes ) {
      check( differencesOf( twin, route, before, Watching::nothing ), policy, route );
      check( differencesOf( twin, route, before, Watching::log ), policy, route );
      check( differencesOf( twin, route, before, watching ), policy, route );
      for( size_t i = 0; i < policy.routeMaps.size(); ++i ) check( differencesOfCopies( twin, i, route, before, watching ), policy, route );
   }
   return 0;
}
