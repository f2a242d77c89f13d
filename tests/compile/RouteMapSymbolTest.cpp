#include "compile/RouteMapSymbol.h"

#include <functional>
#include <string>
#include <type_traits>
#include <vector>

#include <gmock/gmock.h>

#include "substrate/quoin/DisplayPointer.h"
#include "substrate/trailmark/Trailmark.h"
#include "substrate/zeugma/HashMix.h"
#include "tests/compile/Fixtures.h"
#include "tests/policy/Fixtures.h"
#include "tests/substrate/routemap/ChangeLog.h"

namespace {

using namespace Routing::Policy;
using CompileFixtures::Reaction;
using CompileFixtures::TraceLog;
using Quoin::FieldId;
using Quoin::makeNode;
using Quoin::Ptr;
using Quoin::String;
using testing::ElementsAre;
using testing::IsEmpty;
using Field = RouteMapSymbol::Field;

static_assert( std::is_base_of_v<Routing::RouteMap::PolicySymbol, RouteMapSymbol> );

Ptr<RouteMapStatus> status( const char * name = "RM" ) {
   return makeNode<RouteMapStatus>( name );
}

/// Runs `atEnd` in its destructor.
struct EndMatcher final : Matcher {
   explicit EndMatcher( std::function<void()> f ) : atEnd( std::move( f ) ) {}
   ~EndMatcher() override { atEnd(); }
   bool match( const MatchInput_ *, const Ptr<PolicyEvalContext> & ) const override { return true; }
   RouteMapFeatures getFeatures() const override { return {}; }
   void formatDerivedType( std::ostream & os ) const override { os << "EndMatcher"; }
   std::function<void()> atEnd;
};

/// The text of the last trailmark but `back`.
std::string trailmark( size_t back = 0 ) {
   const auto records = Trailmark::defaultTrailmarkHandle().read();
   if( records.size() <= back ) return "none";
   const auto & record = records[ records.size() - 1 - back ];
   return std::string( record.message->text() ) + " / " + record.name + " / " + std::to_string( record.value );
}

/// A status that runs `atEnd` when it is destroyed.
Ptr<const RouteMapStatus> statusWithEnd( std::function<void()> atEnd ) {
   auto seq = makeNode<RouteMapSeqStatus>( 10 );
   seq->matcherIs( MatchOption::matchTag, makeNode<EndMatcher>( std::move( atEnd ) ) );
   auto map = status();
   map->seqStatusIs( seq );
   return map;
}

TEST( RouteMapSymbol, aNewOneIsUndefined ) {
   const auto symbol = makeNode<RouteMapSymbol>( "RM1" );
   EXPECT_EQ( symbol->name(), "RM1" );
   EXPECT_EQ( symbol->rmStatus(), nullptr );
   EXPECT_TRUE( symbol->statusCurrent() );
   ASSERT_TRUE( symbol->notifier() );
   EXPECT_EQ( symbol->notifier()->version(), 0u );
   EXPECT_FALSE( symbol->isDeduped() );
}

TEST( RouteMapSymbol, theFactoriesCreateObjects ) {
   const auto symbol = routeMapSymbolFactory( "RM1" );
   EXPECT_EQ( symbol->name(), "RM1" );
   EXPECT_NE( symbol, routeMapSymbolFactory( "RM1" ) );
   const auto all = allRouteMapSymbolFactory();
   EXPECT_TRUE( all->symbol().empty() );
   EXPECT_EQ( all->symbol( "RM" ), nullptr );
   EXPECT_NE( all, allRouteMapSymbolFactory() );
}

TEST( RouteMapSymbol, rmStatusIsPublishesNothing ) {
   const auto symbol = makeNode<RouteMapSymbol>( "RM" );
   symbol->statusCurrentIs( false );
   ChangeLog ofSymbol( *symbol ), ofNotifier( *symbol->notifier() );
   const auto first = status();
   symbol->rmStatusIs( first );
   EXPECT_EQ( symbol->rmStatus(), first );
   symbol->rmStatusIs( nullptr );
   EXPECT_EQ( symbol->rmStatus(), nullptr );
   EXPECT_THAT( ofSymbol.take(), IsEmpty() );
   EXPECT_THAT( ofNotifier.take(), IsEmpty() );
   EXPECT_EQ( symbol->notifier()->version(), 0u );
   EXPECT_FALSE( symbol->statusCurrent() );
}

/// The hash of a name, mixed.
uint32_t mixedHashOf( const String & name ) {
   const uint32_t plain = name.hash();
   Zeugma::HashMix mix;
   mix.mixBytes4( reinterpret_cast<const unsigned char *>( &plain ) );
   return mix;
}

TEST( RouteMapSymbol, onlyTheNameCountsForCompareAndHash ) {
   const struct {
      const char * name;
      String a, b;
      bool equal;
   } rows[] = {
      { "equal", "RM1", "RM1", true },
      { "equal and long", String( std::string( 100, 'x' ) ), String( std::string( 100, 'x' ) ), true },
      { "both empty", "", "", true },
      { "one is a prefix of the other", "RM1", "RM10", false },
      { "differ in case", "rm1", "RM1", false },
      { "differ behind a zero byte", String( std::string( "R\0M", 3 ) ), String( std::string( "R\0N", 3 ) ), false },
      { "one is empty", "", "RM1", false },
   };
   for( const auto & row : rows ) {
      const auto a = makeNode<RouteMapSymbol>( row.a ), b = makeNode<RouteMapSymbol>( row.b );
      a->rmStatusIs( status( "S" ) );
      EXPECT_EQ( a->compare( b.get() ), row.equal ) << row.name;
      EXPECT_EQ( b->compare( a.get() ), row.equal ) << row.name;
      EXPECT_EQ( a->compareByContent( Zeugma::DedupContentHandle( row.b ) ), row.equal ) << row.name;
      EXPECT_EQ( a->hash() == b->hash(), row.equal ) << row.name;
      EXPECT_EQ( a->hash(), mixedHashOf( row.a ) ) << row.name;
      EXPECT_NE( a->notifier(), b->notifier() ) << row.name;
   }
}

// --- updateAndNotify

TEST( RouteMapSymbol, anUpdateWithTheSameStatusRaisesTheVersion ) {
   const auto symbol = makeNode<RouteMapSymbol>( "RM" );
   const auto first = status();
   ChangeLog ofNotifier( *symbol->notifier() );
   symbol->updateAndNotify( first );
   for( uint32_t version = 2; version <= 4; ++version ) {
      ofNotifier.take();
      symbol->updateAndNotify( first );
      EXPECT_EQ( symbol->notifier()->version(), version );
      EXPECT_THAT( ofNotifier.take(), ElementsAre( FieldId( Routing::RouteMap::PolicySymbolNotifier::Field::version ) ) );
   }
   symbol->updateAndNotify( symbol->rmStatus() );
   EXPECT_EQ( symbol->notifier()->version(), 5u );
   EXPECT_EQ( symbol->rmStatus(), first );
}

TEST( RouteMapSymbol, theVersionWrapsAround ) {
   const auto symbol = makeNode<RouteMapSymbol>( "RM" );
   symbol->notifier()->versionInc( ~uint32_t( 0 ) );
   ChangeLog ofNotifier( *symbol->notifier() );
   symbol->updateAndNotify( status() );
   EXPECT_EQ( symbol->notifier()->version(), 0u );
   EXPECT_EQ( ofNotifier.take().size(), 1u );
}

/// Writes down each publication with what a reader finds at that moment.
struct Reader {
   explicit Reader( RouteMapSymbol & s ) : symbol( s ) {}
   void note( const char * what ) {
      const auto & now = symbol.rmStatus();
      log.push_back( std::string( what ) + " status=" + ( now ? std::string( now->name() ) : "null" ) +
                     " current=" + ( symbol.statusCurrent() ? "1" : "0" ) + " version=" + std::to_string( symbol.notifier()->version() ) );
   }
   RouteMapSymbol & symbol;
   std::vector<std::string> log;
   Reaction ofSymbol{ symbol, [ this ]( const Quoin::Change & c ) { note( Field( c.field ) == Field::statusCurrent ? "current" : "?" ); } };
   Reaction ofNotifier{ *symbol.notifier(), [ this ]( const Quoin::Change & ) { note( "version" ); } };
};

TEST( RouteMapSymbol, anUpdateStoresThenSetsCurrentThenRaisesTheVersion ) {
   const auto symbol = makeNode<RouteMapSymbol>( "RM" );
   symbol->statusCurrentIs( false );
   Reader reader( *symbol );
   symbol->updateAndNotify( status( "A" ) );
   EXPECT_THAT( reader.log, ElementsAre( "current status=A current=1 version=0", "version status=A current=1 version=1" ) );
   reader.log.clear();
   symbol->updateAndNotify( status( "B" ) );   // current already: nothing to tell of that
   EXPECT_THAT( reader.log, ElementsAre( "version status=B current=1 version=2" ) );
   reader.log.clear();
   symbol->statusCurrentIs( false );
   symbol->updateAndNotify( nullptr );
   EXPECT_THAT( reader.log,
                ElementsAre( "current status=B current=0 version=2", "current status=null current=1 version=2",
                             "version status=null current=1 version=3" ) );
}

TEST( RouteMapSymbol, theOldStatusIsReleasedAfterTheNewIsStored ) {
   const auto symbol = makeNode<RouteMapSymbol>( "RM" );
   std::vector<Ptr<const RouteMapStatus>> seen;
   symbol->updateAndNotify( statusWithEnd( [ & ] { seen.push_back( symbol->rmStatus() ); } ) );
   const auto next = status();
   symbol->updateAndNotify( next );
   EXPECT_THAT( seen, ElementsAre( Ptr<const RouteMapStatus>( next ) ) );
   symbol->updateAndNotify( statusWithEnd( [ & ] { seen.push_back( symbol->rmStatus() ); } ) );
   symbol->rmStatusIs( nullptr );
   EXPECT_THAT( seen, ElementsAre( Ptr<const RouteMapStatus>( next ), nullptr ) );
}

TEST( RouteMapSymbol, anUpdateIsTracedAndLeavesATrailmark ) {
   const auto symbol = makeNode<RouteMapSymbol>( "RM1" );
   const auto pointer = Quoin::DisplayPointer::toString( symbol.get() );
   const auto & trail = Trailmark::defaultTrailmarkHandle();
   TraceLog traces( "RouteMapSymbol" );
   const auto before = trail.written();
   symbol->updateAndNotify( status() );
   symbol->updateAndNotify( nullptr );
   EXPECT_THAT( traces.take(), ElementsAre( pointer + "Updated to version=1", pointer + "Updated to version=2" ) );
   ASSERT_EQ( trail.written(), before + 2 );
   EXPECT_EQ( trailmark( 1 ), "{} updated to version {} / RM1 / 1" );
   EXPECT_EQ( trailmark(), "{} updated to version {} / RM1 / 2" );
}

TEST( RouteMapSymbol, anUpdateWithoutANotifierTracesVersionZero ) {
   const auto symbol = makeNode<RouteMapSymbol>( "RM1" );
   symbol->notifierIs( nullptr );
   symbol->statusCurrentIs( false );
   TraceLog traces( "RouteMapSymbol" );
   const auto first = status();
   symbol->updateAndNotify( first );
   EXPECT_EQ( symbol->rmStatus(), first );
   EXPECT_TRUE( symbol->statusCurrent() );
   EXPECT_EQ( symbol->notifier(), nullptr );
   EXPECT_THAT( traces.take(), ElementsAre( Quoin::DisplayPointer::toString( symbol.get() ) + "Updated to version=0" ) );
   EXPECT_EQ( trailmark(), "{} updated to version {} / RM1 / 0" );
}

TEST( RouteMapSymbol, aSubscriberMayRemoveTheNotifier ) {
   const auto symbol = makeNode<RouteMapSymbol>( "RM1" );
   symbol->statusCurrentIs( false );
   Reaction first( *symbol, [ & ]( const Quoin::Change & ) { symbol->notifierIs( nullptr ); } );
   TraceLog traces( "RouteMapSymbol" );
   symbol->updateAndNotify( status() );
   EXPECT_EQ( first.heard, 2 ) << "that it is current, and that it has no notifier";
   EXPECT_THAT( traces.take(), ElementsAre( Quoin::DisplayPointer::toString( symbol.get() ) + "Updated to version=0" ) );
}

TEST( RouteMapSymbol, aSubscriberMayUpdateItAgain ) {
   const auto symbol = makeNode<RouteMapSymbol>( "RM" );
   const auto inner = status( "inner" );
   std::vector<std::string> log;
   Reaction first( *symbol->notifier(), [ & ]( const Quoin::Change & ) {
      if( symbol->rmStatus() != inner ) symbol->updateAndNotify( inner );
   } );
   Reaction second( *symbol->notifier(), [ & ]( const Quoin::Change & ) {
      log.push_back( std::string( symbol->rmStatus()->name() ) + std::to_string( symbol->notifier()->version() ) );
   } );
   symbol->updateAndNotify( status( "outer" ) );
   EXPECT_THAT( log, ElementsAre( "inner2", "inner2" ) );
   EXPECT_EQ( symbol->rmStatus(), inner );
   EXPECT_EQ( symbol->notifier()->version(), 2u );
}

TEST( RouteMapSymbol, aSubscriberMayReleaseTheLastHandle ) {
   for( const bool atCurrent : { true, false } ) {
      SCOPED_TRACE( atCurrent ? "when told that it is current" : "when told of the version" );
      const auto table = makeNode<RouteMapSymbolDedupTable>();
      auto symbol = table->symbol( "RM1" );
      const auto pointer = Quoin::DisplayPointer::toString( symbol.get() );
      symbol->statusCurrentIs( false );
      const auto next = status();
      const Quoin::Node & watched = atCurrent ? static_cast<const Quoin::Node &>( *symbol ) : *symbol->notifier();
      std::vector<size_t> during;
      Reaction drop( watched, [ & ]( const Quoin::Change & ) {
         symbol = nullptr;
         during.push_back( table->count() );
      } );
      Reaction behind( watched );
      TraceLog traces( "RouteMapSymbol" );
      symbol->updateAndNotify( next );
      EXPECT_EQ( symbol, nullptr );
      EXPECT_THAT( during, ElementsAre( 1u ) ) << "it stands until the update has been told whole";
      EXPECT_EQ( behind.heard, 1 ) << "those behind hear of it all the same";
      EXPECT_THAT( traces.take(), ElementsAre( pointer + "Updated to version=1" ) );
      EXPECT_EQ( trailmark(), "{} updated to version {} / RM1 / 1" );
      EXPECT_EQ( table->count(), 0u );
   }
}

// --- dedup

TEST( RouteMapSymbol, theFirstSymbolOfANameIsInterned ) {
   const auto table = makeNode<RouteMapSymbolDedupTable>();
   const auto first = routeMapSymbolFactory( "RM1" );
   first->rmStatusIs( status() );
   EXPECT_EQ( first->dedup( table ), first );
   EXPECT_EQ( first->dedup( table ), first ) << "again";
   EXPECT_TRUE( first->isDeduped() );
   EXPECT_NE( dynamic_cast<Zeugma::DedupHashTableUnorderedSet *>( first->getDedupHashTable() ), nullptr );
   const auto second = routeMapSymbolFactory( "RM1" );
   EXPECT_EQ( second->dedup( table ), first );
   EXPECT_FALSE( second->isDeduped() );
   EXPECT_EQ( routeMapSymbolFactory( "RM1" )->dedup( table ), first ) << "one that nobody else holds";
   EXPECT_EQ( table->count(), 1u );
   EXPECT_EQ( table->symbol( "RM1" ), first );
}

TEST( RouteMapSymbol, aNameUsedAgainHasANewSymbol ) {
   const auto table = makeNode<RouteMapSymbolDedupTable>();
   auto symbol = routeMapSymbolFactory( "RM1" )->dedup( table ), again = table->symbol( "RM1" );
   symbol->updateAndNotify( status() );
   symbol->updateAndNotify( status() );
   symbol->statusCurrentIs( false );
   const auto notifier = symbol->notifier();
   symbol = nullptr;
   EXPECT_EQ( table->count(), 1u );
   EXPECT_EQ( table->symbol( "RM1" ), again ) << "the same as long as anybody uses it";
   again = nullptr;
   EXPECT_EQ( table->count(), 0u );
   const auto next = routeMapSymbolFactory( "RM1" )->dedup( table );
   EXPECT_NE( next->notifier(), notifier );
   EXPECT_EQ( next->notifier()->version(), 0u );
   EXPECT_EQ( next->rmStatus(), nullptr );
   EXPECT_TRUE( next->statusCurrent() );
   EXPECT_EQ( notifier->version(), 2u );
}

TEST( RouteMapSymbol, aSymbolOutlivesItsTable ) {
   auto table = makeNode<RouteMapSymbolDedupTable>();
   auto symbol = table->symbol( "RM1" );
   table = nullptr;
   symbol->updateAndNotify( status() );
   EXPECT_TRUE( symbol->isDeduped() );
   symbol = nullptr;
}

// A destructor that runs with the symbol finds the name free.
TEST( RouteMapSymbol, itsNameIsFreeDuringItsDestruction ) {
   const auto table = makeNode<RouteMapSymbolDedupTable>();
   auto symbol = table->symbol( "RM1" );
   const auto oldNotifier = symbol->notifier();
   oldNotifier->versionInc( 5 );
   Ptr<RouteMapSymbol> next;
   std::vector<size_t> before;
   symbol->rmStatusIs( statusWithEnd( [ & ] {
      before.push_back( table->count() );
      next = table->symbol( "RM1" );
   } ) );
   symbol = nullptr;
   EXPECT_THAT( before, ElementsAre( 0u ) );
   ASSERT_TRUE( next );
   EXPECT_NE( next->notifier(), oldNotifier );
   EXPECT_EQ( next->notifier()->version(), 0u );
   EXPECT_EQ( table->count(), 1u );
   next = nullptr;
   EXPECT_EQ( table->count(), 0u );
}

// --- AllRouteMapSymbol

TEST( AllRouteMapSymbol, holdsItsSymbols ) {
   const auto all = allRouteMapSymbolFactory();
   const auto table = makeNode<RouteMapSymbolDedupTable>();
   for( const char * name : { "A", "B", "C" } ) all->symbolIs( table->symbol( name ) );
   EXPECT_EQ( table->count(), 3u );
   EXPECT_EQ( all->symbol( String( std::string( "A" ) ) ), table->symbol( "A" ) ) << "keys compare as strings";
   all->symbolDel( "A" );
   EXPECT_EQ( all->symbol( "A" ), nullptr );
   EXPECT_EQ( table->count(), 2u );
   all->symbolDelAll();
   EXPECT_TRUE( all->symbol().empty() );
   EXPECT_EQ( table->count(), 0u );
}

TEST( AllRouteMapSymbol, publishesRealChangesWithTheName ) {
   const auto all = allRouteMapSymbolFactory();
   ChangeLog<String> log( *all );
   const auto first = routeMapSymbolFactory( "A" ), second = routeMapSymbolFactory( "A" );
   const auto field = FieldId( AllRouteMapSymbol::Field::symbol );
   all->symbolIs( first );
   EXPECT_THAT( log.take(), ElementsAre( field ) );
   all->symbolIs( first );
   all->symbolDel( "B" );
   EXPECT_THAT( log.take(), IsEmpty() );
   all->symbolIs( second );   // another of the name takes its place
   EXPECT_EQ( all->symbol( "A" ), second );
   EXPECT_EQ( all->symbol().count(), 1u );
   EXPECT_THAT( log.take(), ElementsAre( field ) );
   EXPECT_EQ( all->symbolDel( "A" ), second );
   EXPECT_THAT( log.take(), ElementsAre( field ) );
   all->symbolIs( first );
   all->symbolIs( routeMapSymbolFactory( "B" ) );
   log.take();
   log.keys.clear();
   all->symbolDelAll();
   EXPECT_THAT( log.take(), ElementsAre( field, field ) );
   EXPECT_THAT( log.keys, testing::UnorderedElementsAre( String( "A" ), String( "B" ) ) );
}

TEST( AllRouteMapSymbol, aNullSymbolIsRefused ) {
   const auto all = allRouteMapSymbolFactory();
   all->symbolIs( routeMapSymbolFactory( "A" ) );
   ChangeLog<String> log( *all );
   EXPECT_THROW( all->symbolIs( nullptr ), Plinth::MutatorArgNullPointerException );
   EXPECT_EQ( all->symbol().count(), 1u );
   EXPECT_THAT( log.take(), IsEmpty() );
}

// The first subscriber releases the symbol and deletes it; the second is notified of a valid name.
TEST( AllRouteMapSymbol, aSymbolMayBeDeletedInsideItsPublication ) {
   const auto all = allRouteMapSymbolFactory();
   const String name( std::string( 40, 'n' ) );
   auto symbol = routeMapSymbolFactory( name );
   Reaction drop( *all, [ & ]( const Quoin::Change & ) {
      if( !symbol ) return;
      symbol = nullptr;
      all->symbolDel( name );
   } );
   ChangeLog<String> log( *all );
   all->symbolIs( symbol );
   EXPECT_THAT( log.keys, ElementsAre( name, name ) );
   EXPECT_TRUE( all->symbol().empty() );
}

}   // namespace
