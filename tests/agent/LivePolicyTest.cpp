#include "live/LivePolicy.h"

#include <functional>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <malloc.h>

#include "policy/UndefinedPolicyReference.h"
#include "substrate/lists/RetiredPrefixRows.h"
#include "tests/agent/LiveFixture.h"
#include "tests/agent/RandomPolicy.h"
#include "tests/substrate/zeugma/AllocationCount.h"

namespace Agent {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Undefined = Routing::Policy::UndefinedPolicyReferenceBitfield;

using Edit = std::function<void( PolicyText & )>;

TableRoute with( TableRoute route, const std::function<void( TableRoute & )> & edit ) {
   edit( route );
   return route;
}

// ---- match clauses

struct MatchRow {
   const char * name;
   Match match;
   Edit lists;          // null: the clause refers to none
   uint8_t undefined;   // the bits that are set without them
   TableRoute matching;
   TableRoute other;
};

std::vector<MatchRow> matchRows() {
   using O = MatchOption;
   const auto v4 = routeTo( "10.1.0.0/16" ), v6 = routeTo( "2001:db8:1::/48" );
   const auto via = []( TableRoute route, const char * nextHop ) {
      route.nextHop = Ferule::IpGenAddr( nextHop );
      return route;
   };
   const auto tagged = [ & ]( uint32_t tag ) { return with( v4, [ & ]( TableRoute & r ) { r.tag = tag; } ); };
   const auto over = [ & ]( const char * name ) { return with( v4, [ & ]( TableRoute & r ) { r.interface = name; } ); };
   const auto metric = [ & ]( Zeugma::MaybeU63 m ) { return with( v4, [ & ]( TableRoute & r ) { r.metric = m; } ); };
   const auto from = [ & ]( SourceProtocol p ) { return with( v4, [ & ]( TableRoute & r ) { r.protocol = p; } ); };
   const auto path = [ & ]( const char * p ) { return with( v4, [ & ]( TableRoute & r ) { r.asPath = p; } ); };
   const auto carrying = [ & ]( std::vector<Community> c ) { return with( v4, [ & ]( TableRoute & r ) { r.communities = c; } ); };
   const Edit acl4 = []( PolicyText & t ) { t.ipv4AccessLists[ "L" ].lines = { { 5, maskedLine( kPermit, "10.1.0.0", "255.255.0.0" ) } }; };
   const Edit gappedAcl = []( PolicyText & t ) {
      t.ipv4AccessLists[ "L" ].lines = { { 5, maskedLine( kDeny, "10.0.7.0", "255.0.255.0" ) },
                                         { 10, accessLine( kPermit, "0.0.0.0/0" ) } };
   };
   const Edit acl6 = []( PolicyText & t ) { t.ipv6AccessLists[ "L" ].lines = { { 5, accessLine( kPermit, "2001:db8:1::/48" ) } }; };
   const Edit list4 = []( PolicyText & t ) { t.ipv4PrefixLists[ "L" ].lines = { { 5, prefixLine( kPermit, "10.1.0.0/16", 32 ) } }; };
   const Edit list6 = []( PolicyText & t ) { t.ipv6PrefixLists[ "L" ].lines = { { 5, prefixLine( kPermit, "2001:db8:1::/48", 128 ) } }; };
   const Edit standard = []( PolicyText & t ) {
      t.communityLists[ "L" ].lines = { { 5, { kDeny, { community( 1, 3 ) }, {}, {} } },
                                        { 10, { kPermit, { community( 1, 1 ), community( 1, 2 ) }, {}, {} } } };
   };
   const Edit expanded = []( PolicyText & t ) {
      t.communityLists[ "L" ].expanded = true;
      t.communityLists[ "L" ].lines = { { 5, { kPermit, {}, "^1:1 65535:65281$", {} } } };
   };
   const Edit paths = []( PolicyText & t ) {
      t.asPathLists[ "L" ].lines = { { 5, { kDeny, "^65009_", {} } }, { 10, { kPermit, "_65001$", {} } } };
   };
   const Edit tags = []( PolicyText & t ) { t.tagSets[ "L" ].tags = { 3, 4 }; };
   const Undefined::Bit prefixList = Undefined::prefixListUndefined, commList = Undefined::commListUndefined;
   return {
      { "an access list", { { O::matchIpAccessList, named( "L" ) } }, acl4, 0, v4, routeTo( "10.2.0.0/16" ) },
      { "an access list and a shorter route", { { O::matchIpAccessList, named( "L" ) } }, acl4, 0, v4, routeTo( "10.0.0.0/8" ) },
      { "a mask with a gap", { { O::matchIpAccessList, named( "L" ) } }, gappedAcl, 0, routeTo( "10.9.6.0/24" ), routeTo( "10.9.7.0/24" ) },
      { "an IPv6 access list", { { kMatchIpv6AccessList, named( "L" ) } }, acl6, 0, v6, routeTo( "2001:db8:2::/48" ) },
      { "an IPv6 access list and IPv4", { { kMatchIpv6AccessList, named( "L" ) } }, acl6, 0, v6, v4 },
      { "a prefix list", { { O::matchIpPrefixList, named( "L" ) } }, list4, prefixList, v4, routeTo( "10.0.0.0/8" ) },
      { "an IPv6 prefix list", { { O::matchIpv6PrefixList, named( "L" ) } }, list6, prefixList, v6, routeTo( "2001:db8::/32" ) },
      { "a next hop", { { O::matchIpNexthop, address( "10.1.0.1" ) } }, {}, 0, via( v4, "10.1.0.1" ), via( v4, "10.1.0.2" ) },
      { "a next hop and none", { { O::matchIpNexthop, address( "10.1.0.1" ) } }, {}, 0, via( v4, "10.1.0.1" ), v4 },
      { "an IPv6 next hop", { { O::matchIpv6Nexthop, address( "fe80::1" ) } }, {}, 0, via( v4, "fe80::1" ), via( v4, "fe80::2" ) },
      { "next hops by list", { { O::matchIpNexthop, named( "L" ) } }, acl4, 0, via( v6, "10.1.0.1" ), via( v6, "10.2.0.1" ) },
      { "next hops by list and none", { { O::matchIpNexthop, named( "L" ) } }, acl4, 0, via( v6, "10.1.0.1" ), v4 },
      { "IPv6 next hops by list",
        { { O::matchIpv6Nexthop, named( "L" ) } },
        acl6,
        0,
        via( v4, "2001:db8:1::1" ),
        via( v4, "2001:db8:2::1" ) },
      { "next hops by prefix list",
        { { O::matchIpNexthopPrefixList, named( "L" ) } },
        list4,
        prefixList,
        via( v4, "10.1.0.1" ),
        via( v4, "10.2.0.1" ) },
      { "IPv6 next hops by prefix list",
        { { O::matchIpv6NexthopPrefixList, named( "L" ) } },
        list6,
        prefixList,
        via( v4, "2001:db8:1::1" ),
        via( v4, "2001:db8:2::1" ) },
      { "a tag", { { O::matchTag, number( 7 ) } }, {}, 0, tagged( 7 ), tagged( 8 ) },
      { "a tag set", { { O::matchTagSet, named( "L" ) } }, tags, 0, tagged( 4 ), tagged( 5 ) },
      { "a metric", { { O::matchMetric, number( 7 ) } }, {}, 0, metric( 7 ), metric( 8 ) },
      { "metric 0 and none", { { O::matchMetric, number( 0 ) } }, {}, 0, metric( 0 ), metric( {} ) },
      { "a protocol", { { O::matchSourceProtocol, number( 4 ) } }, {}, 0, from( SourceProtocol::bgp ), from( SourceProtocol::ospf ) },
      { "a protocol and none", { { O::matchSourceProtocol, number( 1 ) } }, {}, 0, from( SourceProtocol::connected ), v4 },
      { "an interface", { { O::matchInterface, named( "eth0" ) } }, {}, 0, over( "eth0" ), over( "eth1" ) },
      { "an interface and none", { { O::matchInterface, named( "eth0" ) } }, {}, 0, over( "eth0" ), v4 },
      { "an instance", { { O::matchOspfInstance, number( 0 ) }, { O::matchTag, number( 1 ) } }, {}, 0, tagged( 1 ), tagged( 2 ) },
      { "all communities of a line",
        { { O::matchCommunity, named( "L" ) } },
        standard,
        commList,
        carrying( { community( 1, 1 ), community( 1, 2 ), community( 2, 0 ) } ),
        carrying( { community( 1, 2 ) } ) },
      { "a line that denies first",
        { { O::matchCommunity, named( "L" ) } },
        standard,
        commList,
        carrying( { community( 1, 1 ), community( 1, 2 ) } ),
        carrying( { community( 1, 1 ), community( 1, 2 ), community( 1, 3 ) } ) },
      { "an expression over communities",
        { { O::matchCommunity, named( "L" ) } },
        expanded,
        commList,
        carrying( { community( 1, 1 ), community( 65535, 65281 ) } ),
        carrying( { community( 1, 1 ) } ) },
      { "an AS path", { { O::matchAsPath, named( "L" ) } }, paths, 0, path( "65002 65001" ), path( "65002 165001" ) },
      { "an AS path that is denied", { { O::matchAsPath, named( "L" ) } }, paths, 0, path( "65001" ), path( "65009 65001" ) },
      { "two clauses",
        { { O::matchTag, number( 7 ) }, { O::matchTagSet, named( "L" ) } },
        []( PolicyText & t ) {
           t.tagSets[ "L" ].tags = { 7, 8 };
        },
        0,
        tagged( 7 ),
        tagged( 8 ) },
   };
}

TEST( LivePolicy, matchClausesTellRoutesApart ) {
   for( const auto & row : matchRows() ) {
      PolicyText text = textOf( sequence( kPermit, row.match ) );
      if( row.lists ) row.lists( text );
      LivePolicy policy;
      policy.apply( text );
      EXPECT_TRUE( permits( policy, row.matching ) ) << row.name;
      EXPECT_FALSE( permits( policy, row.other ) ) << row.name;
      EXPECT_EQ( policy.routeMap( "IN" )->undefinedReferences().value, 0 ) << row.name;
   }
}

TEST( LivePolicy, listsComeAndGoUnderTheRouteMap ) {
   for( const auto & row : matchRows() ) {
      if( !row.lists ) continue;
      const PolicyText without = textOf( sequence( kPermit, row.match ) );
      PolicyText whole = without;
      row.lists( whole );
      LivePolicy policy;
      for( int i = 0; i < 2; ++i ) {
         policy.apply( without );
         EXPECT_FALSE( permits( policy, row.matching ) ) << row.name;
         EXPECT_FALSE( permits( policy, row.other ) ) << row.name;
         EXPECT_EQ( policy.routeMap( "IN" )->undefinedReferences().value, row.undefined ) << row.name;
         const auto report = policy.apply( whole );
         EXPECT_THAT( report.republished, ElementsAre( "IN" ) ) << row.name;
         EXPECT_TRUE( permits( policy, row.matching ) ) << row.name;
         EXPECT_FALSE( permits( policy, row.other ) ) << row.name;
         EXPECT_EQ( policy.routeMap( "IN" )->undefinedReferences().value, 0 ) << row.name;
      }
   }
}

TEST( LivePolicy, clausesComeAndGoOverTheLists ) {
   for( const auto & row : matchRows() ) {
      PolicyText text = textOf( sequence( kPermit, row.match ) ), bare = textOf( sequence( kPermit ) );
      if( row.lists ) {
         row.lists( text );
         row.lists( bare );
      }
      LivePolicy policy;
      for( int i = 0; i < 2; ++i ) {
         policy.apply( text );
         EXPECT_FALSE( permits( policy, row.other ) ) << row.name;
         EXPECT_EQ( policy.apply( bare ).edits, row.match.size() ) << row.name;
         EXPECT_TRUE( permits( policy, row.other ) ) << row.name;
      }
   }
}

TEST( LivePolicy, anInvertedPrefixListPermitsWhatItDoesNot ) {
   PolicyText text = textOf( sequence( kPermit, { { MatchOption::matchIpPrefixList, named( "L", true ) } } ) );
   LivePolicy policy;
   policy.apply( text );
   EXPECT_TRUE( permits( policy, routeTo( "10.0.0.0/8" ) ) );   // the list is undefined
   text.ipv4PrefixLists[ "L" ].lines = { { 5, prefixLine( kPermit, "10.0.0.0/8" ) } };
   policy.apply( text );
   EXPECT_FALSE( permits( policy, routeTo( "10.0.0.0/8" ) ) );
   EXPECT_TRUE( permits( policy, routeTo( "10.0.0.0/9" ) ) );
}

TEST( LivePolicy, aClauseMovesToAnotherList ) {
   PolicyText text = textOf( sequence( kPermit, { { MatchOption::matchCommunity, named( "A" ) } } ) );
   text.communityLists[ "A" ].lines = { { 5, { kPermit, { community( 1, 1 ) }, {}, {} } } };
   text.communityLists[ "B" ].lines = { { 5, { kPermit, { community( 2, 2 ) }, {}, {} } } };
   const auto ofA = with( routeTo( "10.0.0.0/8" ), []( TableRoute & r ) { r.communities = { community( 1, 1 ) }; } );
   const auto ofB = with( routeTo( "10.0.0.0/8" ), []( TableRoute & r ) { r.communities = { community( 2, 2 ) }; } );
   LivePolicy policy;
   policy.apply( text );
   text.routeMaps[ "IN" ].sequences[ 10 ].match[ MatchOption::matchCommunity ] = named( "B" );
   policy.apply( text );
   EXPECT_FALSE( permits( policy, ofA ) );
   EXPECT_TRUE( permits( policy, ofB ) );
   text.communityLists[ "A" ].lines.begin()->second.communities = {};
   EXPECT_THAT( policy.apply( text ).republished, IsEmpty() );   // nobody follows it any more
}

// ---- set clauses

struct SetRow {
   const char * name;
   SetClauses set;
   std::function<void( ModelAnswer & )> expected;
};

TEST( LivePolicy, setClausesChangeWhatTheySay ) {
   const SetRow rows[] = {
      { "metric", { set( SetKind::metric, 5 ) }, []( ModelAnswer & a ) { a.metric = 5; } },
      { "the greatest metric",
        { set( SetKind::metric, ( uint64_t( 1 ) << 63 ) - 1 ) },
        []( ModelAnswer & a ) { a.metric = ( uint64_t( 1 ) << 63 ) - 1; } },
      { "tag", { set( SetKind::tag, 5 ) }, []( ModelAnswer & a ) { a.tag = 5; } },
      { "local preference", { set( SetKind::localPreference, 5 ) }, []( ModelAnswer & a ) { a.localPreference = 5; } },
      { "distance", { set( SetKind::distance, 255 ) }, []( ModelAnswer & a ) { a.distance = 255; } },
      { "communities",
        { setCommunities( { community( 1, 1 ), community( 9, 9 ) } ) },
        []( ModelAnswer & a ) {
           a.communities = { community( 1, 1 ), community( 9, 9 ) };
        } },
      { "more communities",
        { setCommunities( { community( 1, 1 ), community( 2, 2 ), community( 9, 9 ) }, true ) },
        []( ModelAnswer & a ) {
           a.communities = { community( 1, 1 ), community( 2, 2 ), community( 3, 3 ), community( 9, 9 ) };
        } },
      { "no communities", { setCommunities( {} ) }, []( ModelAnswer & a ) { a.communities = {}; } },
   };
   const auto route = with( routeTo( "10.0.0.0/8" ), []( TableRoute & r ) {
      r.metric = 1;
      r.tag = 2;
      r.localPreference = 3;
      r.communities = { community( 2, 2 ), community( 3, 3 ) };
   } );
   LivePolicy policy;
   policy.apply( textOf( sequence( kPermit ) ) );
   const ModelAnswer asItComes = answerOf( policy.routeMap( "IN" ), route );
   EXPECT_EQ( asItComes, ( ModelAnswer{ true, { { "IN", 10 } }, 1, 2, 3, route.communities, 0 } ) );
   for( const auto & row : rows ) {   // each takes the place of the one before
      EXPECT_GE( policy.apply( textOf( sequence( kPermit, {}, row.set ) ) ).edits, 1u ) << row.name;
      ModelAnswer expected = asItComes;
      row.expected( expected );
      EXPECT_EQ( answerOf( policy.routeMap( "IN" ), route ), expected ) << row.name;
   }
   policy.apply( textOf( sequence( kPermit ) ) );
   EXPECT_EQ( answerOf( policy.routeMap( "IN" ), route ), asItComes );
}

// ---- calls, continues and cycles

TEST( LivePolicy, aCallPassesWhatTheOtherPermits ) {
   PolicyText text = textOf( calling( kPermit, "SUB" ) );
   text.routeMaps[ "SUB" ].sequences[ 5 ] = sequence( kPermit, { { MatchOption::matchTag, number( 1 ) } }, { set( SetKind::metric, 9 ) } );
   const auto tagged = with( routeTo( "10.0.0.0/8" ), []( TableRoute & r ) { r.tag = 1; } );
   LivePolicy policy;
   policy.apply( text );
   const auto answer = answerOf( policy.routeMap( "IN" ), tagged );
   EXPECT_THAT( answer.sequences, ElementsAre( std::pair( "SUB", 5u ), std::pair( "IN", 10u ) ) );
   EXPECT_EQ( answer.metric, Zeugma::MaybeU63( 9 ) );
   EXPECT_FALSE( permits( policy, routeTo( "10.0.0.0/8" ) ) );

   text.routeMaps[ "IN" ].sequences[ 10 ].call->invert = true;
   policy.apply( text );
   EXPECT_FALSE( permits( policy, tagged ) );
   EXPECT_TRUE( permits( policy, routeTo( "10.0.0.0/8" ) ) );

   text.routeMaps.erase( "SUB" );
   EXPECT_THAT( policy.apply( text ).republished, ElementsAre( "IN", "SUB" ) );
   EXPECT_EQ( policy.routeMap( "SUB" ), nullptr );
   EXPECT_TRUE( permits( policy, tagged ) );
   EXPECT_TRUE( policy.routeMap( "IN" )->undefinedReferences().has( Undefined::subRouteMapUndefined ) );
}

TEST( LivePolicy, aContinueGoesOnAndLosesItsTarget ) {
   PolicyText text = textOf( sequence( kPermit, {}, { set( SetKind::tag, 1 ) } ) );
   auto & sequences = text.routeMaps[ "IN" ].sequences;
   sequences[ 20 ] = sequence( kDeny );
   sequences[ 30 ] = sequence( kPermit, {}, { set( SetKind::metric, 3 ) } );
   sequences[ 10 ].continueTo = ContinueClause{ 30, {} };
   LivePolicy policy;
   policy.apply( text );
   const auto answer = answerOf( policy.routeMap( "IN" ), routeTo( "10.0.0.0/8" ) );
   EXPECT_TRUE( answer.permitted );
   EXPECT_EQ( answer.tag, 1u );
   EXPECT_EQ( answer.metric, Zeugma::MaybeU63( 3 ) );

   sequences[ 10 ].continueTo->target = 0;
   policy.apply( text );
   EXPECT_FALSE( permits( policy, routeTo( "10.0.0.0/8" ) ) );   // a deny behind a permit that continues

   sequences[ 10 ].continueTo->target = 30;
   sequences.erase( 30 );
   policy.apply( text );
   EXPECT_TRUE( permits( policy, routeTo( "10.0.0.0/8" ) ) );
   EXPECT_FALSE( answerOf( policy.routeMap( "IN" ), routeTo( "10.0.0.0/8" ) ).metric.present() );
}

TEST( LivePolicy, aCycleHoldsBackItsRouteMapsAndTheirCallers ) {
   PolicyText text;
   text.routeMaps[ "A" ].sequences[ 10 ] = calling( kPermit, "B" );
   text.routeMaps[ "B" ].sequences[ 10 ] = sequence( kPermit );
   text.routeMaps[ "CALLER" ].sequences[ 10 ] = calling( kPermit, "A" );
   text.routeMaps[ "OTHER" ].sequences[ 10 ] = sequence( kPermit );
   LivePolicy policy;
   EXPECT_THAT( policy.apply( text ).republished, ElementsAre( "A", "B", "CALLER", "OTHER" ) );

   PolicyText cyclic = text;
   cyclic.routeMaps[ "B" ].sequences[ 10 ] = calling( kDeny, "A" );
   EXPECT_THAT( policy.apply( cyclic ).republished, ElementsAre( "A", "B", "CALLER" ) );
   for( const char * name : { "A", "B", "CALLER" } ) EXPECT_EQ( policy.routeMap( name ), nullptr ) << name;
   EXPECT_NE( policy.routeMap( "OTHER" ), nullptr );
   EXPECT_EQ( policy.text(), cyclic );

   cyclic.routeMaps[ "A" ].sequences[ 20 ] = sequence( kDeny );   // edited while it is held back
   policy.apply( cyclic );
   text.routeMaps[ "A" ].sequences[ 20 ] = sequence( kDeny );
   EXPECT_THAT( policy.apply( text ).republished, ElementsAre( "A", "B", "CALLER" ) );
   EXPECT_EQ( policy.routeMap( "A" )->seqStatus().count(), 2u );
   EXPECT_TRUE( answerOf( policy.routeMap( "CALLER" ), routeTo( "10.0.0.0/8" ) ).permitted );
}

TEST( LivePolicy, aRouteMapThatCallsItselfIsHeldBack ) {
   LivePolicy policy;
   EXPECT_THAT( policy.apply( textOf( calling( kPermit, "IN" ) ) ).republished, IsEmpty() );
   EXPECT_EQ( policy.routeMap( "IN" ), nullptr );
}

// ---- what an edit sets off

/// Three route maps: TOP calls MIDDLE, which uses the lists; APART uses none.
PolicyText layered() {
   PolicyText text;
   text.ipv4PrefixLists[ "P" ].lines = { { 5, prefixLine( kPermit, "10.0.0.0/8", 32 ) } };
   text.ipv4AccessLists[ "A" ].lines = { { 5, accessLine( kPermit, "10.0.0.0/8" ) } };
   text.routeMaps[ "APART" ].sequences[ 10 ] = sequence( kPermit );
   auto & middle = text.routeMaps[ "MIDDLE" ].sequences;
   middle[ 10 ] = sequence( kPermit, { { MatchOption::matchIpPrefixList, named( "P" ) } } );
   middle[ 20 ] = sequence( kPermit, { { MatchOption::matchIpAccessList, named( "A" ) } } );
   text.routeMaps[ "TOP" ].sequences[ 10 ] = calling( kPermit, "MIDDLE" );
   return text;
}

TEST( LivePolicy, theSameTextAgainIsNoEdit ) {
   LivePolicy policy;
   EXPECT_GT( policy.apply( layered() ).edits, 0u );
   const auto before = policy.routeMap( "TOP" );
   PolicyText moved = layered();   // the same, elsewhere in the file
   moved.routeMaps[ "TOP" ].sequences[ 10 ].place.line = 77;
   const auto report = policy.apply( moved );
   EXPECT_EQ( report.edits, 0u );
   EXPECT_THAT( report.republished, IsEmpty() );
   EXPECT_EQ( policy.routeMap( "TOP" ), before );
   EXPECT_EQ( policy.text().routeMaps.at( "TOP" ).sequences.at( 10 ).place.line, 77u );
}

TEST( LivePolicy, aDescriptionIsAnEditThatPublishesNothing ) {
   LivePolicy policy;
   PolicyText text = layered();
   policy.apply( text );
   text.routeMaps[ "TOP" ].sequences[ 10 ].description = "what customers announce";
   EXPECT_EQ( policy.apply( text ).edits, 1u );
   text.routeMaps[ "TOP" ].sequences[ 10 ].description.clear();
   const auto report = policy.apply( text );
   EXPECT_EQ( report.edits, 1u );
   EXPECT_THAT( report.republished, IsEmpty() );
   text.ipv4PrefixLists[ "P" ].description = "customers";
   EXPECT_EQ( policy.apply( text ).edits, 0u );   // the live configuration has no place for it
   EXPECT_EQ( policy.text(), text );
}

struct EditRow {
   const char * name;
   Edit edit;
   size_t edits;
   std::vector<std::string> republished;
};

TEST( LivePolicy, anEditReachesWhatStandsOnItOnce ) {
   const std::vector<std::string> both = { "MIDDLE", "TOP" };
   const EditRow rows[] = {
      { "a line more", []( PolicyText & t ) { t.ipv4PrefixLists[ "P" ].lines.emplace( 10, prefixLine( kDeny, "0.0.0.0/0" ) ); }, 1, both },
      { "a line replaced", []( PolicyText & t ) { t.ipv4PrefixLists[ "P" ].lines.at( 5 ).le = 24; }, 1, both },
      { "the list goes", []( PolicyText & t ) { t.ipv4PrefixLists.erase( "P" ); }, 1, both },
      { "a rule more", []( PolicyText & t ) { t.ipv4AccessLists[ "A" ].lines.emplace( 10, accessLine( kDeny, "0.0.0.0/0" ) ); }, 1, both },
      { "the access list goes", []( PolicyText & t ) { t.ipv4AccessLists.erase( "A" ); }, 1, both },
      { "a list that nobody uses",
        []( PolicyText & t ) {
           t.tagSets[ "T" ].tags = { 1, 2, 3 };
        },
        3,
        {} },
      { "a clause", []( PolicyText & t ) { t.routeMaps[ "TOP" ].sequences[ 10 ].set.put( set( SetKind::metric, 4 ) ); }, 1, { "TOP" } },
      { "all at once",
        []( PolicyText & t ) {
           t.ipv4PrefixLists[ "P" ].lines.at( 5 ).le = 24;
           t.ipv4AccessLists[ "A" ].lines.at( 5 ).action = kDeny;
           t.routeMaps[ "MIDDLE" ].sequences[ 10 ].set.put( set( SetKind::tag, 4 ) );
        },
        3, both },
      { "sequences go", []( PolicyText & t ) { t.routeMaps[ "MIDDLE" ].sequences.erase( 20 ); }, 1, both },
      { "a sequence comes and one goes",
        []( PolicyText & t ) {
           t.routeMaps[ "MIDDLE" ].sequences.erase( 10 );
           t.routeMaps[ "MIDDLE" ].sequences[ 30 ] = sequence( kDeny );
        },
        3, both },
   };
   for( const auto & row : rows ) {
      LivePolicy policy;
      PolicyText text = layered();
      policy.apply( text );
      const auto versions = [ & ] {
         std::vector<uint32_t> all;
         for( const auto & name : row.republished ) all.push_back( policy.root()->routeMapTable()->symbol( name )->notifierVersion() );
         return all;
      };
      auto once = versions();
      for( auto & version : once ) ++version;
      row.edit( text );
      const auto report = policy.apply( text );
      EXPECT_EQ( report.edits, row.edits ) << row.name;
      EXPECT_EQ( report.republished, row.republished ) << row.name;
      EXPECT_EQ( versions(), once ) << row.name;
   }
}

TEST( LivePolicy, manySequencesGoInOnePublication ) {
   PolicyText text = textOf( sequence( kDeny ) );
   for( uint32_t n = 20; n <= 2000; n += 10 ) text.routeMaps[ "IN" ].sequences[ n ] = sequence( kPermit );
   LivePolicy policy;
   policy.apply( text );
   const auto symbol = policy.root()->routeMapTable()->symbol( "IN" );
   const auto before = symbol->notifierVersion();
   EXPECT_EQ( policy.apply( textOf( sequence( kDeny ) ) ).edits, 199u );
   EXPECT_EQ( symbol->notifierVersion(), before + 1 );
   EXPECT_EQ( policy.routeMap( "IN" )->seqStatus().count(), 1u );
}

TEST( LivePolicy, aListWithoutLinesIsUndefined ) {
   PolicyText text = layered();
   LivePolicy policy;
   policy.apply( text );
   text.ipv4PrefixLists[ "P" ].lines.clear();
   policy.apply( text );
   EXPECT_TRUE( policy.routeMap( "TOP" )->undefinedReferences().has( Undefined::prefixListUndefined ) );
}

TEST( LivePolicy, aListOfManySlicesIsWholeWhenApplyReturns ) {
   PolicyText text = textOf( sequence( kPermit, { { MatchOption::matchIpAccessList, named( "LONG" ) } } ) );
   auto & lines = text.ipv4AccessLists[ "LONG" ].lines;
   for( uint32_t n = 1; n <= 100'000; ++n )
      lines.emplace( n, AccessListLine{ kPermit, { Ferule::IpAddr( 10u << 24 | n ), Ferule::Bits128::leadingOnes( 32 ) }, {} } );
   LivePolicy policy;
   EXPECT_EQ( policy.apply( text ).edits, 100'000u + 2 );            // the sequence and its clause
   EXPECT_TRUE( permits( policy, routeTo( "10.1.134.160/32" ) ) );   // the last one
   EXPECT_FALSE( permits( policy, routeTo( "10.1.134.161/32" ) ) );
}

// ---- what it costs

TEST( LivePolicy, askingStandardListsAllocatesNothing ) {
   PolicyText text = textOf( sequence( kPermit,
                                       { { MatchOption::matchCommunity, named( "L" ) },
                                         { MatchOption::matchInterface, named( "eth0" ) },
                                         { MatchOption::matchIpNexthop, named( "N" ) } } ) );
   text.communityLists[ "L" ].lines = { { 5, { kPermit, { community( 1, 1 ) }, {}, {} } } };
   text.ipv4AccessLists[ "N" ].lines = { { 5, accessLine( kPermit, "0.0.0.0/0" ) } };
   LivePolicy policy;
   policy.apply( text );
   const auto routeMap = policy.routeMap( "IN" );
   const auto route = with( routeTo( "10.0.0.0/8" ), []( TableRoute & r ) {
      r.communities = { community( 1, 1 ), community( 1, 2 ) };
      r.interface = "eth0";
      r.nextHop = Ferule::IpGenAddr( "192.0.2.1" );
   } );
   const Routing::Policy::PolicyEval eval;
   const AgentRoute warm( route );
   ASSERT_TRUE( eval.evalPeerFilter( routeMap, &warm ) );
   const size_t before = allocationCount();
   for( int i = 0; i < 100; ++i ) {
      const AgentRoute input( route );
      eval.evalPeerFilter( routeMap, &input );
   }
   EXPECT_EQ( allocationCount(), before );
}

TEST( LivePolicy, whatALongListTookIsGivenBackWhenApplyReturns ) {
   PolicyText text = textOf( sequence( kPermit, { { MatchOption::matchIpAccessList, named( "LONG" ) } } ) );
   LivePolicy policy;
   policy.apply( text );
   const auto before = mallinfo2().uordblks;
   {
      PolicyText longer = text;
      auto & lines = longer.ipv4AccessLists[ "LONG" ].lines;
      for( uint32_t n = 1; n <= 100'000; ++n )
         lines.emplace( n, AccessListLine{ kPermit, { Ferule::IpAddr( 10u << 24 | n ), Ferule::Bits128::leadingOnes( 32 ) }, {} } );
      policy.apply( std::move( longer ) );
   }
   policy.apply( text );
   EXPECT_LE( mallinfo2().uordblks, before + 1'000'000 );   // the trie alone takes ten times that
}

TEST( LivePolicy, whatALongPrefixListTookIsGivenBackToo ) {
   PolicyText text = textOf( sequence( kPermit, { { MatchOption::matchIpPrefixList, named( "LONG" ) } } ) );
   const auto longer = [ & ]( uint32_t step ) {
      PolicyText longer = text;
      auto & lines = longer.ipv4PrefixLists[ "LONG" ].lines;
      for( uint32_t n = 1; n <= 100'000; ++n ) {   // nine prefixes in each block
         const Ferule::IpGenPrefix prefix( Ferule::IpAddr( n / 9 << 14 | n % 9 << 8 ), 24 );
         lines.emplace( step * n, PrefixListLine{ kPermit, prefix, {}, {}, {} } );
      }
      return longer;
   };
   LivePolicy policy;
   policy.apply( longer( 5 ) );
   const auto isAllFreed = [] { return Routing::RouteMap::RetiredPrefixRows::letGo( 0 ); };
   for( const uint32_t step : { 10, 5 } ) {
      policy.apply( longer( step ) );
      EXPECT_TRUE( isAllFreed() ) << "of the former generation";
   }
   policy.apply( text );
   EXPECT_TRUE( isAllFreed() );
}

TEST( LivePolicy, manySmallEditsLeaveNothingBehind ) {
   RandomPolicy random( 5 );
   std::vector<PolicyText> texts( 100 );
   for( auto & text : texts )
      for( int i = 0; i < 60; ++i ) random.change( text );
   LivePolicy policy;
   const auto round = [ & ] {
      for( const auto & text : texts ) policy.apply( text );
   };
   for( int i = 0; i < 10; ++i ) round();
   const auto before = mallinfo2().uordblks;
   for( int i = 0; i < 90; ++i ) round();
   EXPECT_LE( mallinfo2().uordblks, before + 16'384 );   // an edit that leaves 16 bytes behind leaves 144,000
   EXPECT_LE( policy.root()->routeMapTable()->count(), 5u );
   policy.apply( {} );
   EXPECT_EQ( policy.root()->routeMapTable()->count(), 0u );
   EXPECT_EQ( policy.root()->ipv4PrefixListTable()->count(), 0u );
   EXPECT_EQ( policy.root()->commListTable()->count(), 0u );
   EXPECT_EQ( policy.root()->ipv4AclListTable()->count(), 0u );
}

}   // namespace

}   // namespace Agent
