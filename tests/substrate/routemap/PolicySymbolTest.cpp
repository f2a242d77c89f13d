#include "substrate/routemap/PolicySymbol.h"

#include <functional>
#include <optional>
#include <utility>

#include <gmock/gmock.h>

#include "tests/substrate/routemap/ChangeLog.h"

namespace {

using Quoin::FieldId;
using Quoin::makeNode;
using Quoin::String;
using Routing::RouteMap::PolicySymbol;
using Routing::RouteMap::PolicySymbolNotifier;
using testing::ElementsAre;
using testing::IsEmpty;

TEST( PolicySymbolNotifier, startsAtVersionZero ) {
   EXPECT_EQ( makeNode<PolicySymbolNotifier>()->version(), 0u );
}

TEST( PolicySymbolNotifier, publishesWhatIsAddedOnce ) {
   const auto notifier = makeNode<PolicySymbolNotifier>();
   ChangeLog log( *notifier );
   notifier->versionInc( 1 );
   EXPECT_EQ( notifier->version(), 1u );
   EXPECT_THAT( log.take(), ElementsAre( FieldId( PolicySymbolNotifier::Field::version ) ) );
   notifier->versionInc( 41 );
   EXPECT_EQ( notifier->version(), 42u );
   EXPECT_EQ( log.take().size(), 1u );
   notifier->versionInc( 4294967295u );   // goes round
   EXPECT_EQ( notifier->version(), 41u );
   EXPECT_EQ( log.take().size(), 1u );
}

TEST( PolicySymbolNotifier, addingNothingIsSilent ) {
   const auto notifier = makeNode<PolicySymbolNotifier>();
   notifier->versionInc( 7 );
   ChangeLog log( *notifier );
   notifier->versionInc( 0 );
   EXPECT_EQ( notifier->version(), 7u );
   EXPECT_THAT( log.take(), IsEmpty() );
}

TEST( PolicySymbolNotifier, storesFirstAndPublishesAfter ) {
   struct Reader final : Quoin::Subscriber {
      explicit Reader( PolicySymbolNotifier & n ) : notifier( n ) { n.publisher()->subscriberAdd( this ); }
      void onChange( const Quoin::Change & ) override { seen = notifier.version(); }
      PolicySymbolNotifier & notifier;
      uint32_t seen = 0;
   };
   const auto notifier = makeNode<PolicySymbolNotifier>();
   Reader reader( *notifier );
   notifier->versionInc( 3 );
   EXPECT_EQ( reader.seen, 3u );
}

TEST( PolicySymbol, isBornCurrentWithANotifierOfItsOwn ) {
   const auto a = makeNode<PolicySymbol>( "A" ), b = makeNode<PolicySymbol>( "A" );
   EXPECT_EQ( a->name(), "A" );
   EXPECT_TRUE( a->statusCurrent() );
   ASSERT_TRUE( a->notifier() );
   EXPECT_EQ( a->notifier()->version(), 0u );
   EXPECT_EQ( a->notifier()->useCount(), 1u );
   EXPECT_NE( a->notifier(), b->notifier() );
   EXPECT_FALSE( a->isDeduped() );
}

TEST( PolicySymbol, publishesRealChangesOfEachAttribute ) {
   const auto symbol = makeNode<PolicySymbol>( "A" );
   ChangeLog log( *symbol );
   symbol->statusCurrentIs( true );
   symbol->notifierIs( symbol->notifier() );
   EXPECT_THAT( log.take(), IsEmpty() );
   symbol->statusCurrentIs( false );
   EXPECT_FALSE( symbol->statusCurrent() );
   EXPECT_THAT( log.take(), ElementsAre( FieldId( PolicySymbol::Field::statusCurrent ) ) );
   symbol->statusCurrentIs( true );
   EXPECT_THAT( log.take(), ElementsAre( FieldId( PolicySymbol::Field::statusCurrent ) ) );
   symbol->notifierIs( nullptr );
   EXPECT_EQ( symbol->notifier(), nullptr );
   EXPECT_THAT( log.take(), ElementsAre( FieldId( PolicySymbol::Field::notifier ) ) );
   const auto notifier = makeNode<PolicySymbolNotifier>();
   symbol->notifierIs( notifier );
   EXPECT_EQ( symbol->notifier(), notifier );
   EXPECT_THAT( log.take(), ElementsAre( FieldId( PolicySymbol::Field::notifier ) ) );
}

/// Does something at the first change that it hears, and counts them.
struct Reaction final : Quoin::Subscriber {
   Reaction( Quoin::Node & watched, std::function<void()> r ) : react( std::move( r ) ) { watched.publisher()->subscriberAdd( this ); }
   void onChange( const Quoin::Change & ) override {
      if( heard++ == 0 ) react();
   }
   std::function<void()> react;
   int heard = 0;
};

TEST( PolicySymbol, aReactionMayDropWhatIsWritten ) {
   for( const bool others : { false, true } ) {
      SCOPED_TRACE( others );
      auto symbol = makeNode<PolicySymbol>( "A" );
      PolicySymbol * const raw = symbol.get();
      Reaction drop( *symbol, [ & ] { symbol = nullptr; } );
      std::optional<Reaction> next;
      if( others ) next.emplace( *symbol, [] { ADD_FAILURE() << "told by one that has gone"; } );
      raw->statusCurrentIs( false );
      EXPECT_EQ( drop.heard, 1 );
      EXPECT_FALSE( drop.subscribed() );

      symbol = makeNode<PolicySymbol>( "A" );
      PolicySymbolNotifier * const notifier = symbol->notifier().get();
      Reaction replace( *notifier, [ & ] { symbol->notifierIs( nullptr ); } );
      notifier->versionInc( 1 );
      EXPECT_EQ( replace.heard, 1 );
      EXPECT_FALSE( replace.subscribed() );
   }
}

// The two have subscribers of their own.
TEST( PolicySymbol, aVersionIsTheNotifiersChangeNotTheSymbols ) {
   const auto symbol = makeNode<PolicySymbol>( "A" );
   ChangeLog ofSymbol( *symbol ), ofNotifier( *symbol->notifier() );
   symbol->notifier()->versionInc( 1 );
   EXPECT_THAT( ofSymbol.take(), IsEmpty() );
   EXPECT_EQ( ofNotifier.take().size(), 1u );
   symbol->statusCurrentIs( false );
   EXPECT_EQ( ofSymbol.take().size(), 1u );
   EXPECT_THAT( ofNotifier.take(), IsEmpty() );
}

TEST( PolicySymbol, itsContentIsItsName ) {
   const struct {
      const char *a, *b;
      bool same, less;
   } rows[] = {
      { "A", "A", true, false }, { "A", "B", false, true }, { "B", "A", false, false },
      { "", "A", false, true },  { "", "", true, false },   { "PL", "PL1", false, true },
   };
   for( const auto & row : rows ) {
      const auto a = makeNode<PolicySymbol>( row.a ), b = makeNode<PolicySymbol>( row.b );
      const String content = row.b;
      EXPECT_EQ( a->compare( b.get() ), row.same ) << row.a << ' ' << row.b;
      EXPECT_EQ( a->compareByContent( Zeugma::DedupContentHandle( content ) ), row.same ) << row.a << ' ' << row.b;
      EXPECT_EQ( a->compareLessThan( b.get() ), row.less ) << row.a << ' ' << row.b;
      EXPECT_EQ( a->compareLessThanByContent( Zeugma::DedupContentHandle( content ) ), row.less ) << row.a << ' ' << row.b;
      EXPECT_EQ( a->hash(), String( row.a ).hash() );
   }
}

TEST( PolicySymbol, givesTheVersionOfItsNotifier ) {
   const auto symbol = makeNode<PolicySymbol>( "A" );
   EXPECT_EQ( symbol->notifierVersion(), 0u );
   symbol->notifier()->versionInc( 7 );
   EXPECT_EQ( symbol->notifierVersion(), 7u );
   symbol->notifierIs( nullptr );
   EXPECT_EQ( symbol->notifierVersion(), 0u ) << "without one";
}

// If the count stayed above zero, each edit of a list would ask all lists of a route map.
TEST( PolicySymbol, tellsWhetherTheSymbolsOfAllListsAreCurrent ) {
   EXPECT_TRUE( PolicySymbol::listsAreCurrent() );
   auto gone = makeNode<PolicySymbol>( "GONE" );
   const auto stays = makeNode<PolicySymbol>( "STAYS" );
   gone->statusCurrentIs( false );
   stays->statusCurrentIs( false );
   stays->statusCurrentIs( false );
   stays->statusCurrentIs( true );
   EXPECT_FALSE( PolicySymbol::listsAreCurrent() );
   gone = nullptr;
   EXPECT_TRUE( PolicySymbol::listsAreCurrent() );
}

}   // namespace
