#include "examples/evaluate_table/EdgePolicy.h"

#include <gtest/gtest.h>

#include <string>

#include "policy/Policy.h"

namespace EvaluateTable {
namespace {

using RouteTable::RouteOrigin;
using RouteTable::TableRoute;
using Routing::Policy::PolicyEval;

TableRoute routeOf( std::string_view prefix, uint32_t tag = 0, RouteOrigin origin = RouteOrigin::bgp ) {
   TableRoute route;
   route.prefix = Ferule::IpGenPrefix( prefix );
   route.metric = 70;
   route.tag = tag;
   route.origin = origin;
   return route;
}

TEST( EdgePolicyTest, everyWayThroughThePolicy ) {
   struct Row {
      const char * name;
      std::string_view prefix;
      uint32_t tag;
      bool permitted;
      unsigned distance;
      uint64_t metric;
   };
   const Row rows[] = {
      { "customer", "198.18.16.0/20", 64501, true, 20, 100 },
      { "customer, greatest length", "198.18.7.0/24", 64501, true, 20, 100 },
      { "customer, best way", "198.18.16.0/20", 64500, true, 20, 10 },
      { "customer's single prefix", "203.0.113.0/24", 64501, true, 20, 100 },
      { "customer, IPv6", "2001:db8:100::/40", 64501, true, 20, 100 },
      { "customer, IPv6, best way", "2001:db8:1::/48", 64500, true, 20, 10 },
      { "customer's space, too short", "198.18.0.0/19", 64500, true, 180, 70 },
      { "customer's space, too short, IPv6", "2001:db8::/39", 64500, true, 180, 70 },
      { "the provider's links within", "198.18.255.0/24", 64500, true, 180, 70 },
      { "any other", "198.51.100.0/24", 64501, true, 180, 70 },
      { "any other, IPv6", "3fff::/20", 64501, true, 180, 70 },
      { "the customer's tag elsewhere", "198.51.100.0/24", 64500, true, 180, 70 },
      { "no tag", "198.51.100.0/24", 0, true, 180, 70 },
      { "reserved origin", "198.51.100.0/24", 23456, false, 200, 70 },
      { "reserved origin of a customer", "198.18.16.0/20", 65535, false, 200, 70 },
      { "reserved origin, the last one", "2001:db8:1::/48", 4294967295, false, 200, 70 },
      { "too long", "198.51.100.0/25", 64501, false, 200, 70 },
      { "too long, customer", "198.18.7.0/25", 64500, false, 200, 70 },
      { "host", "198.51.100.1/32", 64501, false, 200, 70 },
      { "too long, IPv6", "3fff::/49", 64501, false, 200, 70 },
      { "longest that is not too long, IPv6", "3fff::/48", 64501, true, 180, 70 },
      { "default route", "0.0.0.0/0", 64501, false, 200, 70 },
      { "default route, IPv6", "::/0", 64501, false, 200, 70 },
      { "half of everything is no default route", "0.0.0.0/1", 64501, true, 180, 70 },
      { "private", "10.1.0.0/16", 64501, false, 200, 70 },
      { "private with the customer's tag", "172.31.0.0/16", 64500, false, 200, 70 },
      { "multicast", "224.0.0.0/4", 64501, false, 200, 70 },
      { "reserved space", "240.0.0.0/8", 64501, false, 200, 70 },
      { "unique local", "fd00::/16", 64500, false, 200, 70 },
      { "link-local", "fe80::/10", 64501, false, 200, 70 },
   };
   const auto policy = makeEdgePolicy();
   const auto eval = Quoin::makeNode<PolicyEval>();
   for( const auto & row : rows ) {
      const auto route = routeOf( row.prefix, row.tag );
      const auto input = matchInputOf( route );
      auto result = attributesOf( route );
      EXPECT_EQ( eval->eval( &input, policy.list, &result ), row.permitted ) << row.name;
      EXPECT_EQ( result.preference(), row.distance ) << row.name;
      EXPECT_EQ( result.metric(), Zeugma::MaybeU63( row.metric ) ) << row.name;
   }
}

TEST( EdgePolicyTest, routeIsHandedOverWhole ) {
   auto route = routeOf( "198.51.100.0/24", 5 );
   route.nextHop = Ferule::IpGenAddr( "192.0.2.9" );
   const auto input = matchInputOf( route );
   EXPECT_EQ( *input.getPrefixPointer(), route.prefix );
   EXPECT_EQ( input.getNexthop(), route.nextHop );
   EXPECT_EQ( input.getMetric(), route.metric );
   EXPECT_EQ( input.getTag(), 5u );
}

TEST( EdgePolicyTest, distanceBeforePolicyIsThatOfTheOrigin ) {
   const std::pair<RouteOrigin, unsigned> rows[] = { { RouteOrigin::connected, 0 }, { RouteOrigin::configured, 1 },
                                                     { RouteOrigin::bgp, 200 },     { RouteOrigin::ospf, 110 },
                                                     { RouteOrigin::isis, 115 },    { RouteOrigin::rip, 120 },
                                                     { RouteOrigin::unknown, 200 } };
   for( const auto & [ origin, distance ] : rows ) EXPECT_EQ( attributesOf( routeOf( "10.0.0.0/8", 0, origin ) ).preference(), distance );
   EXPECT_EQ( attributesOf( routeOf( "10.0.0.0/8", 7 ) ).tag(), 7u );
   EXPECT_FALSE( attributesOf( TableRoute() ).metric().present() );
}

// The words stand apart from what they describe: they must not drift from it.
TEST( EdgePolicyTest, wordsTellWhatTheSequencesDo ) {
   const auto policy = makeEdgePolicy();
   const auto texts = edgeInTexts();
   ASSERT_EQ( policy.edgeIn->seqStatus().count(), texts.size() );
   size_t at = 0;
   for( auto i = policy.edgeIn->seqStatus().first(); i; i.next(), ++at ) {
      const auto & seq = *i.value();
      const std::string routes = texts[ at ].routes;
      std::string effect = texts[ at ].effect;
      SCOPED_TRACE( seq.seqno() );
      EXPECT_EQ( seq.seqno(), texts[ at ].seqno );
      const auto expectWord = [ & ]( const std::string & word ) {
         EXPECT_NE( effect.find( word ), std::string::npos ) << "\"" << word << "\" in \"" << effect << "\"";
      };
      const auto expectSetters = [ & ]( const Routing::Policy::RouteMapSeqStatus & of ) {
         for( auto s = of.setter().first(); s; s.next() ) {
            const std::string setter( s.value()->toStrep() );   // "DistanceSetter distance 20"
            expectWord( setter.substr( setter.find( ' ' ) + 1 ) );
         }
      };
      expectSetters( seq );
      if( seq.continueSeq() ) expectWord( "continue at " + std::to_string( seq.continueSeq()->seqno() ) );
      if( const auto & called = seq.subRouteMap() ) {
         EXPECT_NE( routes.find( called->name().view() ), std::string::npos ) << routes;
         EXPECT_EQ( routes.find( " not " ) != std::string::npos, seq.subInvert() ) << routes;
         if( !seq.subInvert() )
            for( auto s = called->seqStatus().first(); s; s.next() ) expectSetters( *s.value() );
      }
   }
   std::string others;
   for( const char * line : subRouteMapTexts() ) others += line;
   for( const char * name : { "TOO-LONG ", "CUSTOMERS ", "BOGONS " } ) EXPECT_NE( others.find( name ), std::string::npos ) << name;
}

TEST( EdgePolicyTest, nothingIsUndefined ) {
   const auto policy = makeEdgePolicy();
   EXPECT_EQ( policy.list->routeMapName(), "EDGE-IN" );
   EXPECT_FALSE( policy.list->routeMapUndefined() );
   EXPECT_EQ( policy.edgeIn->undefinedReferences().value, 0 );
}

}   // namespace
}   // namespace EvaluateTable
