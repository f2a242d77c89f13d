#include "live/AccessList.h"

#include <gtest/gtest.h>

#include "command/RouteEvaluator.h"
#include "live/LivePolicy.h"
#include "text/LineLoader.h"

namespace Agent {
namespace {

PolicyText textOf( const char * lines ) {
   LineLoader loader( Dialect::frr );
   loader.load( "p", lines );
   for( const auto & error : loader.errors() ) ADD_FAILURE() << loader.toString( error );
   return loader.text();
}

TEST( AccessList, theLowestLineOfAllGroupsDecides ) {
   const PolicyText text = textOf( "access-list A seq 5 permit 10.1.0.0/16 exact-match\n"
                                   "access-list A seq 10 deny 10.1.0.0/16\n"
                                   "access-list A seq 15 permit host 10.2.0.0\n"
                                   "access-list A seq 20 permit 10.0.0.0/8\n"
                                   "access-list A seq 25 permit ip any host 255.255.255.252\n" );
   const AccessList list( "A", text.ipv4AccessLists.at( "A" ) );
   const struct {
      const char * prefix;
      bool permitted;
   } rows[] = { { "10.1.0.0/16", true },  { "10.1.0.0/17", false },  { "10.1.2.0/30", false },  { "10.2.0.0/15", true },
                { "10.2.0.0/7", true },   { "10.3.0.0/16", true },   { "10.0.0.0/8", true },    { "8.0.0.0/7", false },
                { "192.0.2.4/30", true }, { "192.0.2.4/31", false }, { "2001:db8::/32", false } };
   for( const auto & row : rows ) EXPECT_EQ( list.permits( Ferule::IpGenPrefix( row.prefix ) ), row.permitted ) << row.prefix;
   EXPECT_FALSE( AccessList( "A", {} ).permits( Ferule::IpGenPrefix( "10.0.0.0/8" ) ) );
}

TEST( AccessList, permitsTheSourceOfARouteAndItsNextHop ) {
   LivePolicy policy( Dialect::frr );
   policy.apply( textOf( "access-list A permit host 192.0.2.1\n"
                         "route-map SOURCE permit 10\n match ip route-source A\n"
                         "route-map HOP permit 10\n match ip next-hop A\n" ) );
   const auto permits = [ & ]( const char * name, const TableRoute & route ) {
      RouteAnswer answer;
      RouteEvaluator( policy.routeMap( name ), Dialect::frr ).evaluate( route, answer );
      return answer.permitted;
   };
   TableRoute route;
   route.prefix = Ferule::IpGenPrefix( "10.0.0.0/8" );
   for( const char * address : { "192.0.2.1", "192.0.2.2" } ) {
      route.peer = route.nextHop = Ferule::IpGenAddr( address );
      for( const char * name : { "SOURCE", "HOP" } ) EXPECT_EQ( permits( name, route ), address == std::string( "192.0.2.1" ) ) << name;
   }
}

}   // namespace
}   // namespace Agent
