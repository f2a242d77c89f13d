// Tables that share their memory with their copies, against std::map.
#include "substrate/plinth/HashTrie.h"

#include <deque>
#include <map>
#include <new>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "tests/model/RandomCases.h"
#include "tests/substrate/zeugma/AllocationCount.h"

namespace {

using Model = std::map<uint32_t, std::string>;

/// Only these bits count: many keys have the same hash.
template <uint32_t bits>
struct PoorHash {
   size_t operator()( uint32_t key ) const noexcept { return key & bits; }
};

template <class Hash>
using TrieOf = Plinth::HashTrie<uint32_t, std::pair<uint32_t, std::string>, Hash>;

struct Edit {
   enum class Kind : uint8_t { add, write, remove };
   Kind kind;
   uint32_t key;
   std::string value;   // so long that a copy of it allocates

   Edit( Random & random, uint64_t keys, bool grows )
         : kind( oneIn( random, 4 )                  ? Kind::write
                    : oneIn( random, grows ? 8 : 2 ) ? Kind::remove
                                                     : Kind::add ),
           key( static_cast<uint32_t>( below( random, keys ) ) ),
           value( 30, static_cast<char>( 'a' + below( random, 20 ) ) ) {}

   template <class Trie>
   bool of( Trie & trie ) const {
      std::string copy = value;
      switch( kind ) {
         case Kind::add: {
            const auto [ member, isNew ] = trie.insert( { key, std::move( copy ) } );
            EXPECT_EQ( member, trie.findMember( key ) );
            return isNew;
         }
         case Kind::write: {
            auto * const member = trie.own( key );
            if( member ) member->second = std::move( copy );
            return member;
         }
         case Kind::remove: return !trie.extract( key ).empty();
      }
      return false;
   }
   bool of( Model & model ) const {
      const auto at = model.find( key );
      const bool was = at != model.end();
      switch( kind ) {
         case Kind::add: return model.emplace( key, value ).second;
         case Kind::write: return was && ( at->second = value, true );
         case Kind::remove: return model.erase( key ) != 0;
      }
      return false;
   }
};

/// A table and its model, with some that were copied on the way.
template <class Hash>
class Generations {
 public:
   Generations( Random & random, bool inNeed ) : random_( random ), inNeed_( inNeed ), keys_( inNeed || oneIn( random, 2 ) ? 40 : 3000 ) {}

   void run() {
      for( auto steps = below( random_, !inNeed_ && oneIn( random_, 5 ) ? 2000 : 100 ); steps; --steps ) {
         if( oneIn( random_, 200 ) ) grows_ = !grows_;
         if( oneIn( random_, 8 ) ) kept_.push_back( present_ );
         if( kept_.size() > 4 ) {
            check( kept_.front() );
            kept_.pop_front();
         }
         const Edit edit( random_, keys_, grows_ );
         const bool changed = inNeed_ ? ofTrieInNeed( edit ) : edit.of( present_.trie );
         ASSERT_EQ( changed, edit.of( present_.model ) );
      }
      check( present_ );
      for( const auto & generation : kept_ ) check( generation );
   }

 private:
   struct Generation {
      TrieOf<Hash> trie;
      Model model;
   };
   static void check( const Generation & generation ) {
      const auto & [ trie, model ] = generation;
      Model members;
      for( const auto & [ key, value ] : trie ) ASSERT_TRUE( members.emplace( key, value ).second ) << key << " comes twice";
      ASSERT_EQ( members, model );
      ASSERT_EQ( trie.size(), model.size() );
      ASSERT_EQ( trie.empty(), model.empty() );
      for( uint32_t key = 0; key < 50; ++key ) ASSERT_EQ( trie.contains( key ), model.contains( key ) ) << key;
   }
   // Each allocation of the edit fails once.
   bool ofTrieInNeed( const Edit & edit ) {
      for( size_t n = 0;; ++n ) {
         try {
            const AllocationFailure failure( n );
            return edit.of( present_.trie );
         } catch( const std::bad_alloc & ) {}
         check( present_ );
      }
   }

   Random & random_;
   const bool inNeed_;
   const uint64_t keys_;
   bool grows_ = true;
   Generation present_;
   std::deque<Generation> kept_;
};

template <class Hash>
void runCases( uint64_t times, bool inNeed ) {
   forRandomCases( times, [ inNeed ]( Random & random ) { Generations<Hash>( random, inNeed ).run(); } );
}

TEST( HashTrieModel, eachGenerationKeepsItsMembers ) {
   runCases<Plinth::KeyHash<uint32_t>>( 3, false );
}

TEST( HashTrieModel, keysOfOneHashAreToldApart ) {
   runCases<PoorHash<7>>( 1, false );
   runCases<PoorHash<0xff>>( 1, false );
}

TEST( HashTrieModel, anEditThatFindsNoMemoryChangesNothing ) {
   runCases<Plinth::KeyHash<uint32_t>>( 1, true );
   runCases<PoorHash<3>>( 1, true );
}

// What one edit copies is a path, whatever the size of the table.
TEST( HashTrieModel, aCopySharesAllButAPath ) {
   for( const uint32_t size : { 1000u, 100'000u } ) {
      Plinth::HashTrie<uint32_t, uint32_t> trie;
      for( uint32_t i = 0; i < size; ++i ) trie.insert( i );
      const auto before = allocationCount();
      auto copy = trie;
      EXPECT_EQ( allocationCount(), before );
      copy.insert( size );
      copy.extract( size / 2 );
      EXPECT_LT( allocationCount() - before, 12u ) << size;
      EXPECT_TRUE( trie.contains( size / 2 ) && !trie.contains( size ) );
   }
}

// A leaf of keys of one hash may have any size, and its end does not need the stack.
TEST( HashTrieModel, thousandsOfKeysMayHaveOneHash ) {
   Plinth::HashTrie<uint32_t, uint32_t, PoorHash<0>> trie;
   for( uint32_t i = 0; i < 3000; ++i ) trie.insert( i );
   const auto copy = trie;
   for( uint32_t i = 0; i < 3000; i += 2 ) trie.extract( i );
   for( uint32_t i = 0; i < 3000; ++i ) ASSERT_TRUE( copy.contains( i ) && trie.contains( i ) == ( i % 2 != 0 ) ) << i;
}

// A leaf of one hash may be larger than others, wherever it stands.
TEST( HashTrieModel, aLargeLeafGetsAKeyOfAnotherHash ) {
   Plinth::HashTrie<uint32_t, uint32_t, PoorHash<1>> trie;   // of even keys and of odd ones
   const auto has = [ & ]( uint32_t from ) {
      for( uint32_t key = 0; key < 40; key += 2 ) ASSERT_EQ( trie.contains( key ), key >= from ) << key << ", from " << from;
      ASSERT_TRUE( trie.contains( 1 ) ) << "from " << from;
   };
   for( uint32_t key = 0; key < 40; key += 2 ) trie.insert( key );
   trie.insert( 1 );
   trie.extract( 1 );
   trie.insert( 1 );
   has( 0 );
   for( uint32_t key = 0; key < 40; key += 2 ) {
      trie.extract( key );
      has( key + 2 );
   }
}

// What an insertion into a copy has to create: a leaf, and a copy of each fork on the path to it.
size_t nodesOnAPath( const Plinth::HashTrie<uint32_t, uint32_t> & trie ) {
   auto copy = trie;
   const auto before = allocationCount();
   copy.insert( 1'000'000 );
   return allocationCount() - before;
}

TEST( HashTrieModel, removalLeavesNoForkBehind ) {
   Plinth::HashTrie<uint32_t, uint32_t> trie;
   for( uint32_t i = 0; i < 5000; ++i ) trie.insert( i );
   EXPECT_GT( nodesOnAPath( trie ), 2u );
   for( uint32_t i = 1; i < 5000; ++i ) EXPECT_FALSE( trie.extract( i ).empty() );
   EXPECT_EQ( nodesOnAPath( trie ), 1u );
   EXPECT_FALSE( trie.extract( 0 ).empty() );
   EXPECT_TRUE( trie.empty() );
   EXPECT_EQ( trie.begin(), trie.end() );
   EXPECT_EQ( nodesOnAPath( trie ), 1u );
}

}   // namespace
