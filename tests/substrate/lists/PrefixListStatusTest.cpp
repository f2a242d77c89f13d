#include "substrate/lists/PrefixListStatus.h"

#include <gmock/gmock.h>

#include "substrate/plinth/Exception.h"
#include "tests/policy/ListFixtures.h"

namespace {

using namespace ListFixtures;
using Quoin::makeNode;

const PrefixListModel::Entry kEntry{ 10, permit, IpGenPrefix( "10.0.0.0/8" ), 8, 24 };

Quoin::Ptr<PatriciaTrieWithNodeData> trieOfOne( const Quoin::Ptr<PrefixListEntryData> & entry = plainEntry( kEntry ) ) {
   auto trie = makeNode<PatriciaTrieWithNodeData>( AddressFamily::ipv4, false );
   trie->routeIs( kEntry.prefix, entry );
   return trie;
}

TEST( PrefixListEntryData, tellsWhatItWasMadeOf ) {
   const auto entry = makeNode<PrefixListEntryData>( 4294967295u, permit, uint8_t( 8 ), uint8_t( 0 ), uint8_t( 128 ) );
   EXPECT_EQ( entry->seqno(), 4294967295u );
   EXPECT_EQ( entry->prefixLength(), 8u );
   EXPECT_EQ( entry->ge(), 0u );
   EXPECT_EQ( entry->le(), 128u );
   EXPECT_TRUE( entry->isPrefixEntryPermit() );
   EXPECT_EQ( entry->nextEntry(), nullptr );
   EXPECT_FALSE( makeNode<PrefixListEntryData>( 1u, deny, uint8_t( 8 ), uint8_t( 8 ), uint8_t( 8 ) )->isPrefixEntryPermit() );
}

TEST( PrefixListEntryData, aBoundThatNoLengthReachesIsKeptAsSuch ) {
   const struct {
      const char * name;
      uint32_t ge, le;   // in front of 10.0.0.0/8
      unsigned keptGe, keptLe;
      bool admits8, admits32;
   } rows[] = {
      { "the greatest that is kept as it is", 255, 255, 255, 255, false, false },
      { "an upper bound one above", 8, 256, 8, 255, true, true },
      { "an upper bound that is 8 in its low byte", 16, 264, 16, 255, false, true },
      { "a lower bound that is 8 in its low byte", 264, 288, 255, 255, false, false },
      { "a lower bound above the upper one", 256, 32, 255, 32, false, false },
      { "the greatest", 0, 4294967295u, 0, 255, true, true },
   };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.name );
      const auto entry = makeNode<PrefixListEntryData>( 10u, permit, uint8_t( 8 ), row.ge, row.le );
      EXPECT_EQ( entry->ge(), row.keptGe );
      EXPECT_EQ( entry->le(), row.keptLe );
      const auto status = makeNode<PrefixListStatus>( "PL", AddressFamily::ipv4 );
      const auto trie = trieOfOne( entry );
      status->trieIs( trie );
      EXPECT_EQ( status->rows()->governing( IpGenPrefix( "10.0.0.0/8" ) ).found, row.admits8 );
      EXPECT_EQ( status->rows()->governing( IpGenPrefix( "10.0.0.0/32" ) ).found, row.admits32 );
   }
}

TEST( PrefixListEntryData, anAgentsOwnMayDecideLate ) {
   bool answer = false;
   const Quoin::Ptr<const PrefixListEntryData> entry = makeNode<OwnEntry>( kEntry, [ & ] { return answer; } );
   EXPECT_FALSE( entry->isPrefixEntryPermit() );
   answer = true;
   EXPECT_TRUE( entry->isPrefixEntryPermit() );
}

TEST( PrefixListEntryData, leadsToTheNextOfItsNode ) {
   const auto trie = makeNode<PatriciaTrieWithNodeData>( AddressFamily::ipv4, false );
   const auto second = plainEntry( kEntry ), first = plainEntry( kEntry );
   trie->routeIs( kEntry.prefix, second );
   trie->routeIs( kEntry.prefix, first );
   EXPECT_EQ( first->nextEntry(), second.get() );
   EXPECT_EQ( second->nextEntry(), nullptr );
}

TEST( PrefixListStatus, hasNoEntriesAtFirst ) {
   for( const auto af : { AddressFamily::ipv4, AddressFamily::ipv6 } ) {
      const auto status = makeNode<PrefixListStatus>( "PL", af );
      EXPECT_EQ( status->name(), "PL" );
      EXPECT_EQ( status->af(), af );
      EXPECT_EQ( status->trie().af(), af );
      EXPECT_EQ( status->trie().prefixCount(), 0u );
      EXPECT_NE( status->rows(), nullptr );
   }
}

TEST( PrefixListStatus, takesTheTrieAndItsFamily ) {
   const auto status = makeNode<PrefixListStatus>( "PL", AddressFamily::ipv6 );
   const auto trie = trieOfOne();
   status->trieIs( trie );
   EXPECT_EQ( &status->trie(), trie.get() );
   EXPECT_EQ( status->af(), AddressFamily::ipv4 );
   EXPECT_EQ( trie->useCount(), 2u );
   status->trieIs( makeNode<PatriciaTrieWithNodeData>( AddressFamily::ipv6, false ) );
   EXPECT_EQ( trie->useCount(), 1u );
   EXPECT_EQ( status->af(), AddressFamily::ipv6 );
}

TEST( PrefixListStatus, aNullTrieIsRaisedAndChangesNothing ) {
   const auto status = makeNode<PrefixListStatus>( "PL", AddressFamily::ipv6 );
   const auto trie = trieOfOne();
   status->trieIs( trie );
   const auto * rows = status->rows();
   try {
      status->trieIs( nullptr );
      FAIL() << "not raised";
   } catch( const Plinth::MutatorArgNullPointerException & e ) {
      EXPECT_STREQ( e.what(), "PrefixListStatus::trieIs: the argument is null" );
   }
   EXPECT_EQ( &status->trie(), trie.get() );
   EXPECT_EQ( status->rows(), rows );
}

TEST( PrefixListStatus, hasRowsWhereTheyCanAnswer ) {
   const auto status = makeNode<PrefixListStatus>( "PL", AddressFamily::ipv4 );
   const auto trie = trieOfOne();
   status->trieIs( trie );
   EXPECT_NE( status->rows(), nullptr );

   trie->routeIs( kEntry.prefix, plainEntry( kEntry ) );
   EXPECT_EQ( status->rows(), nullptr ) << "the trie has got an entry since";
   status->trieIs( trie );
   EXPECT_NE( status->rows(), nullptr );

   trie->compact();
   EXPECT_EQ( status->rows(), nullptr ) << "its places have moved since";
   status->trieIs( trie );
   EXPECT_NE( status->rows(), nullptr );

   trie->routeIs( kEntry.prefix, makeNode<OwnEntry>( kEntry ) );
   status->trieIs( trie );
   EXPECT_EQ( status->rows(), nullptr ) << "an entry may decide late";
   status->trieIs( trieOfOne() );
   EXPECT_NE( status->rows(), nullptr );
}

// Two lists may share a trie; each has rows of its own.
TEST( PrefixListStatus, oneTrieMayServeSeveralLists ) {
   const auto trie = trieOfOne();
   const auto a = makeNode<PrefixListStatus>( "A", AddressFamily::ipv4 ), b = makeNode<PrefixListStatus>( "B", AddressFamily::ipv4 );
   a->trieIs( trie );
   trie->routeIs( kEntry.prefix, plainEntry( kEntry ) );
   b->trieIs( trie );
   EXPECT_EQ( a->rows(), nullptr );
   EXPECT_NE( b->rows(), nullptr );
}

// The trie of a list that was built makes its entries during a walk.
TEST( PrefixListStatus, theTrieOfABuiltListServesAnotherListToo ) {
   const auto built = prefixList( { "10 permit 10.0.0.0/8 le 24", "20 deny 10.1.0.0/16" } );
   const auto other = makeNode<PrefixListStatus>( "other", AddressFamily::ipv6 );
   other->trieIs( Quoin::Ptr( &built->trie() ) );
   EXPECT_EQ( other->af(), AddressFamily::ipv4 );
   EXPECT_EQ( other->entryCount(), 2u );
   EXPECT_EQ( other->rows(), built->rows() );
   EXPECT_LT( other->bytes(), built->bytes() + sizeof( PatriciaTrieWithNodeData ) + 2 * sizeof( PrefixListEntryData ) )
      << "it has no entries";
}

TEST( PrefixListStatus, itsMemoryGrowsWithEveryEntry ) {
   const auto status = makeNode<PrefixListStatus>( "PL", AddressFamily::ipv4 );
   const auto trie = trieOfOne();
   status->trieIs( trie );
   size_t before = status->bytes();
   EXPECT_GT( before, sizeof( PrefixListStatus ) + sizeof( PrefixListEntryData ) );
   for( int i = 0; i < 3; ++i ) {
      trie->routeIs( kEntry.prefix, plainEntry( kEntry ) );
      EXPECT_EQ( status->bytes(), before + sizeof( PrefixListEntryData ) );
      before = status->bytes();
   }
}

}   // namespace
