// How much do logs and timers add to the cost of an evaluation, and what does it cost to print a log?

#include <sstream>
#include <string>
#include <vector>

#include "bench/Policies.h"
#include "policy/PolicyEvalContext.h"
#include "policy/PolicyEvaluationLog.h"
#include "policy/TagMatcher.h"
#include "substrate/trailmark/Trailmark.h"

namespace {

using namespace Bench;
using Routing::Policy::PolicyEvalContext;
using Routing::Policy::PolicyEvaluationLog;

// A route map whose sequences match the tags 1 to `count`.
Quoin::Ptr<const RouteMapStatus> mapOfTags( uint32_t count ) {
   auto map = Quoin::makeNode<RouteMapStatus>( "logged" );
   for( uint32_t tag = 1; tag <= count; ++tag )
      map->seqStatusIs( sequence( 10 * tag, MatchOption::matchTag, Quoin::makeNode<Routing::Policy::TagMatcher>( tag ) ) );
   return map;
}

Quoin::Ptr<PolicyEvalContext> context( bool timers ) {
   auto c = Quoin::makeNode<PolicyEvalContext>();
   c->enableTrailmarkIs( timers );
   return c;
}

// The pieces of a text, each with the separator that ends it.
std::vector<std::string> pieces( const std::string & text, char separator ) {
   std::vector<std::string> row;
   for( size_t at = 0; at < text.size(); ) {
      const size_t end = std::min( text.find( separator, at ), text.size() - 1 ) + 1;
      row.push_back( text.substr( at, end - at ) );
      at = end;
   }
   return row;
}

size_t writtenToStream( const std::vector<std::string> & row ) {
   std::ostringstream os;
   for( const auto & piece : row ) os << piece;
   return os.str().size();
}

std::string json( const PolicyEvaluationLog & log ) {
   Gloss::RendererV2 renderer;
   renderer.write( "{" );
   log.toJson( &renderer );
   renderer.write( "}" );
   return renderer.text();
}

void measureAt( uint32_t sequences ) {
   const std::string size = grouped( sequences );
   if( !wanted( "logs and timers, " + size ) ) return;
   const auto map = mapOfTags( sequences );
   struct Setting {
      const char * name;
      bool log;
      bool timers;
      Point point;
   };
   Setting settings[] = { { "evaluation with a context alone", false, false, Point( map ) },
                          { "evaluation with timers", false, true, Point( map ) },
                          { "evaluation with a log", true, false, Point( map ) },
                          { "evaluation with a log and timers", true, true, Point( map ) } };
   Point plain( map );

   // Every second route matches the last sequence, the others match none. Each evaluation therefore visits all sequences.
   constexpr size_t n = 2'000;
   auto evaluate = [ sequences ]( Point & point ) {
      const bool logged = point.evaluator().shouldLogEval();
      return overlapped( n, [ & ]( size_t i ) -> size_t {
         point.input().tagIs( i % 2 ? sequences : 0 );
         const bool permitted = point.permits();
         if( logged ) {
            if( point.evaluator().evaluationLogs()->count() != 1 ) fail( "an evaluation did not leave one log" );
            point.evaluator().resetEvaluationLog();
         }
         return permitted;
      } );
   };
   Group group;
   const auto without = group.way( "without", n, [ & ] { return evaluate( plain ); } );
   for( auto & s : settings ) {
      s.point.evaluator().contextIs( context( s.timers ) );
      s.point.evaluator().shouldLogEvalIs( s.log );
      const uint64_t before = Trailmark::defaultTrailmarkHandle().written();
      evaluate( s.point );
      if( ( Trailmark::defaultTrailmarkHandle().written() != before ) != s.timers ) fail( std::string( s.name ) + ": wrong timers" );
      group.row( s.name, size, group.way( s.name, n, [ & ] { return evaluate( s.point ); } ), without );
   }

   Point logged( map );
   logged.evaluator().contextIs( context( false ) );
   logged.evaluator().shouldLogEvalIs( true );
   logged.input().tagIs( sequences );
   if( !logged.permits() ) fail( "a matching route is denied" );
   const auto & log = static_cast<const PolicyEvaluationLog &>( **logged.evaluator().evaluationLogs()->front() );
   const auto lines = pieces( std::string( log.toStrep( 0 ).view() ), '\n' );
   const auto members = pieces( json( log ), ',' );
   if( log.seq().count() != sequences || lines.size() <= sequences || members.size() <= sequences ) fail( "a log misses sequences" );
   constexpr size_t kTexts = 100;
   auto texts = []( auto && size ) { return overlapped( kTexts, [ & ]( size_t ) -> size_t { return size(); } ); };
   group.row( "a log's text form", size,
              group.way( "text", kTexts, [ & ] { return texts( [ & ] { return log.toStrep( 0 ).view().size(); } ); } ),
              group.way( "std::ostream, line by line", kTexts, [ & ] { return texts( [ & ] { return writtenToStream( lines ); } ); } ) );
   group.row( "a log's JSON form", size, group.way( "JSON", kTexts, [ & ] { return texts( [ & ] { return json( log ).size(); } ); } ),
              group.way( "std::ostream, by member", kTexts, [ & ] { return texts( [ & ] { return writtenToStream( members ); } ); } ) );
   group.run();
}

void measureAll() {
   for( const uint32_t sequences : { 1u, 10u, 100u } ) measureAt( sequences );
}

}   // namespace

int main( int argc, char ** argv ) {
   return Bench::benchMain( argc, argv, measureAll );
}
