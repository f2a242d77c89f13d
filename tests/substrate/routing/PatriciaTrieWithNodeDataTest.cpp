#include "substrate/routing/PatriciaTrieWithNodeData.h"

#include <map>
#include <new>
#include <numeric>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <rapidcheck/gtest.h>

#include "policy/PrefixListMatcher.h"
#include "substrate/plinth/Exception.h"
#include "tests/model/RandomCases.h"
#include "tests/policy/ListFixtures.h"
#include "tests/substrate/zeugma/AllocationCount.h"

namespace {

using Ferule::AddressFamily;
using Ferule::IpGenPrefix;
using ListFixtures::deny;
using ListFixtures::permit;
using ListFixtures::plainEntry;
using ListFixtures::PrefixListStatus;
using Quoin::makeNode;
using Quoin::Ptr;
using Routing::PatriciaTrieWalkCb;
using Routing::PatriciaTrieWithNodeData;
using Routing::PrefixData;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr AddressFamily kFamilies[] = { AddressFamily::ipv4, AddressFamily::ipv6 };

struct Item final : PrefixData {
   explicit Item( int i = 0 ) : id( i ) { ++alive; }
   ~Item() override { --alive; }
   const int id;
   static inline int alive = 0;
};

/// Writes down what it is called for, and ends the walk at its `stopAt`th call.
struct Recorder final : PatriciaTrieWalkCb {
   explicit Recorder( size_t s = ~size_t( 0 ) ) : stopAt( s ) {}
   bool handlePrefixData( const IpGenPrefix & prefix, const PrefixData * data ) override {
      prefixes.push_back( prefix );
      heads.push_back( data );
      return prefixes.size() != stopAt;
   }
   size_t stopAt;
   std::vector<IpGenPrefix> prefixes;
   std::vector<const PrefixData *> heads;
};

std::vector<IpGenPrefix> ancestors( const PatriciaTrieWithNodeData & trie, const IpGenPrefix & asked ) {
   const auto recorder = makeNode<Recorder>();
   trie.ancestorWalk( asked, recorder.get() );
   return recorder->prefixes;
}

std::vector<std::string> ancestorTexts( const PatriciaTrieWithNodeData & trie, const char * asked ) {
   std::vector<std::string> texts;
   for( const auto & p : ancestors( trie, IpGenPrefix( asked ) ) ) texts.push_back( p.toStrep().data() );
   return texts;
}

Ptr<PatriciaTrieWithNodeData> trieOf( AddressFamily af, const std::vector<const char *> & prefixes ) {
   auto trie = makeNode<PatriciaTrieWithNodeData>( af, false );
   for( const char * p : prefixes ) trie->routeIs( IpGenPrefix( p ), makeNode<Item>() );
   return trie;
}

std::vector<int> chainIds( const PrefixData * data ) {
   std::vector<int> ids;
   for( ; data; data = data->next() ) ids.push_back( static_cast<const Item *>( data )->id );
   return ids;
}

/// What a trie is to hold: by family-less prefix, the chain, its head last.
struct Model {
   using Key = std::pair<unsigned, Ferule::Bits128>;   // length, bits
   std::map<Key, std::vector<const PrefixData *>> chains;

   static Key keyOf( const IpGenPrefix & p, unsigned length ) {
      return { length, p.ipGenAddr().bits() & Ferule::Bits128::leadingOnes( length ) };
   }
   void put( const IpGenPrefix & p, const PrefixData * data ) { chains[ keyOf( p, p.length() ) ].push_back( data ); }
   /// The heads of what is the prefix or contains it, the shortest first.
   std::vector<const PrefixData *> heads( const IpGenPrefix & asked ) const {
      std::vector<const PrefixData *> found;
      for( unsigned length = 0; length <= asked.length(); ++length ) {
         const auto i = chains.find( keyOf( asked, length ) );
         if( i != chains.end() ) found.push_back( i->second.back() );
      }
      return found;
   }
};

/// By address, the shorter of two first.
bool isBefore( const IpGenPrefix & a, const IpGenPrefix & b ) {
   return std::pair( a.ipGenAddr().bits(), a.length() ) < std::pair( b.ipGenAddr().bits(), b.length() );
}

/// Empty when the trie answers as the model, else what differs.
std::string difference( const PatriciaTrieWithNodeData & trie, const Model & model, const std::vector<IpGenPrefix> & asked ) {
   const auto fault = [ & ]( const char * what, const IpGenPrefix & p ) {
      return std::string( what ) + ", asked about " + p.toStrep().data();
   };
   if( trie.prefixCount() != model.chains.size() ) return "the number of prefixes";
   for( const auto & p : asked ) {
      const auto expected = model.heads( p );
      const auto recorder = makeNode<Recorder>();
      trie.ancestorWalk( p, recorder.get() );
      if( recorder->heads != expected ) return fault( "the ancestors", p );
      for( const auto & found : recorder->prefixes )
         if( found != IpGenPrefix( p.ipGenAddr(), found.length() ).subnet() ) return fault( "an ancestor's prefix", p );
   }
   // Every prefix once, in ascending order, and every chain as it was entered.
   std::vector<IpGenPrefix> seen;
   std::string wrong;
   trie.visitAll( [ & ]( const IpGenPrefix & prefix, const PrefixData * data ) {
      if( !seen.empty() && !isBefore( seen.back(), prefix ) ) wrong = "the order of the visit";
      seen.push_back( prefix );
      const auto chain = model.chains.find( Model::keyOf( prefix, prefix.length() ) );
      if( chain == model.chains.end() || prefix != prefix.subnet() || prefix.af() != trie.af() ) {
         wrong = "a visited prefix";
         return;
      }
      for( auto i = chain->second.rbegin(); i != chain->second.rend(); ++i ) {
         if( data != *i ) wrong = "a chain";
         if( !wrong.empty() ) return;
         data = data->next();
      }
      if( data ) wrong = "the end of a chain";
   } );
   if( wrong.empty() && seen.size() != model.chains.size() ) wrong = "the number of prefixes visited";
   return wrong;
}

TEST( PatriciaTrieWithNodeData, isEmptyAtFirst ) {
   for( const auto af : kFamilies )
      for( const bool large : { false, true } ) {
         SCOPED_TRACE( af );
         const auto trie = makeNode<PatriciaTrieWithNodeData>( af, large );
         EXPECT_EQ( trie->af(), af );
         EXPECT_EQ( trie->prefixCount(), 0u );
         const IpGenPrefix host( Ferule::IpGenAddr( af ), Ferule::addressBits( af ) );
         EXPECT_THAT( ancestors( *trie, host ), IsEmpty() );
         trie->visitAll( []( const IpGenPrefix &, const PrefixData * ) { ADD_FAILURE() << "there is nothing to visit"; } );
         EXPECT_EQ( difference( *trie, {}, { host } ), "" );
      }
}

TEST( PatriciaTrieWithNodeData, aLargeOneTakesItsSpaceAtOnce ) {
   const auto small = makeNode<PatriciaTrieWithNodeData>( AddressFamily::ipv4, false );
   const auto large = makeNode<PatriciaTrieWithNodeData>( AddressFamily::ipv4, true );
   EXPECT_LT( small->bytes(), 1024u );
   EXPECT_GT( large->bytes(), 1024u * 1024 );
}

TEST( PatriciaTrieWithNodeData, aWalkVisitsWhatContainsThePrefixTheShortestFirst ) {
   const std::vector<const char *> v4 = { "10.1.1.0/24",   "0.0.0.0/0",   "10.0.0.0/8", "10.1.0.0/16",
                                          "10.1.1.128/25", "10.1.1.1/32", "11.0.0.0/8", "10.1.1.64/26" };
   const std::vector<const char *> v6 = { "2001:db8::/32", "2001:db8:0:0:8000::/65", "::/0",
                                          "2001:db8::/64", "2001:db8::1/128",        "2001:db8::/127" };
   const struct {
      const char * name;
      const std::vector<const char *> & held;
      const char * asked;
      std::vector<std::string> visited;
   } rows[] = {
      { "one that is there", v4, "10.1.1.0/24", { "0.0.0.0/0", "10.0.0.0/8", "10.1.0.0/16", "10.1.1.0/24" } },
      { "one below", v4, "10.1.1.96/27", { "0.0.0.0/0", "10.0.0.0/8", "10.1.0.0/16", "10.1.1.0/24", "10.1.1.64/26" } },
      { "a host", v4, "10.1.1.1/32", { "0.0.0.0/0", "10.0.0.0/8", "10.1.0.0/16", "10.1.1.0/24", "10.1.1.1/32" } },
      { "its neighbour", v4, "10.1.1.2/32", { "0.0.0.0/0", "10.0.0.0/8", "10.1.0.0/16", "10.1.1.0/24" } },
      { "a shorter one than any but the default", v4, "10.0.0.0/7", { "0.0.0.0/0" } },
      { "the default", v4, "0.0.0.0/0", { "0.0.0.0/0" } },
      { "bits behind its length", v4, "10.1.1.1/16", { "0.0.0.0/0", "10.0.0.0/8", "10.1.0.0/16" } },
      { "elsewhere", v4, "192.0.2.1/32", { "0.0.0.0/0" } },
      { "below half of an IPv6 address",
        v6,
        "2001:db8::8000:0:0:1/128",
        { "::/0", "2001:db8::/32", "2001:db8::/64", "2001:db8:0:0:8000::/65" } },
      { "a whole IPv6 address", v6, "2001:db8::1/128", { "::/0", "2001:db8::/32", "2001:db8::/64", "2001:db8::/127", "2001:db8::1/128" } },
      { "one bit less", v6, "2001:db8::1/127", { "::/0", "2001:db8::/32", "2001:db8::/64", "2001:db8::/127" } },
   };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.name );
      auto expected = row.visited;
      for( auto & text : expected ) text = IpGenPrefix( text ).toStrep().data();
      const auto trie = trieOf( row.held[ 0 ][ 0 ] == '1' ? AddressFamily::ipv4 : AddressFamily::ipv6, row.held );
      EXPECT_EQ( ancestorTexts( *trie, row.asked ), expected );
      trie->compact();
      EXPECT_EQ( ancestorTexts( *trie, row.asked ), expected ) << "compacted";
   }
}

TEST( PatriciaTrieWithNodeData, reservedSpaceThatIsNotNeededIsGivenBack ) {
   const auto trie = makeNode<PatriciaTrieWithNodeData>( AddressFamily::ipv4, false );
   trie->reserve( 10'000 );
   const auto reserved = trie->bytes();
   EXPECT_GE( reserved, 10'000 * 64u );
   const auto prefix = []( uint32_t i ) { return IpGenPrefix( Ferule::IpAddr( i << 8 ), 24 ); };
   for( uint32_t i = 0; i < 1000; ++i ) trie->routeIs( prefix( i ), makeNode<Item>() );
   EXPECT_EQ( trie->bytes(), reserved );
   trie->trim();
   EXPECT_LT( trie->bytes(), reserved / 4 );
   const auto trimmed = trie->bytes();
   trie->trim();
   EXPECT_EQ( trie->bytes(), trimmed );
   EXPECT_EQ( trie->prefixCount(), 1000u );
}

TEST( PatriciaTrieWithNodeData, everyLengthOfOnePathIsThere ) {
   for( const auto af : kFamilies ) {
      const unsigned bits = Ferule::addressBits( af );
      const Ferule::Bits128 path = Ferule::Bits128{ 0x9e3779b97f4a7c15, 0xf39cc0605cedc834 } & Ferule::Bits128::leadingOnes( bits );
      for( const bool descending : { false, true } ) {
         SCOPED_TRACE( testing::Message() << af << ( descending ? ", the longest first" : ", the shortest first" ) );
         const auto trie = makeNode<PatriciaTrieWithNodeData>( af, false );
         for( unsigned i = 0; i <= bits; ++i ) trie->routeIs( prefixOf( af, path, descending ? bits - i : i ), makeNode<Item>() );
         EXPECT_EQ( trie->prefixCount(), bits + 1 );
         for( unsigned length = 0; length <= bits; ++length ) {
            const auto found = ancestors( *trie, prefixOf( af, path, length ) );
            ASSERT_EQ( found.size(), length + 1 );
            for( unsigned i = 0; i <= length; ++i ) EXPECT_EQ( found[ i ], prefixOf( af, path, i ).subnet() );
         }
         // A path that parts from it at bit n shares the prefixes up to n bits.
         for( unsigned n = 0; n < bits; ++n ) {
            const auto bit = Ferule::Bits128::leadingOnes( n ) ^ Ferule::Bits128::leadingOnes( n + 1 );
            EXPECT_EQ( ancestors( *trie, prefixOf( af, path ^ bit, bits ) ).size(), n + 1 );
         }
      }
   }
}

// A length that no address has contains what the whole address does.
TEST( PatriciaTrieWithNodeData, aLengthBeyondTheFamilyIsAskedAboutLikeAHost ) {
   const auto v4 = trieOf( AddressFamily::ipv4, { "0.0.0.0/0", "255.255.255.255/32" } );
   const auto v6 = trieOf( AddressFamily::ipv6, { "::/0", "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff/128" } );
   for( const unsigned length : { 32, 33, 64, 128, 129, 255 } )
      EXPECT_EQ( ancestors( *v4, prefixOf( AddressFamily::ipv4, Ferule::Bits128::leadingOnes( 32 ), length ) ).size(), 2u ) << length;
   for( const unsigned length : { 128, 129, 132, 255 } )
      EXPECT_EQ( ancestors( *v6, prefixOf( AddressFamily::ipv6, Ferule::Bits128::leadingOnes( 128 ), length ) ).size(), 2u ) << length;
}

TEST( PatriciaTrieWithNodeData, theWalkStopsWhenItIsTold ) {
   for( const auto & held :
        std::vector<std::vector<const char *>>{ { "0.0.0.0/0", "10.0.0.0/6", "10.0.0.0/8", "10.0.0.0/9", "10.0.0.0/12", "10.0.0.0/24",
                                                  "10.0.0.0/32" },                                   // bits and rows of bits
                                                { "0.0.0.0/0", "10.0.0.0/8", "10.0.0.0/30" } } ) {   // a lone one at the end
      const auto trie = trieOf( AddressFamily::ipv4, held );
      for( size_t stopAt = 1; stopAt <= held.size(); ++stopAt ) {
         const auto recorder = makeNode<Recorder>( stopAt );
         trie->ancestorWalk( IpGenPrefix( "10.0.0.0/32" ), recorder.get() );
         ASSERT_EQ( recorder->prefixes.size(), stopAt );
         EXPECT_EQ( recorder->prefixes.back(), IpGenPrefix( held[ stopAt - 1 ] ).subnet() );
      }
   }
}

TEST( PatriciaTrieWithNodeData, theWalkerGetsTheTriesOwnPrefixAndTheHeadOfItsChain ) {
   const auto trie = makeNode<PatriciaTrieWithNodeData>( AddressFamily::ipv4, false );
   const auto first = makeNode<Item>( 1 ), second = makeNode<Item>( 2 );
   trie->routeIs( IpGenPrefix( "10.1.2.3/8" ), first );
   trie->routeIs( IpGenPrefix( "10.9.9.9/8" ), second );
   EXPECT_EQ( trie->prefixCount(), 1u );
   const auto recorder = makeNode<Recorder>();
   trie->ancestorWalk( IpGenPrefix( "10.7.7.7/30" ), recorder.get() );
   EXPECT_THAT( recorder->prefixes, ElementsAre( IpGenPrefix( "10.0.0.0/8" ) ) );
   EXPECT_THAT( recorder->heads, ElementsAre( second.get() ) );
   EXPECT_EQ( second->next(), first.get() );
   EXPECT_EQ( first->next(), nullptr );
}

TEST( PatriciaTrieWithNodeData, whatIsEnteredLastStandsInFront ) {
   const auto trie = makeNode<PatriciaTrieWithNodeData>( AddressFamily::ipv4, false );
   for( int id = 1; id <= 4; ++id ) {
      trie->routeIs( IpGenPrefix( "10.0.0.0/8" ), makeNode<Item>( id ) );
      trie->routeIs( IpGenPrefix( "10.0.0.0/9" ), makeNode<Item>( 10 * id ) );
   }
   trie->compact();
   trie->routeIs( IpGenPrefix( "10.0.0.0/8" ), makeNode<Item>( 5 ) );
   const auto recorder = makeNode<Recorder>();
   trie->ancestorWalk( IpGenPrefix( "10.0.0.0/9" ), recorder.get() );
   ASSERT_EQ( recorder->heads.size(), 2u );
   EXPECT_THAT( chainIds( recorder->heads[ 0 ] ), ElementsAre( 5, 4, 3, 2, 1 ) );
   EXPECT_THAT( chainIds( recorder->heads[ 1 ] ), ElementsAre( 40, 30, 20, 10 ) );
   EXPECT_EQ( trie->prefixCount(), 2u );
}

TEST( PatriciaTrieWithNodeData, aPrefixOfAnotherFamilyHasNoAncestors ) {
   const auto trie = trieOf( AddressFamily::ipv4, { "0.0.0.0/0" } );
   EXPECT_THAT( ancestors( *trie, IpGenPrefix( "::/0" ) ), IsEmpty() );
   EXPECT_THAT( ancestors( *trie, IpGenPrefix() ), IsEmpty() );
   EXPECT_THAT( ancestors( *trieOf( AddressFamily::ipv6, { "::/0" } ), IpGenPrefix( "0.0.0.0/0" ) ), IsEmpty() );
}

TEST( PatriciaTrieWithNodeData, nullDataIsRaisedAndChangesNothing ) {
   const auto trie = trieOf( AddressFamily::ipv4, { "10.0.0.0/8" } );
   const auto version = trie->version();
   try {
      trie->routeIs( IpGenPrefix( "10.1.0.0/16" ), nullptr );
      FAIL() << "not raised";
   } catch( const Plinth::MutatorArgNullPointerException & e ) {
      EXPECT_STREQ( e.what(), "PatriciaTrieWithNodeData::routeIs: the argument is null" );
   }
   EXPECT_EQ( trie->version(), version );
   EXPECT_EQ( trie->prefixCount(), 1u );
   EXPECT_THAT( ancestorTexts( *trie, "10.1.0.0/16" ), ElementsAre( "10.0.0.0/8" ) );
}

TEST( PatriciaTrieWithNodeDataDeathTest, aPrefixThatIsNotOfTheFamilyEndsTheProcess ) {
   const auto trie = makeNode<PatriciaTrieWithNodeData>( AddressFamily::ipv4, false );
   const auto text = HasSubstr( "Assertion failed: prefix.af() == af_\n" );
   EXPECT_DEATH( trie->routeIs( IpGenPrefix( "2001:db8::/32" ), makeNode<Item>() ), text );
   EXPECT_DEATH( trie->routeIs( IpGenPrefix(), makeNode<Item>() ), text );
   EXPECT_DEATH( trie->routeIs( IpGenPrefix( Ferule::IpAddr(), 33 ), makeNode<Item>() ), text );
}

TEST( PatriciaTrieWithNodeDataDeathTest, dataThatStandsInAChainAlreadyEndsTheProcess ) {
   const IpGenPrefix a( "10.0.0.0/8" ), b( "11.0.0.0/8" );
   const auto trie = makeNode<PatriciaTrieWithNodeData>( AddressFamily::ipv4, false );
   const auto tail = makeNode<Item>(), head = makeNode<Item>(), alone = makeNode<Item>();
   trie->routeIs( a, tail );
   trie->routeIs( a, head );
   trie->routeIs( b, alone );
   const auto text = HasSubstr( "Assertion failed: !data->inChain()\n" );
   EXPECT_DEATH( trie->routeIs( b, head ), text );
   EXPECT_DEATH( trie->routeIs( b, tail ), text );
   EXPECT_DEATH( trie->routeIs( a, alone ), text );
   EXPECT_DEATH( trie->routeIs( b, alone ), text ) << "in front of itself";
   EXPECT_DEATH( makeNode<PatriciaTrieWithNodeData>( AddressFamily::ipv4, false )->routeIs( b, alone ), text ) << "of another trie";
}

TEST( PatriciaTrieWithNodeData, theVersionMovesWithEveryChangeAndNotOtherwise ) {
   const auto trie = makeNode<PatriciaTrieWithNodeData>( AddressFamily::ipv4, false );
   std::set<uint32_t> versions{ trie->version() };
   for( const char * p : { "10.0.0.0/8", "10.0.0.0/8", "11.0.0.0/8" } ) {
      trie->routeIs( IpGenPrefix( p ), makeNode<Item>() );
      EXPECT_TRUE( versions.insert( trie->version() ).second ) << p;
   }
   trie->compact();
   EXPECT_TRUE( versions.insert( trie->version() ).second ) << "compact";
   ancestors( *trie, IpGenPrefix( "10.0.0.0/8" ) );
   trie->visitAll( []( const IpGenPrefix &, const PrefixData * ) {} );
   EXPECT_TRUE( versions.contains( trie->version() ) );
}

TEST( PatriciaTrieWithNodeData, compactKeepsAllAndGivesSpaceBack ) {
   for( const auto af : kFamilies ) {
      SCOPED_TRACE( af );
      const auto trie = makeNode<PatriciaTrieWithNodeData>( af, true );
      trie->compact();   // of an empty one
      EXPECT_LT( trie->bytes(), 1024u );
      Random random( 1 );
      RandomPrefixes prefixes( random, af );
      Model model;
      std::vector<IpGenPrefix> asked;
      for( int i = 0; i < 3000; ++i ) {
         const auto p = prefixes.network();
         const auto item = makeNode<Item>( i );
         trie->routeIs( p, item );
         model.put( p, item.get() );
         asked.push_back( prefixes.around( p ) );
         if( i % 1000 == 999 ) {   // it can go on behind a compact
            const auto before = trie->bytes();
            trie->compact();
            EXPECT_LE( trie->bytes(), before );
            const auto once = trie->bytes();
            trie->compact();
            EXPECT_EQ( trie->bytes(), once );
         }
      }
      EXPECT_EQ( difference( *trie, model, asked ), "" );
   }
}

TEST( PatriciaTrieWithNodeData, holdsItsDataAndLetsItGo ) {
   ASSERT_EQ( Item::alive, 0 );
   {
      auto trie = makeNode<PatriciaTrieWithNodeData>( AddressFamily::ipv4, false );
      const auto kept = makeNode<Item>( 1 );
      trie->routeIs( IpGenPrefix( "10.0.0.0/8" ), kept );
      trie->routeIs( IpGenPrefix( "10.0.0.0/8" ), makeNode<Item>( 2 ) );
      trie->routeIs( IpGenPrefix( "10.1.0.0/16" ), makeNode<Item>( 3 ) );
      trie->compact();
      EXPECT_EQ( Item::alive, 3 );
      EXPECT_EQ( kept->useCount(), 2u );
      trie = nullptr;
      EXPECT_EQ( Item::alive, 1 );
      EXPECT_EQ( kept->useCount(), 1u );
   }
   EXPECT_EQ( Item::alive, 0 );
}

TEST( PatriciaTrieWithNodeData, aChainOfAHundredThousandIsNoBurden ) {
   constexpr int kItems = 100000;
   for( const char * text : { "10.0.0.0/8", "0.0.0.0/0", "10.1.1.1/32", "2001:db8::1/128" } ) {
      SCOPED_TRACE( text );
      const IpGenPrefix p( text );
      auto trie = makeNode<PatriciaTrieWithNodeData>( p.af(), false );
      for( int id = 0; id < kItems; ++id ) trie->routeIs( p, makeNode<Item>( id ) );
      trie->compact();
      EXPECT_EQ( trie->prefixCount(), 1u );
      const auto recorder = makeNode<Recorder>();
      trie->ancestorWalk( p, recorder.get() );
      ASSERT_EQ( recorder->heads.size(), 1u );
      std::vector<int> expected( kItems );
      std::iota( expected.rbegin(), expected.rend(), 0 );
      EXPECT_EQ( chainIds( recorder->heads[ 0 ] ), expected );
      EXPECT_EQ( Item::alive, kItems );
      trie = nullptr;   // the stack that this takes does not grow with the chain
      EXPECT_EQ( Item::alive, 0 );
   }
}

// They make lone prefixes, part them at many depths, and let blocks grow.
TEST( PatriciaTrieWithNodeData, anAllocationThatFailsLosesNothing ) {
   const std::vector<const char *> families[] = {
      { "0.0.0.0/0", "10.0.0.0/8", "11.0.0.0/8", "10.1.1.0/24", "10.1.2.0/24", "10.1.2.128/25", "192.168.0.0/16", "192.168.1.0/24",
        "192.168.1.1/32", "192.168.1.2/32", "172.16.0.0/12", "8.0.0.0/6", "10.1.0.0/16" },
      { "2001:db8:1:1::1/128", "2001:db8:1:1::2/128", "2001:db8::/32", "::/0", "fe80::1/128", "fe80::/10", "2001:db8:1::/48",
        "2001:db8:1:1::/64", "2001:db8:2::/48", "ff00::/8", "2001::/16", "2001:db8:1:1:8000::/65", "2001:db8:8000::/33" },
   };
   for( const auto & texts : families ) {
      std::vector<IpGenPrefix> prefixes( texts.begin(), texts.end() ), asked;
      const auto af = prefixes.front().af();
      for( const auto & p : prefixes )
         for( const unsigned length : { unsigned( p.length() ), unsigned( Ferule::addressBits( af ) ) } )
            asked.push_back( prefixOf( af, p.ipGenAddr().bits(), length ) );
      bool failed = true;
      size_t n = 0;   // the call of all for one trie that fails
      for( ; failed; ++n ) {
         SCOPED_TRACE( testing::Message() << af << ", call " << n );
         failed = false;
         size_t calls = 0;
         const auto trie = makeNode<PatriciaTrieWithNodeData>( af, false );
         const auto kept = makeNode<PrefixListStatus>( "PL", af );
         Model model;
         PrefixListModel list{ af, {} };
         const auto fault = [ & ]() -> std::string {
            const auto fresh = makeNode<PrefixListStatus>( "PL", af );
            fresh->trieIs( trie );
            for( const auto & status : { kept, fresh } ) {
               const Routing::Policy::PrefixListMatcher matcher( "PL", status );
               for( const auto & p : asked )
                  if( matcher.matchPrefix( p ) != list.match( p ) ) return std::string( "a list, asked about " ) + p.toStrep().data();
            }
            return difference( *trie, model, asked );
         };
         for( const auto & p : prefixes ) {
            const uint32_t seqno = 50 + uint32_t( list.entries.size() * 7 % 13 );
            list.entries.push_back( { seqno, seqno % 2 ? permit : deny, p, p.length(), Ferule::addressBits( af ) } );
            const auto entry = plainEntry( list.entries.back() );
            kept->trieIs( trie );   // its index is of this very state
            const auto before = allocationCount();
            const auto entered = [ & ] {
               std::optional<AllocationFailure> failure;
               if( !failed ) failure.emplace( n - calls );
               try {
                  trie->routeIs( p, entry );
               } catch( const std::bad_alloc & ) { return false; }
               return true;
            }();
            calls += allocationCount() - before;
            if( !entered ) {
               failed = true;
               EXPECT_FALSE( entry->inChain() );
               const auto last = list.entries.back();
               list.entries.pop_back();
               ASSERT_EQ( fault(), "" ) << "without " << p;
               list.entries.push_back( last );
               trie->routeIs( p, entry );
            }
            model.put( p, entry.get() );
            ASSERT_EQ( fault(), "" ) << "with " << p;
         }
         trie->compact();
         EXPECT_EQ( fault(), "" ) << "compacted";
      }
      EXPECT_GT( n, prefixes.size() ) << "there are so many, at least";
   }
}

TEST( PatriciaTrieWithNodeData, lookingDoesNotAllocate ) {
   struct Counter final : PatriciaTrieWalkCb {
      bool handlePrefixData( const IpGenPrefix &, const PrefixData * ) override { return ++calls; }
      int calls = 0;
   };
   const auto trie = trieOf( AddressFamily::ipv4, { "0.0.0.0/0", "10.0.0.0/8", "10.1.1.0/24", "10.1.1.1/32" } );
   const auto counter = makeNode<Counter>();
   const IpGenPrefix asked( "10.1.1.1/32" );
   const auto before = allocationCount();
   trie->ancestorWalk( asked, counter.get() );
   EXPECT_EQ( allocationCount(), before );
   EXPECT_EQ( counter->calls, 4 );
   trie->routeIs( IpGenPrefix( "10.1.1.2/32" ), makeNode<Item>() );
   EXPECT_GT( allocationCount(), before ) << "nothing is counted at all";
}

// Prefixes around a few addresses: nested, neighbours, many at one place; in random order, compacted at random.
TEST( PatriciaTrieWithNodeData, holdsWhatAMapHolds ) {
   for( const auto af : kFamilies )
      forRandomCases( 20, [ af ]( Random & random ) {
         RandomPrefixes prefixes( random, af );
         const auto trie = makeNode<PatriciaTrieWithNodeData>( af, oneIn( random, 50 ) );
         Model model;
         std::vector<IpGenPrefix> held, asked;
         for( auto n = below( random, oneIn( random, 5 ) ? 300 : 20 ); n; --n ) {
            const auto p = held.empty() || oneIn( random, 2 ) ? prefixes.withHostBits() : prefixes.around( anyOf( random, held ) );
            held.push_back( p );
            const auto item = makeNode<Item>();
            trie->routeIs( p, item );
            model.put( p, item.get() );
            if( oneIn( random, 40 ) ) trie->compact();
         }
         for( int i = 0; i < 20; ++i )
            asked.push_back( held.empty() || oneIn( random, 3 ) ? prefixes.withHostBits() : prefixes.around( anyOf( random, held ) ) );
         EXPECT_EQ( difference( *trie, model, asked ), "" );
         trie->compact();
         EXPECT_EQ( difference( *trie, model, asked ), "" ) << "compacted";
      } );
}

TEST( PatriciaTrieWithNodeData, aLargeTrieHoldsEachPrefixInItsPlace ) {
   for( const auto af : kFamilies )
      for( const bool crowded : { false, true } )
         forSomeCases( 1, [ = ]( Random & random ) {
            SCOPED_TRACE( testing::Message() << af << ( crowded ? ", crowded" : ", spread" ) );
            RandomPrefixes prefixes( random, af );
            const auto trie = makeNode<PatriciaTrieWithNodeData>( af, false );
            Model model;
            std::vector<IpGenPrefix> held, asked;
            for( unsigned i = 0; i < 100000 / kCaseShare; ++i ) {
               held.push_back( crowded ? prefixes.network()
                                       : prefixOf( af, { random(), random() }, unsigned( below( random, prefixes.addressBits() + 1 ) ) ) );
               const auto item = makeNode<Item>( i );
               trie->routeIs( held.back(), item );
               model.put( held.back(), item.get() );
            }
            for( int i = 0; i < 2000; ++i ) asked.push_back( prefixes.around( anyOf( random, held ) ) );
            EXPECT_EQ( difference( *trie, model, asked ), "" );
            trie->compact();
            EXPECT_EQ( difference( *trie, model, asked ), "" ) << "compacted";
         } );
   EXPECT_EQ( Item::alive, 0 );
}

}   // namespace
