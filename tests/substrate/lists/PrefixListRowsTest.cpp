#include "substrate/lists/PrefixListRows.h"

#include <algorithm>
#include <array>
#include <optional>

#include <gmock/gmock.h>

#include "substrate/lists/RetiredPrefixRows.h"
#include "substrate/routemap/PrefixListBuilder.h"
#include "tests/policy/ListFixtures.h"
#include "tests/substrate/zeugma/AllocationCount.h"

namespace {

using namespace ListFixtures;
using Quoin::makeNode;
using Routing::RouteMap::PrefixListBuilder;
using Routing::RouteMap::PrefixListRows;
using Routing::RouteMap::RetiredPrefixRows;

/// "10 permit", "20 deny", or "nothing".
std::string governing( const PrefixListStatus & list, const char * asked ) {
   if( !list.rows() ) return "no rows";
   const auto answer = list.rows()->governing( IpGenPrefix( asked ) );
   if( !answer.found ) {
      EXPECT_EQ( answer.seqno, 0u );
      EXPECT_FALSE( answer.permit );
      return "nothing";
   }
   return std::to_string( answer.seqno ) + ( answer.permit ? " permit" : " deny" );
}

TEST( PrefixListRows, theLowestNumberThatAdmitsTheLengthGoverns ) {
   const struct {
      const char * name;
      Texts entries;
      const char * asked;
      const char * answer;
   } rows[] = {
      { "an empty list", {}, "10.0.0.0/8", "nothing" },
      { "the very prefix", { "10 permit 10.0.0.0/8" }, "10.0.0.0/8", "10 permit" },
      { "longer than it admits", { "10 permit 10.0.0.0/8" }, "10.0.0.0/9", "nothing" },
      { "shorter than it", { "10 permit 10.0.0.0/8 le 32" }, "10.0.0.0/7", "nothing" },
      { "beside it", { "10 permit 10.0.0.0/8 le 32" }, "11.0.0.0/8", "nothing" },
      { "at its lower bound", { "10 deny 10.0.0.0/8 ge 16 le 24" }, "10.1.0.0/16", "10 deny" },
      { "below its lower bound", { "10 deny 10.0.0.0/8 ge 16 le 24" }, "10.0.0.0/15", "nothing" },
      { "at its upper bound", { "10 deny 10.0.0.0/8 ge 16 le 24" }, "10.1.1.0/24", "10 deny" },
      { "above its upper bound", { "10 deny 10.0.0.0/8 ge 16 le 24" }, "10.1.1.0/25", "nothing" },
      { "a shorter prefix with a lower number", { "10 permit 10.0.0.0/8 le 24", "20 deny 10.1.1.0/24" }, "10.1.1.0/24", "10 permit" },
      { "a longer prefix with a lower number", { "20 permit 10.0.0.0/8 le 24", "10 deny 10.1.1.0/24" }, "10.1.1.0/24", "10 deny" },
      { "a longer prefix that does not admit it",
        { "20 permit 10.0.0.0/8 le 24", "10 deny 10.1.1.0/24 ge 25" },
        "10.1.1.0/24",
        "20 permit" },
      { "the middle of three",
        { "20 permit 10.0.0.0/8 le 24", "5 deny 10.1.0.0/16 le 24", "10 permit 10.1.1.0/24" },
        "10.1.1.0/24",
        "5 deny" },
      { "the top of three, though the middle admits nothing",
        { "20 permit 10.0.0.0/8 le 24", "5 deny 10.1.0.0/16 ge 30", "30 deny 10.1.1.0/24" },
        "10.1.1.0/24",
        "20 permit" },
      { "the first of a node", { "10 deny 10.0.0.0/8 ge 24 le 24", "20 permit 10.0.0.0/8 ge 16 le 32" }, "10.1.1.0/24", "10 deny" },
      { "the second of a node", { "10 deny 10.0.0.0/8 ge 24 le 24", "20 permit 10.0.0.0/8 ge 16 le 32" }, "10.1.0.0/20", "20 permit" },
      { "neither of a node", { "10 deny 10.0.0.0/8 ge 24 le 24", "20 permit 10.0.0.0/8 ge 16 le 32" }, "10.0.0.0/15", "nothing" },
      { "above a node of several",
        { "15 permit 0.0.0.0/0 le 32", "10 deny 10.0.0.0/8 ge 24 le 24", "20 deny 10.0.0.0/8 ge 16" },
        "10.1.0.0/20",
        "15 permit" },
      { "below a node of several",
        { "10 deny 10.0.0.0/8 ge 24 le 24", "20 deny 10.0.0.0/8 ge 16", "15 permit 10.1.0.0/16 le 32" },
        "10.1.0.0/20",
        "15 permit" },
      { "the default route", { "10 permit 0.0.0.0/0" }, "0.0.0.0/0", "10 permit" },
      { "not the default route", { "10 permit 0.0.0.0/0 ge 1" }, "0.0.0.0/0", "nothing" },
      { "a host", { "10 permit 10.1.1.1/32" }, "10.1.1.1/32", "10 permit" },
      { "the number 0", { "0 permit 10.0.0.0/8 le 32", "1 deny 10.1.0.0/16" }, "10.1.0.0/16", "0 permit" },
      { "the greatest number", { "4294967295 permit 10.0.0.0/8 le 32" }, "10.1.0.0/16", "4294967295 permit" },
      { "the greatest number above the greatest but one",
        { "4294967294 deny 10.0.0.0/8 le 32", "4294967295 permit 10.1.0.0/16" },
        "10.1.0.0/16",
        "4294967294 deny" },
      { "IPv6", { "20 permit 2001:db8::/32 le 128", "10 deny 2001:db8::1/128" }, "2001:db8::1/128", "10 deny" },
      { "IPv6 beside", { "20 permit 2001:db8::/32 le 128", "10 deny 2001:db8::1/128" }, "2001:db8::2/128", "20 permit" },
      { "IPv6, all of the length", { "10 permit ::/0 ge 128" }, "ffff::/128", "10 permit" },
      { "IPv6, 64 bits of two", { "10 permit 2001:db8::/64 le 128", "20 permit 2001:db8:0:1::/64" }, "2001:db8::1/128", "10 permit" },
      { "IPv6, 65 bits of two", { "10 permit 2001:db8::/65 le 128", "20 permit 2001:db8::/64 le 128" }, "2001:db8::/64", "20 permit" },
      { "IPv6, beside 65 bits", { "10 permit 2001:db8::/65 le 128", "20 permit 2001:db8:0:1::/64" }, "2001:db8:0:0:8000::/65", "nothing" },
      { "IPv6, inside 96 bits of zeros",
        { "10 permit 2001:db8::/96 le 128", "20 permit 2001:db8:1::/64" },
        "2001:db8::1/128",
        "10 permit" },
      { "IPv6, beside 96 bits of zeros",
        { "10 permit 2001:db8::/96 le 128", "20 permit 2001:db8:1::/64" },
        "2001:db8::1:0:1/128",
        "nothing" },
   };
   for( const auto & row : rows ) EXPECT_EQ( governing( *prefixList( row.entries ), row.asked ), row.answer ) << row.name;
}

TEST( PrefixListRows, bitsBehindTheLengthDoNotCount ) {
   const auto list = prefixList( { "10 permit 10.0.0.0/8 le 16", "5 deny 10.1.128.0/17" } );
   EXPECT_EQ( governing( *list, "10.1.255.255/16" ), "10 permit" );
   EXPECT_EQ( governing( *list, "10.1.255.255/17" ), "5 deny" );
}

// Numbers are unique within a list that was built; one that comes from elsewhere need not be.
TEST( PrefixListRows, ofEqualNumbersTheShortestPrefixGoverns ) {
   for( const bool several : { false, true } ) {
      PrefixListModel model{ AddressFamily::ipv4, {} };
      for( const char * prefix : { "10.1.1.0/24", "10.0.0.0/8", "10.1.0.0/16" } ) {
         const IpGenPrefix p( prefix );
         model.entries.push_back( { 10, p.length() == 8 ? permit : deny, p, 0, 32 } );
         if( several ) model.entries.push_back( { 5, deny, p, 33, 33 } );   // admits nothing
      }
      EXPECT_EQ( governing( *prefixListBy( Road::rows, model ), "10.1.1.0/24" ), "10 permit" );
   }
}

TEST( PrefixListRows, thereIsNoneWhereAnEntryMayDecideLate ) {
   const PrefixListModel::Entry e{ 10, permit, IpGenPrefix( "10.0.0.0/8" ), 8, 8 };
   for( const int own : { 0, 1, 2 } ) {   // the place of the agent's own among three of one node
      const auto trie = makeNode<PatriciaTrieWithNodeData>( AddressFamily::ipv4, false );
      trie->routeIs( IpGenPrefix( "0.0.0.0/0" ), plainEntry( { 10, permit, IpGenPrefix( "0.0.0.0/0" ), 8, 8 } ) );
      EXPECT_NE( PrefixListRows::ofTrie( *trie ), nullptr );
      for( int i = 0; i < 3; ++i ) trie->routeIs( e.prefix, i == own ? makeNode<OwnEntry>( e ) : plainEntry( e ) );
      EXPECT_EQ( PrefixListRows::ofTrie( *trie ), nullptr ) << own;
   }
}

// Coverage reads the length of the entry itself, so such an entry needs the walk.
TEST( PrefixListRows, thereAreNoneIfAnEntryIsAtAPrefixOfAnotherLength ) {
   const auto trie = makeNode<PatriciaTrieWithNodeData>( AddressFamily::ipv4, false );
   trie->routeIs( IpGenPrefix( "10.0.0.0/8" ), plainEntry( { 10, permit, IpGenPrefix( "10.0.0.0/16" ), 8, 8 } ) );
   EXPECT_EQ( PrefixListRows::ofTrie( *trie ), nullptr );
}

// The first entry of a chain that admits the length counts, which only the walk can tell here.
TEST( PrefixListRows, thereAreNoneIfAChainDoesNotAscend ) {
   for( const uint32_t first : { 10u, 11u, 12u } ) {
      const auto trie = makeNode<PatriciaTrieWithNodeData>( AddressFamily::ipv4, false );
      for( const uint32_t seqno : { 11u, first } )
         trie->routeIs( IpGenPrefix( "10.0.0.0/8" ), plainEntry( { seqno, permit, IpGenPrefix( "10.0.0.0/8" ), 8, 8 } ) );
      EXPECT_EQ( PrefixListRows::ofTrie( *trie ) != nullptr, first <= 11 ) << first;
   }
}

TEST( PrefixListRows, lookingDoesNotAllocate ) {
   const auto list =
      prefixList( { "30 permit 0.0.0.0/0 le 32", "20 deny 10.0.0.0/8 ge 30", "25 deny 10.0.0.0/8 ge 32", "40 deny 10.1.0.0/16" } );
   ASSERT_NE( list->rows(), nullptr );
   const IpGenPrefix asked( "10.1.0.0/16" );
   const auto before = allocationCount();
   const auto answer = list->rows()->governing( asked );
   EXPECT_EQ( allocationCount(), before );
   EXPECT_EQ( answer.seqno, 30u );
   EXPECT_GT( list->rows()->bytes(), 0u );
}

// As if two threads dropped them at the same moment: when a generation is released, the next older one has no user any more, but is not
// released yet. What both share must be freed once, and not while the newer one is still read; and not all at once.
TEST( PrefixListRows, twoGenerationsAreReleasedTogether ) {
   while( !RetiredPrefixRows::letGo() ) {}
   constexpr uint32_t kEntries = 1'000'000;   // so many that a release frees only a part of them
   const auto prefix = []( uint32_t i ) { return IpGenPrefix::of( AddressFamily::ipv4, { uint64_t( i ) << 40, 0 }, 24 ); };
   for( const bool isOlderFirst : { false, true } ) {
      std::optional<PrefixListBuilder> builder( std::in_place, "L", AddressFamily::ipv4 );
      for( uint32_t i = 0; i < kEntries; ++i ) ASSERT_FALSE( builder->entryIs( { i, Acl::MatchPermit::permit, prefix( i ), {}, {} } ) );
      Quoin::Ptr older( builder->build()->rows() );
      for( uint32_t i = 0; i < kEntries; i += 8 ) ASSERT_TRUE( builder->entryDel( i ) );
      Quoin::Ptr newer( builder->build()->rows() );
      builder.reset();
      {
         Quoin::ReleaseScope scope;
         ( isOlderFirst ? older : newer ) = nullptr;
         ( isOlderFirst ? newer : older ) = nullptr;
      }
      size_t left = 0;   // in hundreds of blocks
      while( !RetiredPrefixRows::letGo( 100 ) ) ++left;
      EXPECT_GT( left, kEntries / 64 / 100 ) << "the blocks of one of them were freed at once";
   }
}

// Three generations in each order, as above. One of them may stay in use, and the first may be small.
TEST( PrefixListRows, generationsAreReleasedInAnyOrder ) {
   constexpr uint32_t kEntries = 80'000;
   const auto prefix = []( uint32_t i ) { return IpGenPrefix::of( AddressFamily::ipv4, { uint64_t( i ) << 40, 0 }, 24 ); };
   const auto expectReleased = [ & ]( uint32_t first, size_t kept, const std::array<size_t, 3> & order ) {
      std::optional<PrefixListBuilder> builder( std::in_place, "L", AddressFamily::ipv4 );
      const auto add = [ & ]( uint32_t from, uint32_t to ) {
         for( ; from < to; ++from ) ASSERT_FALSE( builder->entryIs( { from, Acl::MatchPermit::permit, prefix( from ), {}, {} } ) );
      };
      const auto del = [ & ]( uint32_t from ) {
         for( ; from < kEntries; from += 8 ) ASSERT_TRUE( builder->entryDel( from ) );
      };
      std::array<Quoin::Ptr<const PrefixListRows>, 3> generations;
      const auto build = [ & ]( size_t i ) { generations[ i ] = Quoin::Ptr( builder->build()->rows() ); };
      add( 0, first );
      build( 0 );
      add( first, kEntries );
      del( 1 );
      build( 1 );
      del( 2 );
      build( 2 );
      builder.reset();
      const auto stays = kept < 3 ? generations[ kept ] : nullptr;
      {
         Quoin::ReleaseScope scope;
         for( const size_t i : order ) generations[ i ] = nullptr;
      }
      while( !RetiredPrefixRows::letGo() ) {}
      for( uint32_t i = 0; stays && i < kEntries; i += 97 )
         ASSERT_EQ( stays->governing( prefix( i ) ).found, kept == 0 ? i < first : i % 8 != 1 && ( kept == 1 || i % 8 != 2 ) ) << i;
   };
   for( const uint32_t first : { 1'000u, kEntries } )
      for( size_t kept = 0; kept <= 3; ++kept ) {   // 3: none
         std::array<size_t, 3> order{ 0, 1, 2 };
         do expectReleased( first, kept, order );
         while( std::ranges::next_permutation( order ).found );
      }
}

}   // namespace
