// A configuration file that is edited over and over, as watch follows it, against its last good text read afresh.
#include <gtest/gtest.h>

#include <sstream>

#include "command/RouteEvaluator.h"
#include "tests/agent/RandomPolicy.h"
#include "tests/model/RandomCases.h"
#include "text/LineLoader.h"
#include "text/TextWriter.h"

namespace Agent {
namespace {

constexpr int kEdits = 1000;
constexpr int kCheckedEvery = 10;
constexpr int kRoutes = 60;
constexpr size_t kUsualLines = 80;   // of the file

using Lines = std::vector<std::string>;

void appendLines( Lines & to, const std::string & text ) {
   std::istringstream from( text );
   for( std::string line; std::getline( from, line ); ) to.push_back( line );
}

std::string textOf( const Lines & lines ) {
   std::string text;
   for( const auto & line : lines ) text += line + '\n';
   return text;
}

/// The file, and its editor.
class EditedFile {
 public:
   explicit EditedFile( RandomPolicy & random ) : random_( random ) {
      while( pool_.size() < 6 * kUsualLines ) addPolicy();
   }

   std::string text() const { return textOf( lines_ ); }
   std::string goodText() const { return textOf( good_ ); }
   void wasGood() { good_ = lines_; }

   /// Changes one thing. What turned out to be wrong is more often undone than worked on.
   void edit() {
      if( lines_ != good_ && !random_.oneIn( 3 ) ) lines_ = good_;
      switch( random_.upTo( 9 ) ) {
         case 0: return add( random_.oneIn( 2 ) ? " bogus" : "route-map" );
         case 1:
         case 2: return remove();
         case 3:
         case 4:
         case 5: return change();
         default: return lines_.size() < kUsualLines ? add( anyLine() ) : remove();
      }
   }

 private:
   // Lines that may stand in such a file: those of random policies. The first is what the file begins with.
   void addPolicy() {
      PolicyText text;
      for( int changes = 0; changes < 60; ++changes ) random_.change( text );
      const std::string written = writeText( text );
      LineLoader loader( Dialect::native );
      loader.load( "random.conf", written );
      if( !loader.errors().empty() ) return;   // it says more than lines can
      appendLines( pool_, written );
      if( good_.empty() ) lines_ = good_ = pool_;
   }

   size_t place() { return random_.upTo( static_cast<uint32_t>( lines_.size() - 1 ) ); }
   const std::string & anyLine() { return pool_[ random_.upTo( static_cast<uint32_t>( pool_.size() - 1 ) ) ]; }
   void add( const std::string & line ) { lines_.insert( lines_.begin() + random_.upTo( static_cast<uint32_t>( lines_.size() ) ), line ); }
   void remove() {
      if( !lines_.empty() ) lines_.erase( lines_.begin() + static_cast<std::ptrdiff_t>( place() ) );
   }
   void change() {
      if( !lines_.empty() ) lines_[ place() ] = anyLine();
   }

   RandomPolicy & random_;
   Lines pool_;
   Lines lines_;
   Lines good_;
};

void checkRouteMap( const std::string & name, const LivePolicy & live, const LivePolicy & fresh, const std::vector<TableRoute> & routes ) {
   ASSERT_TRUE( bool( live.routeMap( name ) ) == bool( fresh.routeMap( name ) ) );
   if( !live.routeMap( name ) ) return;
   const RouteEvaluator now( live.routeMap( name ), Dialect::native ), expected( fresh.routeMap( name ), Dialect::native );
   ASSERT_TRUE( now.sequences() == expected.sequences() );
   RouteAnswer a, b;
   for( const auto & route : routes ) {
      now.evaluate( route, a );
      expected.evaluate( route, b );
      ASSERT_TRUE( a.permitted == b.permitted );
      ASSERT_TRUE( a.sequences == b.sequences );
      ASSERT_TRUE( !a.permitted || sameRoute( a.result, b.result ) );
   }
}

void checkAgainstFreshLoad( const LivePolicy & live, const std::string & text, const std::vector<TableRoute> & routes ) {
   LineLoader loader( Dialect::native );
   loader.load( "edited.conf", text );
   ASSERT_TRUE( loader.errors().empty() );
   LivePolicy fresh;
   fresh.apply( loader.text() );
   ASSERT_TRUE( live.text() == fresh.text() );
   ASSERT_TRUE( writeText( live.text() ) == writeText( fresh.text() ) );
   for( const char * name : { "M1", "M2", "M3", "M4", "M5" } ) checkRouteMap( name, live, fresh, routes );
}

void followEdits( uint32_t seed, int edits ) {
   RandomPolicy random( seed );
   std::vector<TableRoute> routes;
   for( int i = 0; i < kRoutes; ++i ) routes.push_back( random.route() );
   EditedFile file( random );
   LivePolicy live;
   int applied = 0, broken = 0;
   for( int step = 0; step < edits; ++step ) {
      LineLoader loader( Dialect::native );
      loader.load( "edited.conf", file.text() );
      if( loader.errors().empty() ) {
         live.apply( loader.text() );
         file.wasGood();
         ++applied;
      } else {
         ++broken;
      }
      if( applied != 0 && ( step % kCheckedEvery == 0 || step + 1 == edits ) ) checkAgainstFreshLoad( live, file.goodText(), routes );
      file.edit();
   }
   ASSERT_TRUE( applied >= edits / 4 );
   ASSERT_TRUE( broken >= edits / 100 );
}

TEST( WatchModel, aThousandEditsEndWhereTheLastGoodTextAloneDoes ) {
   forSomeCases( 5, []( Random & random ) { followEdits( static_cast<uint32_t>( random() ), kEdits ); } );
}

}   // namespace
}   // namespace Agent
