#include "EdgePolicy.h"

#include <initializer_list>
#include <optional>
#include <stdexcept>
#include <string>

#include "policy/DistanceSetter.h"
#include "policy/PrefixListMatcher.h"
#include "policy/RouteMetricSetter.h"
#include "policy/TagMatcher.h"
#include "policy/TagSetMatcher.h"
#include "substrate/routemap/PrefixListBuilder.h"

namespace EvaluateTable {

namespace {

using Acl::MatchPermit;
using Ferule::AddressFamily;
using Quoin::makeNode;
using Quoin::Ptr;
using RouteTable::RouteOrigin;
using Routing::Policy::MatchOption;
using Routing::Policy::RouteMapSeqStatus;
using Routing::Policy::RouteMapStatus;
using Routing::Policy::SetOption;
using Routing::RouteMap::PrefixListBuilder;
using Routing::RouteMap::PrefixListStatus;

struct Line {
   const char * prefix;
   std::optional<uint32_t> ge = std::nullopt;
   std::optional<uint32_t> le = std::nullopt;
   MatchPermit action = MatchPermit::permit;
};

// A prefix list whose entries are numbered 10, 20, 30 in the order given. The lowest number that speaks of a prefix governs.
Ptr<const PrefixListStatus> prefixList( const char * name, AddressFamily af, std::initializer_list<Line> lines ) {
   PrefixListBuilder builder( name, af );
   uint32_t seqno = 0;
   for( const Line & line : lines ) {
      const auto error = builder.entryIs( { seqno += 10, line.action, Ferule::IpGenPrefix( line.prefix ), line.ge, line.le } );
      if( error ) throw std::logic_error( std::string( error->toStrep() ) );   // the lists below are part of the program
   }
   return builder.build();
}

// A route map that permits what either list permits. A list speaks of one family, so that two sequences are needed.
Ptr<RouteMapStatus> eitherList( const char * name, const Ptr<const PrefixListStatus> & v4, const Ptr<const PrefixListStatus> & v6,
                                const Ptr<const Routing::Policy::Setter> & distance = nullptr ) {
   auto map = makeNode<RouteMapStatus>( name );
   auto ipv4 = makeNode<RouteMapSeqStatus>( 10 );
   ipv4->matcherIs( MatchOption::matchIpPrefixList, makeNode<Routing::Policy::PrefixListMatcher>( v4->name(), v4 ) );
   auto ipv6 = makeNode<RouteMapSeqStatus>( 20 );
   ipv6->matcherIs( MatchOption::matchIpv6PrefixList, makeNode<Routing::Policy::PrefixListMatcher>( v6->name(), v6 ) );
   for( const auto & seq : { ipv4, ipv6 } ) {
      if( distance ) seq->setterIs( SetOption::setDistance, distance );
      map->seqStatusIs( seq );
   }
   map->undefinedReferencesIs( {} );
   return map;
}

Ptr<RouteMapStatus> makeTooLong() {
   return eitherList( "TOO-LONG", prefixList( "LONG-V4", AddressFamily::ipv4, { { .prefix = "0.0.0.0/0", .ge = 25 } } ),
                      prefixList( "LONG-V6", AddressFamily::ipv6, { { .prefix = "::/0", .ge = 49 } } ) );
}

// Ranges that are set apart for documents and benchmarks stand in for a provider's own.
Ptr<RouteMapStatus> makeCustomers() {
   return eitherList(
      "CUSTOMERS",
      prefixList( "CUSTOMERS-V4", AddressFamily::ipv4,
                  {
                     { .prefix = "198.18.255.0/24", .le = 32, .action = MatchPermit::deny },   // the provider's own links
                     { .prefix = "198.18.0.0/16", .ge = 20, .le = 24 },                        // RFC 2544
                     { .prefix = "203.0.113.0/24" },                                           // RFC 5737
                  } ),
      prefixList( "CUSTOMERS-V6", AddressFamily::ipv6, { { .prefix = "2001:db8::/32", .ge = 40, .le = 48 } } ),   // RFC 3849
      makeNode<Routing::Policy::DistanceSetter>( 20 ) );
}

Ptr<RouteMapStatus> makeBogons() {
   return eitherList( "BOGONS",
                      prefixList( "BOGONS-V4", AddressFamily::ipv4,   // RFC 6890
                                  {
                                     { .prefix = "0.0.0.0/0" },   // the default route itself
                                     { .prefix = "0.0.0.0/8", .le = 32 },
                                     { .prefix = "10.0.0.0/8", .le = 32 },
                                     { .prefix = "100.64.0.0/10", .le = 32 },
                                     { .prefix = "127.0.0.0/8", .le = 32 },
                                     { .prefix = "169.254.0.0/16", .le = 32 },
                                     { .prefix = "172.16.0.0/12", .le = 32 },
                                     { .prefix = "192.0.0.0/24", .le = 32 },
                                     { .prefix = "192.168.0.0/16", .le = 32 },
                                     { .prefix = "224.0.0.0/3", .le = 32 },   // multicast and reserved
                                  } ),
                      prefixList( "BOGONS-V6", AddressFamily::ipv6,
                                  {
                                     { .prefix = "::/0" },
                                     { .prefix = "::/8", .le = 128 },        // unspecified, loopback, mapped IPv4
                                     { .prefix = "fc00::/7", .le = 128 },    // unique local
                                     { .prefix = "fe80::/10", .le = 128 },   // link-local
                                     { .prefix = "ff00::/8", .le = 128 },    // multicast
                                  } ) );
}

constexpr SequenceText kTexts[] = {
   { 10, "whose tag, the origin AS, is in tag set RESERVED-AS", "" },
   { 20, "that TOO-LONG permits", "" },
   { 30, "that CUSTOMERS permits", "distance 20 (set by CUSTOMERS), metric 100, continue at 60" },
   { 40, "that BOGONS does not permit", "distance 180" },
   { 50, "all others", "" },
   { 60, "with tag 64500, whose customer pays for the best way", "metric 10" },
};

constexpr const char * kSubRouteMaps[] = {
   "TOO-LONG   permits prefixes beyond /24, of IPv6 beyond /48",
   "CUSTOMERS  permits 198.18.0.0/16 in lengths 20 to 24 but for 198.18.255.0/24, 203.0.113.0/24,",
   "           and 2001:db8::/32 in lengths 40 to 48",
   "BOGONS     permits the default route and private, loopback, link-local, multicast and reserved space",
};

}   // namespace

EdgePolicy makeEdgePolicy() {
   using Routing::Policy::RouteMapStatusList;
   auto edgeIn = makeNode<RouteMapStatus>( "EDGE-IN" );

   // All matchers of a sequence must hold. This one has one matcher, and denies.
   auto reserved = makeNode<Routing::RouteMap::TagSetStatus>(
      "RESERVED-AS", std::initializer_list<Routing::RouteTag>{ 23456, 65535, 4294967295 } );   // RFC 6793, RFC 7300
   auto denyReserved = makeNode<RouteMapSeqStatus>( 10 );
   denyReserved->matchActionIs( MatchPermit::deny );
   denyReserved->matcherIs( MatchOption::matchTagSet, makeNode<Routing::Policy::TagSetMatcher>( reserved->name(), reserved ) );
   edgeIn->seqStatusIs( denyReserved );

   // A called route map that permits lets the sequence match.
   auto denyTooLong = makeNode<RouteMapSeqStatus>( 20 );
   denyTooLong->matchActionIs( MatchPermit::deny );
   denyTooLong->subRouteMapIs( makeTooLong() );
   edgeIn->seqStatusIs( denyTooLong );

   // The setters of a called route map run first. Then evaluation goes on at 60; without the continue it would end here.
   auto preferred = makeNode<RouteMapSeqStatus>( 60 );
   preferred->matcherIs( MatchOption::matchTag, makeNode<Routing::Policy::TagMatcher>( 64500 ) );
   preferred->setterIs( SetOption::setMetric, makeNode<Routing::Policy::RouteMetricSetter>( 10 ) );
   auto permitCustomers = makeNode<RouteMapSeqStatus>( 30 );
   permitCustomers->subRouteMapIs( makeCustomers() );
   permitCustomers->setterIs( SetOption::setMetric, makeNode<Routing::Policy::RouteMetricSetter>( 100 ) );
   permitCustomers->continueSeqIs( preferred );
   edgeIn->seqStatusIs( permitCustomers );

   // Inverted: the sequence matches where the called route map denies.
   auto permitOthers = makeNode<RouteMapSeqStatus>( 40 );
   permitOthers->subRouteMapIs( makeBogons() );
   permitOthers->subInvertIs( true );
   permitOthers->setterIs( SetOption::setDistance, makeNode<Routing::Policy::DistanceSetter>( 180 ) );
   edgeIn->seqStatusIs( permitOthers );

   // No matcher at all: every route that comes this far. It keeps them away from 60, which is for customers.
   auto denyRest = makeNode<RouteMapSeqStatus>( 50 );
   denyRest->matchActionIs( MatchPermit::deny );
   edgeIn->seqStatusIs( denyRest );

   edgeIn->seqStatusIs( preferred );
   edgeIn->undefinedReferencesIs( {} );

   auto list = makeNode<RouteMapStatusList>();
   list->rmStatusIs( Routing::Policy::RmPrecedence::routeMapPrecedence, edgeIn );
   return { edgeIn, list };
}

std::span<const SequenceText> edgeInTexts() noexcept {
   return kTexts;
}

std::span<const char * const> subRouteMapTexts() noexcept {
   return kSubRouteMaps;
}

Routing::Policy::MatchInput_ matchInputOf( const RouteTable::TableRoute & route ) {
   Routing::Policy::MatchInput_ input;
   input.prefixIs( route.prefix );
   input.nexthopIs( route.nextHop );
   input.metricIs( route.metric );
   input.tagIs( route.tag );
   return input;
}

Routing::Policy::Result_ attributesOf( const RouteTable::TableRoute & route ) {
   constexpr auto distanceOf = []( RouteOrigin origin ) -> Routing::RoutePreference {
      switch( origin ) {
         case RouteOrigin::connected: return 0;
         case RouteOrigin::configured: return 1;
         case RouteOrigin::ospf: return 110;
         case RouteOrigin::isis: return 115;
         case RouteOrigin::rip: return 120;
         case RouteOrigin::bgp:
         case RouteOrigin::unknown: break;
      }
      return 200;
   };
   Routing::Policy::Result_ attributes;
   attributes.preferenceIs( distanceOf( route.origin ) );
   attributes.metricIs( route.metric );
   attributes.tagIs( route.tag );
   return attributes;
}

}   // namespace EvaluateTable
