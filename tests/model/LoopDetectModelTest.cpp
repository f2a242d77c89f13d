// Loop detection against a naive closure over random call graphs.
#include <algorithm>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "compile/RouteMapLoopDetect.h"
#include "tests/compile/Fixtures.h"
#include "tests/model/RandomCases.h"

namespace {

using Quoin::makeNode;
using Quoin::Ptr;
using Routing::Policy::RouteMapLoopDetect;
using Routing::Policy::CompileFixtures::TraceLog;
using Routing::RouteMap::Config;

/// What each sequence of one route map calls, in order; an empty name calls nothing.
struct Call {
   std::string name;
   bool invert;
};
using Calls = std::vector<Call>;
using Graph = std::map<std::string, Calls>;   // only what is defined has an entry

std::string textOf( const Graph & graph ) {
   std::string text;
   for( const auto & [ name, calls ] : graph ) {
      text += "\n   '" + name + "':";
      for( const auto & call : calls ) text += std::string( call.invert ? " !'" : " '" ) + call.name + "'";
   }
   return text;
}

Ptr<Config> configOf( const Graph & graph, Random & random ) {
   auto config = makeNode<Config>();
   const bool isOrdered = oneIn( random, 2 ), isOrderedFirst = oneIn( random, 2 );
   if( isOrdered && isOrderedFirst ) config->callOrderIs();
   for( const auto & [ name, calls ] : graph ) {
      const auto map = config->routeMapIs( Quoin::String( name ) );
      std::vector<uint32_t> numbers;   // ascending, with gaps
      for( uint32_t seqno = 0; numbers.size() < calls.size(); ) numbers.push_back( seqno += 1 + uint32_t( below( random, 5 ) ) );
      std::vector<size_t> order( calls.size() );
      for( size_t i = 0; i < order.size(); ++i ) order[ i ] = i;
      std::shuffle( order.begin(), order.end(), random );   // the order of writing must not matter
      for( const size_t i : order )
         map->mapEntryIs( numbers[ i ] )->subRouteMapIs( { Quoin::String( calls[ i ].name ), calls[ i ].invert } );
   }
   if( isOrdered ) config->callOrderIs();
   return config;
}

/// Reachability over one call or more, by squaring until nothing is added.
class Closure {
 public:
   explicit Closure( const Graph & graph ) {
      for( const auto & member : graph ) names_.push_back( member.first );
      const size_t n = names_.size();
      reach_.assign( n, std::vector<bool>( n ) );
      for( const auto & [ name, calls ] : graph )
         for( const auto & call : calls )
            if( const auto to = indexOf( call.name ) ) reach_[ *indexOf( name ) ][ *to ] = true;
      for( size_t k = 0; k < n; ++k )
         for( size_t i = 0; i < n; ++i )
            for( size_t j = 0; j < n; ++j )
               if( reach_[ i ][ k ] && reach_[ k ][ j ] ) reach_[ i ][ j ] = true;
   }
   bool hasLoops( const std::string & rmName, const std::string & subRmName ) const {
      const auto target = indexOf( subRmName ), asking = indexOf( rmName );
      if( !target ) return false;
      if( asking && ( *asking == *target || reach_[ *target ][ *asking ] ) ) return true;
      for( size_t i = 0; i < names_.size(); ++i )
         if( reach_[ i ][ i ] && ( i == *target || reach_[ *target ][ i ] ) ) return true;
      return false;
   }

 private:
   std::optional<size_t> indexOf( const std::string & name ) const {
      const auto i = std::find( names_.begin(), names_.end(), name );
      return i == names_.end() ? std::nullopt : std::optional( size_t( i - names_.begin() ) );
   }
   std::vector<std::string> names_;
   std::vector<std::vector<bool>> reach_;
};

/// The first loop on the ways from the target, all of them tried in order of sequence; exponential, so for small graphs only.
std::optional<std::string> firstLoop( const Graph & graph, std::vector<std::string> & path, const std::string & name ) {
   if( std::find( path.begin(), path.end(), name ) != path.end() ) return name;
   path.push_back( name );
   for( const auto & call : graph.at( name ) ) {
      if( ( call.name.empty() && !call.invert ) || !graph.contains( call.name ) ) continue;
      if( auto found = firstLoop( graph, path, call.name ) ) return found;
   }
   path.pop_back();
   return std::nullopt;
}

std::string numbered( size_t i ) {
   return "RM" + std::to_string( i );
}

/// Graphs of every density; often without a cycle, so that both answers are common.
Graph anyGraph( Random & random, size_t maxMaps ) {
   const size_t maps = below( random, maxMaps + 1 );
   const bool acyclic = oneIn( random, 2 );
   Graph graph;
   for( size_t i = 0; i < maps; ++i ) {
      if( oneIn( random, 8 ) ) continue;   // called, maybe, and not defined
      Calls & calls = graph[ numbered( i ) ];
      for( auto n = below( random, 1 + below( random, 5 ) ); n; --n ) {
         const bool invert = oneIn( random, 4 );
         if( oneIn( random, 5 ) ) {
            calls.push_back( { "", invert } );
         } else {
            const size_t to = acyclic ? i + 1 + below( random, maps ) : below( random, maps + 1 );
            calls.push_back( { numbered( to ), invert } );
         }
      }
   }
   return graph;
}

std::vector<std::string> namesToAsk( size_t maps ) {
   std::vector<std::string> names{ "nobody", "" };
   for( size_t i = 0; i < maps; ++i ) names.push_back( numbered( i ) );
   return names;
}

TEST( LoopDetectModel, theClosureSaysWhatTheExamplesSay ) {
   const Graph graph{ { "A", { { "B", false } } }, { "B", {} },
                      { "C", { { "D", true } } },  { "D", { { "", true }, { "C", false } } },
                      { "E", { { "C", false } } }, { "F", { { "X", false }, { "", true } } } };
   const struct {
      const char * rmName;
      const char * subRmName;
      bool loops;
   } rows[] = {
      { "A", "A", true }, { "X", "X", false }, { "B", "A", true }, { "A", "B", false },
      { "A", "E", true }, { "A", "F", false }, { "X", "C", true }, { "A", "", false },
   };
   for( const auto & row : rows )
      EXPECT_EQ( Closure( graph ).hasLoops( row.rmName, row.subRmName ), row.loops ) << row.rmName << row.subRmName;
}

/// Asks for every pair of names.
void askAll( Random & random, size_t maxMaps, std::map<std::string, size_t> & answers, bool exact ) {
   const auto graph = anyGraph( random, maxMaps );
   const auto config = configOf( graph, random );
   const RouteMapLoopDetect detect{ config };
   const Closure closure( graph );
   TraceLog traces( "RouteMapLoopDetect" );
   for( const auto & rmName : namesToAsk( maxMaps ) )
      for( const auto & subRmName : namesToAsk( maxMaps ) ) {
         const bool expected = closure.hasLoops( rmName, subRmName );
         ASSERT_EQ( detect.hasLoops( Quoin::String( rmName ), Quoin::String( subRmName ) ), expected )
            << "'" << rmName << "' calls '" << subRmName << "' in" << textOf( graph );
         const auto told = traces.take();
         ASSERT_EQ( told.size(), size_t( expected ) ) << rmName << " calls " << subRmName << " in" << textOf( graph );
         ++answers[ expected ? "loops" : "none" ];
         if( !exact || !graph.contains( subRmName ) ) continue;
         std::vector<std::string> path;
         if( graph.contains( rmName ) ) path.push_back( rmName );
         const auto first = firstLoop( graph, path, subRmName );
         ASSERT_EQ( first.has_value(), expected ) << "the two models differ on" << textOf( graph );
         if( first ) {
            ASSERT_EQ( told[ 0 ], "detected loop at " + *first ) << "'" << rmName << "' calls '" << subRmName << "' in" << textOf( graph );
         }
      }
}

TEST( LoopDetectModel, smallGraphsAndWhichLoopIsFoundFirst ) {
   std::map<std::string, size_t> answers;
   forRandomCases( 100, [ & ]( Random & random ) { askAll( random, 7, answers, true ); } );
   EXPECT_EQ( answers.size(), 2u ) << "both answers are given";
}

TEST( LoopDetectModel, largerGraphs ) {
   std::map<std::string, size_t> answers;
   forRandomCases( 3, [ & ]( Random & random ) { askAll( random, 40, answers, false ); } );
   EXPECT_EQ( answers.size(), 2u ) << "both answers are given";
}

// One configuration that goes through many edits: nothing of an earlier walk counts in a later one. If it keeps the order of its calls, no
// edit closes a cycle, so that the order lasts.
TEST( LoopDetectModel, aGraphThatIsEditedBetweenTheQuestions ) {
   forRandomCases( 6, []( Random & random ) {
      const auto config = makeNode<Config>();
      const bool isOrdered = oneIn( random, 2 );
      if( isOrdered ) config->callOrderIs();
      const RouteMapLoopDetect detect{ config };
      Graph graph;
      std::map<std::string, std::map<uint32_t, Call>> sequences;
      const auto name = [ & ] { return numbered( below( random, 8 ) ); };
      for( int i = 0; i < 200 && random.step(); ++i ) {
         const auto map = name();
         const auto seqno = uint32_t( below( random, 4 ) );
         switch( below( random, 6 ) ) {
            case 0:
               random.say( "delete ", map );
               config->routeMapDel( Quoin::String( map ) );
               sequences.erase( map );
               break;
            case 1:
               random.say( "delete ", map, ' ', seqno );
               config->routeMapIs( Quoin::String( map ) )->mapEntryDel( seqno );
               sequences[ map ].erase( seqno );
               break;
            default: {
               const Call call{ oneIn( random, 6 ) ? std::string() : name(), oneIn( random, 3 ) };
               if( isOrdered && ( call.name == map || Closure( graph ).hasLoops( map, call.name ) ) ) break;
               random.say( map, ' ', seqno, " calls '", call.name, "'" );
               config->routeMapIs( Quoin::String( map ) )
                  ->mapEntryIs( seqno )
                  ->subRouteMapIs( { Quoin::String( call.name ), call.invert } );
               sequences[ map ][ seqno ] = call;
            }
         }
         graph.clear();
         for( const auto & [ key, calls ] : sequences ) {
            auto & row = graph[ key ];
            for( const auto & member : calls ) row.push_back( member.second );
         }
         const Closure closure( graph );
         for( int questions = 0; questions < 4; ++questions ) {
            const auto rmName = name(), subRmName = name();
            ASSERT_EQ( detect.hasLoops( Quoin::String( rmName ), Quoin::String( subRmName ) ), closure.hasLoops( rmName, subRmName ) )
               << rmName << " calls " << subRmName << " in" << textOf( graph );
         }
      }
   } );
}

}   // namespace
