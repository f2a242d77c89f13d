#include "policy/PrefixListWalker.h"

#include <thread>
#include <vector>

#include <gmock/gmock.h>

#include "tests/policy/ListFixtures.h"

namespace {

using namespace ListFixtures;
using namespace Routing::Policy;
using Quoin::makeNode;
using Quoin::Ptr;

// Any of the two works without a field of its own.
static_assert( sizeof( PrefixListMatchWalkerCb ) == sizeof( Routing::PatriciaTrieWalkCb ) );
static_assert( sizeof( PrefixListCoveredByWalkerCb ) == sizeof( Routing::PatriciaTrieWalkCb ) );

struct Entry {
   uint32_t seqno;
   unsigned length, ge, le;
};

/// One chain, in the order of the row; the first is handed to a walker.
class Chain {
 public:
   explicit Chain( const std::vector<Entry> & entries ) : trie_( makeNode<PatriciaTrieWithNodeData>( AddressFamily::ipv4, false ) ) {
      for( auto e = entries.rbegin(); e != entries.rend(); ++e ) {
         head_ = makeNode<PrefixListEntryData>( e->seqno, permit, uint8_t( e->length ), uint8_t( e->ge ), uint8_t( e->le ) );
         trie_->routeIs( IpGenPrefix( "0.0.0.0/0" ), head_ );
      }
   }
   const PrefixListEntryData * head() const { return head_.get(); }

 private:
   Ptr<PatriciaTrieWithNodeData> trie_;
   Ptr<PrefixListEntryData> head_;
};

/// What is the best after a walk over these chains, for a prefix of this length; 0 for nothing.
template <class Walker>
uint32_t bestOf( unsigned length, const std::vector<std::vector<Entry>> & chains ) {
   const auto walker = makeNode<Walker>();
   const IpGenPrefix asked( Ferule::IpAddr( "10.0.0.0" ), uint8_t( length ) );
   auto & ctx = PrefixListWalkerCbCtx::ofThisThread();
   ctx.prefix = &asked;
   std::vector<Chain> held;
   for( const auto & chain : chains ) {
      held.emplace_back( chain );
      EXPECT_TRUE( walker->handlePrefixData( IpGenPrefix( "0.0.0.0/0" ), held.back().head() ) ) << "the walk goes on";
   }
   const uint32_t best = ctx.entry ? ctx.entry->seqno() : 0;
   ctx.prefix = nullptr;
   ctx.entry = nullptr;
   return best;
}

TEST( PrefixListMatchWalkerCb, thePlaceOfTheBestEntryInTheWalkDoesNotMatter ) {
   const struct {
      const char * name;
      unsigned length;
      std::vector<std::vector<Entry>> chains;
      uint32_t best;
   } rows[] = {
      { "nothing", 24, {}, 0 },
      { "no data", 24, { {} }, 0 },
      { "one that fits", 24, { { { 10, 8, 24, 24 } } }, 10 },
      { "below ge", 23, { { { 10, 8, 24, 24 } } }, 0 },
      { "above le", 25, { { { 10, 8, 24, 24 } } }, 0 },
      { "the bounds are part of the range", 16, { { { 10, 8, 16, 24 } } }, 10 },
      { "a range that admits nothing", 20, { { { 10, 8, 24, 16 } } }, 0 },
      { "the first that fits of a chain", 24, { { { 10, 8, 9, 9 }, { 20, 8, 24, 24 }, { 30, 8, 24, 24 } } }, 20 },
      { "those behind do not count, whatever they say", 24, { { { 20, 8, 24, 24 }, { 10, 8, 24, 24 } } }, 20 },
      { "a later node with a lower number", 24, { { { 20, 8, 24, 24 } }, { { 10, 16, 24, 24 } } }, 10 },
      { "a later node with a greater number", 24, { { { 10, 8, 24, 24 } }, { { 20, 16, 24, 24 } } }, 10 },
      { "the later nodes' own first", 20, { { { 10, 8, 24, 24 }, { 20, 8, 16, 32 } }, { { 15, 16, 16, 32 } } }, 15 },
      { "no data between", 24, { { { 20, 8, 24, 24 } }, {}, { { 10, 16, 24, 24 } } }, 10 },
      { "one's own length does not count", 8, { { { 10, 30, 8, 8 } } }, 10 },
      { "the number 0 is the lowest", 24, { { { 1, 8, 24, 24 } }, { { 0, 8, 24, 24 } } }, 0 },
   };
   for( const auto & row : rows ) EXPECT_EQ( bestOf<PrefixListMatchWalkerCb>( row.length, row.chains ), row.best ) << row.name;
}

TEST( PrefixListCoveredByWalkerCb, theFirstWhoseOwnPrefixIsNoLongerCounts ) {
   const struct {
      const char * name;
      unsigned length;
      std::vector<std::vector<Entry>> chains;
      uint32_t best;
   } rows[] = {
      { "no data", 24, { {} }, 0 },
      { "whatever its range", 16, { { { 10, 8, 24, 24 } } }, 10 },
      { "whatever its range, which admits nothing", 16, { { { 10, 8, 33, 0 } } }, 10 },
      { "of the same length", 8, { { { 10, 8, 24, 24 } } }, 10 },
      { "a longer one", 7, { { { 10, 8, 0, 32 } } }, 0 },
      { "the second, when the first is longer", 16, { { { 10, 24, 0, 32 }, { 20, 8, 24, 24 }, { 5, 8, 24, 24 } } }, 20 },
      { "a later node with a lower number", 16, { { { 20, 8, 24, 24 } }, { { 10, 16, 24, 24 } } }, 10 },
      { "a later node with a greater number", 16, { { { 10, 8, 24, 24 } }, { { 20, 16, 24, 24 } } }, 10 },
   };
   for( const auto & row : rows ) EXPECT_EQ( bestOf<PrefixListCoveredByWalkerCb>( row.length, row.chains ), row.best ) << row.name;
}

TEST( PrefixListMatchWalkerCb, ofEqualNumbersTheOneSeenFirstIsKept ) {
   const Chain first( { { 10, 8, 0, 32 } } ), second( { { 10, 16, 0, 32 } } );
   const IpGenPrefix asked( "10.0.0.0/24" );
   auto & ctx = PrefixListWalkerCbCtx::ofThisThread();
   for( const bool coveredBy : { false, true } ) {
      ctx.prefix = &asked;
      for( const auto * chain : { &first, &second } )
         if( coveredBy )
            makeNode<PrefixListCoveredByWalkerCb>()->handlePrefixData( asked, chain->head() );
         else
            makeNode<PrefixListMatchWalkerCb>()->handlePrefixData( asked, chain->head() );
      EXPECT_EQ( ctx.entry.get(), first.head() );
      ctx.prefix = nullptr;
      ctx.entry = nullptr;
   }
}

// Nothing is looked up then; no data is no data all the same.
TEST( PrefixListWalkers, noDataOutsideOfAWalkIsPassedOver ) {
   EXPECT_EQ( PrefixListWalkerCbCtx::ofThisThread().prefix, nullptr );
   EXPECT_TRUE( makeNode<PrefixListMatchWalkerCb>()->handlePrefixData( IpGenPrefix( "10.0.0.0/8" ), nullptr ) );
   EXPECT_TRUE( makeNode<PrefixListCoveredByWalkerCb>()->handlePrefixData( IpGenPrefix( "10.0.0.0/8" ), nullptr ) );
   EXPECT_EQ( PrefixListWalkerCbCtx::ofThisThread().entry, nullptr );
}

TEST( PrefixListWalkers, thePrefixOfTheNodeIsNotRead ) {
   const Chain chain( { { 10, 8, 24, 24 } } );
   const IpGenPrefix asked( "10.0.0.0/24" );
   auto & ctx = PrefixListWalkerCbCtx::ofThisThread();
   ctx.prefix = &asked;
   makeNode<PrefixListMatchWalkerCb>()->handlePrefixData( IpGenPrefix( "2001:db8::/32" ), chain.head() );
   EXPECT_EQ( ctx.entry.get(), chain.head() );
   ctx.prefix = nullptr;
   ctx.entry = nullptr;
}

TEST( PrefixListWalkers, aUseIsTakenOfTheBestSoFarAlone ) {
   const Chain worse( { { 20, 8, 0, 32 } } ), better( { { 10, 16, 0, 32 } } ), worst( { { 30, 20, 0, 32 } } );
   const IpGenPrefix asked( "10.0.0.0/24" );
   const auto walker = makeNode<PrefixListMatchWalkerCb>();
   auto & ctx = PrefixListWalkerCbCtx::ofThisThread();
   ctx.prefix = &asked;
   const auto uses = [ & ] { return std::vector{ worse.head()->useCount(), better.head()->useCount(), worst.head()->useCount() }; };
   const auto before = uses();
   walker->handlePrefixData( asked, worse.head() );
   EXPECT_EQ( uses()[ 0 ], before[ 0 ] + 1 );
   walker->handlePrefixData( asked, better.head() );
   walker->handlePrefixData( asked, worst.head() );
   EXPECT_EQ( uses()[ 0 ], before[ 0 ] );
   EXPECT_EQ( uses()[ 1 ], before[ 1 ] + 1 );
   EXPECT_EQ( uses()[ 2 ], before[ 2 ] );
   ctx.prefix = nullptr;
   ctx.entry = nullptr;
   EXPECT_EQ( uses(), before );
}

TEST( PrefixListWalkerCbCtx, eachThreadHasItsOwnAndLetsGoAtItsEnd ) {
   const auto entry = makeNode<PrefixListEntryData>( 10u, permit, uint8_t( 8 ), uint8_t( 8 ), uint8_t( 8 ) );
   auto * mine = &PrefixListWalkerCbCtx::ofThisThread();
   EXPECT_EQ( mine, &PrefixListWalkerCbCtx::ofThisThread() );
   std::thread( [ & ] {
      auto & theirs = PrefixListWalkerCbCtx::ofThisThread();
      EXPECT_NE( &theirs, mine );
      EXPECT_EQ( theirs.prefix, nullptr );
      EXPECT_EQ( theirs.entry, nullptr );
      theirs.entry = entry;
      EXPECT_EQ( entry->useCount(), 2u );
   } ).join();
   EXPECT_EQ( entry->useCount(), 1u );
   EXPECT_EQ( mine->entry, nullptr );
}

}   // namespace
