#include "live/CommunityList.h"

#include <gtest/gtest.h>
#include <malloc.h>

#include <algorithm>
#include <functional>
#include <new>
#include <optional>
#include <set>
#include <type_traits>
#include <vector>

#include "tests/agent/LiveFixture.h"
#include "tests/model/RandomCases.h"
#include "tests/substrate/zeugma/AllocationCount.h"

namespace Agent {

namespace {

TableRoute carrying( std::vector<Community> communities ) {
   TableRoute route;
   route.communities = std::move( communities );
   return route;
}

bool permits( const CommunityListText & text, const TableRoute & route ) {
   return Quoin::makeNode<CommunityList>( "L", text, Dialect::native )->permits( route );
}

TEST( CommunityList, aStandardLineAsksForAllOfItsCommunities ) {
   CommunityListText text;
   text.lines = { { 10, { kPermit, { 2, 4 }, {}, {} } } };
   const struct {
      const char * name;
      std::vector<Community> has;
      bool permitted;
   } rows[] = {
      { "none", {}, false },      { "one of two", { 2 }, false },          { "the other", { 4 }, false },
      { "both", { 2, 4 }, true }, { "and more", { 1, 2, 3, 4, 5 }, true }, { "others", { 1, 3, 5 }, false },
   };
   for( const auto & row : rows ) EXPECT_EQ( permits( text, carrying( row.has ) ), row.permitted ) << row.name;
}

TEST( CommunityList, aStandardLineAsksForJustItsCommunitiesOrForAnyOfThem ) {
   CommunityListText text;
   text.lines = { { 10, { kPermit, { 2, 4 }, {}, {} } } };
   const auto list = Quoin::makeNode<CommunityList>( "L", text, Dialect::native );
   const struct {
      std::vector<Community> has;
      bool exact;
      bool any;
   } rows[] = {
      { {}, false, false }, { { 2 }, false, true }, { { 2, 4 }, true, true }, { { 2, 3, 4 }, false, true }, { { 3, 5 }, false, false },
   };
   for( const auto & row : rows ) {
      EXPECT_EQ( list->permits( carrying( row.has ), ListComparison::exact ), row.exact );
      EXPECT_EQ( list->permits( carrying( row.has ), ListComparison::any ), row.any );
   }
   text.lines = { { 10, { kPermit, {}, {}, {} } } };   // internet
   for( const auto comparison : { ListComparison::exact, ListComparison::any } )
      EXPECT_TRUE( Quoin::makeNode<CommunityList>( "L", text, Dialect::native )->permits( carrying( { 1 } ), comparison ) );
}

TEST( CommunityList, theLowestLineThatMatchesDecides ) {
   CommunityListText text;
   text.lines = { { 10, { kDeny, { 1 }, {}, {} } }, { 20, { kPermit, {}, {}, {} } }, { 30, { kDeny, { 2 }, {}, {} } } };
   EXPECT_FALSE( permits( text, carrying( { 1, 2 } ) ) );
   EXPECT_TRUE( permits( text, carrying( { 2 } ) ) );   // a line without communities matches every route
   EXPECT_TRUE( permits( text, carrying( {} ) ) );
   text.lines.erase( 20 );
   EXPECT_FALSE( permits( text, carrying( { 3 } ) ) );
}

TEST( CommunityList, anExpandedLineReadsTheCommunitiesAsText ) {
   const struct {
      const char * expression;
      std::vector<Community> has;
      bool permitted;
   } rows[] = {
      { "^64500:1 64500:2$", { community( 64500, 1 ), community( 64500, 2 ) }, true },
      { "_64500:1_", { community( 64499, 1 ), community( 64500, 1 ) }, true },
      { "_64500:1_", { community( 64500, 12 ) }, false },
      { "65535:65281", { community( 65535, 65281 ) }, true },
      { "^$", {}, true },
      { "^$", { 1 }, false },
      { "0:1", { 1 }, true },
   };
   for( const auto & row : rows ) {
      CommunityListText text;
      text.expanded = true;
      text.lines = { { 10, { kPermit, {}, row.expression, {} } } };
      EXPECT_EQ( permits( text, carrying( row.has ) ), row.permitted ) << row.expression;
   }
}

// ---- against a walk over all lines

template <class C>
C someCommunity( Random & random ) {
   const auto n = static_cast<uint32_t>( below( random, 12 ) );
   if constexpr( std::is_same_v<C, LargeCommunity> )
      return { n % 3, n / 3 % 2, n / 6 };
   else
      return C( n );
}

/// `most`: so many, or fewer.
template <class C>
std::vector<C> someCommunities( Random & random, uint64_t most ) {
   std::vector<C> communities;
   for( auto n = below( random, most + 1 ); n; --n ) communities.push_back( someCommunity<C>( random ) );
   return communities;
}

template <class C>
bool permitsInTurn( const CommunityListTextOf<C> & list, const std::vector<C> & route, ListComparison comparison ) {
   const auto isIn = []( const auto & all ) { return [ & ]( const C & c ) { return std::ranges::count( all, c ) != 0; }; };
   for( const auto & [ number, line ] : list.lines ) {
      const bool hasAll = std::ranges::all_of( line.communities, isIn( route ) );
      const bool matches = comparison == ListComparison::any ? std::ranges::any_of( line.communities, isIn( route ) )
         : comparison == ListComparison::all                 ? hasAll
                                                             : hasAll && std::ranges::all_of( route, isIn( line.communities ) );
      if( line.communities.empty() || matches ) return line.action == kPermit;
   }
   return false;
}

std::vector<Community> & communitiesOf( TableRoute & route, Community ) {
   return route.communities;
}
std::vector<LargeCommunity> & communitiesOf( TableRoute & route, LargeCommunity ) {
   return route.largeCommunities;
}
std::vector<ExtCommunity> & communitiesOf( TableRoute & route, ExtCommunity ) {
   return route.extCommunities;
}

/// What a plan is told; nothing if it must ask the list about every route.
template <class List>
std::optional<std::set<uint64_t>> keysOf( const List & list, ListComparison comparison ) {
   Routing::Policy::MatchKeys told;
   if( !list.tellKeys( told, comparison ) ) return std::nullopt;
   std::set<uint64_t> keys;
   for( const auto & key : told.keys() ) keys.insert( key.value );
   return keys;
}

/// For "any", the communities of all lines; else one of each line.
template <class C>
void checkKeys( const CommunityListOf<C> & list, const CommunityListTextOf<C> & text ) {
   std::set<uint64_t> all;
   bool areTold = true;
   for( const auto & [ number, line ] : text.lines ) {
      areTold = areTold && !line.communities.empty();
      for( const C & community : line.communities ) all.insert( communityKey( community ) );
   }
   const auto any = keysOf( list, ListComparison::any ), one = keysOf( list, ListComparison::all );
   ASSERT_EQ( any.has_value(), areTold );
   ASSERT_EQ( one.has_value(), areTold );
   if( !areTold ) return;
   ASSERT_EQ( *any, all );
   ASSERT_TRUE( std::ranges::includes( all, *one ) );
   ASSERT_LE( one->size(), text.lines.size() );
   for( const auto & [ number, line ] : text.lines )
      ASSERT_TRUE( std::ranges::any_of( line.communities, [ & ]( const C & c ) { return one->contains( communityKey( c ) ); } ) );
}

template <class C>
void editAtRandom( Random & random ) {
   using List = CommunityListOf<C>;
   struct Generation {
      CommunityListTextOf<C> text;
      Quoin::Ptr<const List> list;
   };
   std::vector<Generation> generations{ { {}, Quoin::makeNode<List>( "L", CommunityListTextOf<C>(), Dialect::native ) } };
   for( int step = 0; step < 30; ++step ) {
      Generation next = generations.back();
      const auto list = Quoin::makeNode<List>( "L", *next.list );
      for( auto edits = 1 + below( random, 3 ); edits; --edits ) {
         const auto number = static_cast<uint32_t>( below( random, 10 ) );
         if( const auto at = next.text.lines.find( number ); at != next.text.lines.end() ) {
            list->lineDel( number, at->second );
            next.text.lines.erase( at );
         } else {
            auto communities = someCommunities<C>( random, 3 );
            std::ranges::sort( communities );
            communities.erase( std::unique( communities.begin(), communities.end() ), communities.end() );
            const CommunityListLineOf<C> line{ oneIn( random, 2 ) ? kPermit : kDeny, communities, {}, {} };
            list->lineIs( number, line );
            next.text.lines.emplace( number, line );
         }
      }
      next.list = list;
      generations.push_back( next );
      if( generations.size() > 3 ) generations.erase( generations.begin() );
      TableRoute route;
      const auto & communities = communitiesOf( route, C() ) = someCommunities<C>( random, 5 );
      checkKeys( *next.list, next.text );
      for( const auto & generation : generations ) {
         for( const auto comparison : { ListComparison::all, ListComparison::exact, ListComparison::any } ) {
            const bool isPermitted = permitsInTurn( generation.text, communities, comparison );
            ASSERT_EQ( generation.list->permits( route, comparison ), isPermitted );
            const auto keys = keysOf( *generation.list, comparison );
            const auto isTold = [ & ]( const C & community ) { return keys->contains( communityKey( community ) ); };
            ASSERT_TRUE( !keys || !isPermitted || std::ranges::any_of( communities, isTold ) );
         }
         const C one = someCommunity<C>( random );
         ASSERT_EQ( generation.list->deletes( one ), permitsInTurn( generation.text, { one }, ListComparison::any ) );
      }
   }
}

TEST( CommunityListModel, eachGenerationAnswersLikeAWalkOverItsLines ) {
   forRandomCases( 1, editAtRandom<Community> );
   forRandomCases( 1, editAtRandom<LargeCommunity> );
   forRandomCases( 1, editAtRandom<ExtCommunity> );
}

// An edit of a long list creates what stands beside the line, whatever the number of lines.
TEST( CommunityList, aGenerationSharesTheOtherLines ) {
   for( const uint32_t size : { 1000u, 20'000u } ) {
      CommunityListText text;
      for( uint32_t i = 0; i < size; ++i ) text.lines.emplace( i, CommunityListLine{ kPermit, { i }, {}, {} } );
      const auto list = Quoin::makeNode<CommunityList>( "L", text, Dialect::native );
      const auto before = allocationCount();
      const auto next = Quoin::makeNode<CommunityList>( "L", *list );
      next->lineDel( 5, text.lines.at( 5 ) );
      EXPECT_LT( allocationCount() - before, 12u ) << size;
      EXPECT_TRUE( list->deletes( 5 ) );
      EXPECT_FALSE( next->deletes( 5 ) );
      EXPECT_TRUE( next->deletes( size - 1 ) );
   }
}

TEST( CommunityList, aCommunityOfAllLinesIsNoReasonToAskThem ) {
   CommunityListText text;
   for( uint32_t i = 0; i < 50; ++i ) text.lines.emplace( i, CommunityListLine{ kPermit, { 1, 100 + i }, {}, {} } );
   const auto list = Quoin::makeNode<CommunityList>( "L", text, Dialect::native );
   const auto keys = keysOf( *list, ListComparison::all );
   ASSERT_TRUE( keys );
   EXPECT_EQ( keys->size(), 50u ) << "one line under each";
   EXPECT_FALSE( list->permits( carrying( { 1 } ) ) );
   EXPECT_TRUE( list->permits( carrying( { 1 } ), ListComparison::any ) );
   EXPECT_TRUE( list->permits( carrying( { 1, 149 } ) ) );
}

TEST( CommunityList, aLineTakesMemoryInProportionToItsCommunities ) {
   CommunityListText text;
   auto & communities = text.lines.try_emplace( 5, CommunityListLine{ kPermit, {}, {}, {} } ).first->second.communities;
   for( uint32_t i = 0; i < 1000; ++i ) communities.push_back( i );
   const auto before = mallinfo2().uordblks;
   const auto list = Quoin::makeNode<CommunityList>( "L", text, Dialect::native );
   EXPECT_LE( mallinfo2().uordblks, before + 200'000 );   // 1,000 rows of 1,000 communities take twenty times that
   EXPECT_TRUE( list->permits( carrying( communities ) ) );
   communities.pop_back();
   EXPECT_FALSE( list->permits( carrying( communities ) ) );
}

TEST( CommunityList, anEditThatFindsNoMemoryChangesNothing ) {
   CommunityListText text;
   for( uint32_t i = 0; i < 100; ++i ) text.lines.emplace( i, CommunityListLine{ kPermit, { i % 50 }, {}, {} } );
   const auto list = Quoin::makeNode<CommunityList>( "L", text, Dialect::native );
   const CommunityListLine known{ kDeny, { 7 }, {}, {} }, unknown{ kDeny, { 1000 }, {}, {} }, open{ kDeny, {}, {}, {} };
   const std::function<void( CommunityList & )> edits[] = {
      [ & ]( CommunityList & l ) { l.lineIs( 200, unknown ); },
      [ & ]( CommunityList & l ) { l.lineIs( 200, known ); },
      [ & ]( CommunityList & l ) { l.lineIs( 200, open ); },
      [ & ]( CommunityList & l ) { l.lineDel( 7, text.lines.at( 7 ) ); },
      [ & ]( CommunityList & l ) { l.lineDel( 57, text.lines.at( 57 ) ); },
   };
   const auto deleted = []( const CommunityList & l ) {
      std::vector<uint32_t> communities;
      for( uint32_t i = 0; i < 1001; ++i )
         if( l.deletes( i ) ) communities.push_back( i );
      return communities;
   };
   const auto before = deleted( *list );
   for( const auto & edit : edits ) {
      size_t failures = 0;
      for( bool failed = true; failed; ) {
         const auto next = Quoin::makeNode<CommunityList>( "L", *list );
         failed = false;
         try {
            const AllocationFailure failure( failures );
            edit( *next );
         } catch( const std::bad_alloc & ) {
            failed = true;
            ++failures;
            ASSERT_EQ( deleted( *next ), before );
         }
         ASSERT_EQ( deleted( *list ), before );
      }
      EXPECT_GT( failures, 0u );
   }
}

TEST( CommunityList, aStandardListIsAskedWithoutAllocating ) {
   CommunityListText text;
   text.lines = { { 10, { kPermit, { 1, 2 }, {}, {} } } };
   const auto list = Quoin::makeNode<CommunityList>( "L", text, Dialect::native );
   const auto route = carrying( std::vector<Community>( 200, 1 ) );
   const size_t before = allocationCount();
   list->permits( route );
   EXPECT_EQ( allocationCount(), before );
}

TEST( CommunityList, manyCommunitiesBecomeALongText ) {
   CommunityListText text;
   text.expanded = true;
   text.lines = { { 10, { kPermit, {}, "_65535:500$", {} } } };
   TableRoute route;
   for( uint32_t n = 1; n <= 500; ++n ) route.communities.push_back( community( 65535, n ) );
   EXPECT_TRUE( permits( text, route ) );
   route.communities.push_back( community( 65535, 501 ) );
   EXPECT_FALSE( permits( text, route ) );
}

}   // namespace

}   // namespace Agent
