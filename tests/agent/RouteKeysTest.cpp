#include "live/RouteKeys.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "live/FrrMatchers.h"
#include "tests/agent/LiveFixture.h"
#include "tests/model/RandomCases.h"

namespace Agent {

namespace {

using Routing::Policy::MatchKey;

/// Some of few values.
std::vector<Community> someOf( Random & random ) {
   std::vector<Community> some;
   for( Community c = 0; c < 5; ++c )
      if( oneIn( random, 2 ) ) some.push_back( c );
   return some;
}

MatchPermit someAction( Random & random ) {
   return oneIn( random, 3 ) ? MatchPermit::deny : kPermit;
}

TableRoute someRoute( Random & random ) {
   static const std::vector<std::string> words{ "1", "2", "12", "{1,2}", "(3 4)", "[5 1]", "[2]" };
   TableRoute route;
   route.communities = someOf( random );
   for( auto n = below( random, 4 ); n; --n ) route.asPath += ( route.asPath.empty() ? "" : " " ) + anyOf( random, words );
   if( oneIn( random, 2 ) ) route.metric = Zeugma::MaybeU63( below( random, 3 ) );
   if( oneIn( random, 6 ) ) route.otherIs( "as-path replace", "any" );
   if( oneIn( random, 6 ) ) route.otherIs( "metric", "rtt" );
   return route;
}

Quoin::Ptr<const CommunityList> someCommunityList( Random & random, Dialect dialect ) {
   CommunityListText text;
   text.expanded = oneIn( random, 8 );
   for( uint32_t n = uint32_t( below( random, 4 ) ); n; --n ) {
      auto & line = text.lines[ n ];
      line.action = someAction( random );
      if( text.expanded )
         line.expression = anyOf<std::string>( random, { "_0:1_", "^0:2$", "0:[34]" } );
      else if( !oneIn( random, 6 ) )
         line.communities = someOf( random );
   }
   return Quoin::makeNode<CommunityList>( "L", text, dialect );
}

Quoin::Ptr<const AsPathList> someAsPathList( Random & random, Dialect dialect ) {
   AsPathListText text;
   for( uint32_t n = uint32_t( below( random, 4 ) ); n; --n )
      text.lines[ n ] = { someAction( random ),
                          anyOf<std::string>( random, { "_1_", "^2_", "_12$", "^$", "^1$", "_3_", "_5_", "_2_", "^1_.*_2$" } ),
                          {} };
   return Quoin::makeNode<AsPathList>( "L", text, dialect );
}

Quoin::Ptr<const Matcher> someMatcher( Random & random ) {
   const auto dialect = oneIn( random, 2 ) ? Dialect::native : Dialect::frr;
   const auto comparison = anyOf<ListComparison>( random, { ListComparison::all, ListComparison::exact, ListComparison::any } );
   switch( below( random, 3 ) ) {
      case 0: return Quoin::makeNode<CommunityMatcher>( "L", someCommunityList( random, dialect ), comparison );
      case 1: return Quoin::makeNode<AsPathMatcher>( "L", someAsPathList( random, dialect ) );
      default: return Quoin::makeNode<FrrMetricMatcher>( Zeugma::MaybeU63( below( random, 3 ) ) );
   }
}

bool matchesOrThrows( const Matcher & matcher, const AgentRoute & route ) {
   try {
      return matcher.match( &route, nullptr );
   } catch( const Unanswered & ) { return true; }
}

bool hasOneOf( const AgentRoute & route, const std::vector<MatchKey> & keys ) {
   const auto own = route.getOwnKeys();
   return std::ranges::any_of( keys, [ & ]( const MatchKey & key ) {
      if( key.attribute != MatchKey::Attribute::own ) return key == MatchKey::of( route, key.attribute );
      return std::ranges::find( own, key.value ) != own.end();
   } );
}

// Otherwise a plan would not find the sequence of the matcher.
TEST( RouteKeys, aRouteThatMatchesHasAKeyThatTheMatcherTells ) {
   size_t matched = 0, unmatched = 0;
   forRandomCases( 100, [ & ]( Random & random ) {
      const auto matcher = someMatcher( random );
      MatchKeys told;
      matcher->keys( told );
      if( !told.isSelective() ) return;
      for( int i = 0; i < 10; ++i ) {
         const TableRoute table = someRoute( random );
         const AgentRoute route( table );
         const bool matches = matchesOrThrows( *matcher, route ), has = hasOneOf( route, told.keys() );
         matched += matches;
         unmatched += !has;
         EXPECT_TRUE( has || !matches ) << matcher->toStrep() << ": " << table.asPath;
      }
   } );
   EXPECT_GT( matched, 1000u );
   EXPECT_GT( unmatched, 1000u ) << "keys that every route has tell nothing";
}

TEST( RouteKeys, changeWithTheRoute ) {
   TableRoute one, other;
   one.communities = { 1 };
   other.communities = { 2 };
   AgentRoute route( one );
   EXPECT_TRUE( hasOneOf( route, { MatchKey::own( communityKey( 1 ) ) } ) );
   route.routeIs( other );
   EXPECT_FALSE( hasOneOf( route, { MatchKey::own( communityKey( 1 ) ) } ) );
   EXPECT_TRUE( hasOneOf( route, { MatchKey::own( communityKey( 2 ) ) } ) );
}

// A matcher that plans cannot look up is asked about every route.
TEST( RouteKeys, anOpenOrLongListTellsNone ) {
   const auto isSelective = []( const CommunityListText & text ) {
      MatchKeys told;
      CommunityMatcher( "L", Quoin::makeNode<CommunityList>( "L", text, Dialect::frr ) ).keys( told );
      EXPECT_TRUE( told.isSkippable() );
      return told.isSelective();
   };
   CommunityListText text;
   EXPECT_TRUE( isSelective( text ) );
   for( uint32_t n = 1; n <= 63; ++n ) text.lines[ n ] = { kPermit, { n }, {}, {} };
   EXPECT_TRUE( isSelective( text ) );
   text.lines[ 64 ] = { kPermit, { 64 }, {}, {} };
   EXPECT_FALSE( isSelective( text ) );
   text.lines = { { 1, { kPermit, { 1 }, {}, {} } }, { 2, { kPermit, {}, {}, {} } } };
   EXPECT_FALSE( isSelective( text ) );
}

}   // namespace

}   // namespace Agent
