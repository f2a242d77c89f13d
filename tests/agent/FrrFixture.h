/// @file tests/agent/FrrFixture.h
/// What FRR's bgpd did with routes: the answers that scripts/compare-frr recorded in tests/agent/frr.
///
///    for( const FrrTable & table : readFrrFixture( "row-01.json" ).tables )
///       for( const FrrPolicy & policy : table.policies )
///          for( size_t i = 0; i < table.routes.size(); ++i )
///             // bgpd makes policy.after[ i ] of table.routes[ i ]
#pragma once

#include <algorithm>
#include <filesystem>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "table/Input.h"
#include "table/TableRoute.h"
#include "tests/agent/FrrCommunity.h"

namespace Agent {

inline const std::filesystem::path kFrrFolder = "tests/agent/frr";   // from the top of the repository
inline const std::string kFrrRouteMap = "M";                         // of every policy, the route map that bgpd was asked about

struct FrrRoute {
   TableRoute route;
   std::map<std::string, std::string> others;   // attributes for which a TableRoute has no member, by the name in the file
   friend bool operator==( const FrrRoute &, const FrrRoute & ) = default;
};

struct FrrPolicy {
   std::string name;
   std::string row;    // of a policy written by hand: what it is
   std::string says;   // and what bgpd does with it
   std::vector<std::string> lines;
   std::vector<std::string> refused;             // the lines that bgpd refused, which have no effect
   std::vector<std::optional<FrrRoute>> after;   // for each route of the table; nothing: denied
};

struct FrrTable {
   std::string neighbor;   // that the routes are sent to, where a file has tables of several
   std::vector<FrrRoute> routes;
   std::vector<FrrPolicy> policies;
};

struct FrrFixture {
   std::string daemon;   // "bgpd 8.4.4"
   std::vector<FrrTable> tables;
};

/// The clause that sets an attribute, if the agent carries the attribute by its words.
inline const char * frrOtherName( const std::string & name ) {
   if( name == "originatorId" ) return "originator-id";
   if( name == "atomicAggregate" ) return "atomic-aggregate";
   if( name == "labelIndex" ) return "label-index";
   return nullptr;
}

/// Gives a route an attribute as bgpd shows it; null takes it away.
inline void setFrrAttribute( FrrRoute & to, const std::string & name, const nlohmann::json & value ) {
   TableRoute & route = to.route;
   const bool gone = value.is_null();
   const auto text = [ & ] { return gone ? std::string() : value.get<std::string>(); };
   const auto number = [ & ] { return gone ? 0 : value.get<uint32_t>(); };
   if( name == "metric" )
      route.metric = gone ? Zeugma::MaybeU63() : Zeugma::MaybeU63( number() );
   else if( name == "localPreference" )
      route.localPreference = gone ? std::nullopt : std::optional( number() );
   else if( name == "tag" )
      route.tag = number();
   else if( name == "asPath" )
      route.asPath = text();
   else if( name == "communities" )
      route.communities = frrCommunitiesOf( text() );
   else if( name == "peer" )
      route.peer = Ferule::IpGenAddr( text() );
   else if( name == "nextHop" )
      route.nextHop = gone ? Ferule::IpGenAddr() : Ferule::IpGenAddr( text() );
   else if( name == "largeCommunities" )
      route.largeCommunities = frrLargeCommunitiesOf( text() );
   else if( name == "extendedCommunities" )
      route.extCommunities = frrExtCommunitiesOf( text() );
   else if( name == "origin" )
      route.origin = gone ? std::nullopt
                          : std::optional( text() == "IGP"      ? Origin::igp
                                              : text() == "EGP" ? Origin::egp
                                                                : Origin::incomplete );
   else if( name == "weight" )   // bgpd does not show 0
      route.otherIs( "weight", std::to_string( number() ) );
   else if( const auto * const other = frrOtherName( name ) )
      gone ? route.otherDel( other ) : route.otherIs( other, value.is_string() ? text() : value.dump() );
   else if( name == "aggregatorAs" && !gone && number() > 0xffff )   // bgpd 8.4.4 shows an arbitrary number; the policies say only this one
      route.otherIs( "aggregator", "as 4200000000" );
   else if( name == "aggregatorAs" )   // in front of "aggregatorId"
      gone ? route.otherDel( "aggregator" ) : route.otherIs( "aggregator", "as " + std::to_string( number() ) );
   else if( name == "aggregatorId" && !gone )
      route.otherIs( "aggregator", *route.other( "aggregator" ) + ' ' + text() );
   else if( name == "aggregatorId" )
      return;
   else if( gone )
      to.others.erase( name );
   else
      to.others[ name ] = value.is_string() ? text() : value.dump();
}

inline std::string plainBytesOf( const std::filesystem::path & path ) {
   FileSource source( path );
   Input input( source );
   std::string bytes;
   std::vector<char> buffer( 1 << 16 );
   while( const size_t count = input.read( buffer.data(), buffer.size() ) ) bytes.append( buffer.data(), count );
   if( !input.fault().empty() ) throw std::runtime_error( path.string() + ": " + input.fault() );
   return bytes;
}

inline FrrPolicy frrPolicyOf( const nlohmann::json & json, const std::vector<FrrRoute> & routes ) {
   FrrPolicy policy{ json.at( "name" ), json.value( "row", "" ), json.value( "says", "" ), json.at( "configuration" ), {}, {} };
   if( json.contains( "refused" ) ) policy.refused = json.at( "refused" );
   const auto & after = json.at( "after" );
   if( after.size() != routes.size() ) throw std::runtime_error( "policy " + policy.name + ": the number of routes differs" );
   for( size_t i = 0; i < routes.size(); ++i ) {
      auto & route = policy.after.emplace_back();
      if( after[ i ].is_null() ) continue;
      route = routes[ i ];
      for( const auto & [ name, value ] : after[ i ].items() ) setFrrAttribute( *route, name, value );
   }
   return policy;
}

/// Errors: an exception if the file cannot be read or does not have the form that scripts/compare-frr writes.
inline FrrFixture readFrrFixture( const std::string & file ) {
   const auto json = nlohmann::json::parse( plainBytesOf( kFrrFolder / file ) );
   FrrFixture fixture{ json.at( "daemon" ), {} };
   for( const auto & from : json.at( "tables" ) ) {
      FrrTable & table = fixture.tables.emplace_back();
      table.neighbor = from.value( "neighbor", "" );
      for( const auto & came : from.at( "routes" ) ) {
         FrrRoute & route = table.routes.emplace_back();
         route.route.prefix = Ferule::IpGenPrefix( came.at( "prefix" ).get<std::string>() );
         for( const auto & [ name, value ] : came.at( "attributes" ).items() ) setFrrAttribute( route, name, value );
      }
      for( const auto & policy : from.at( "policies" ) ) table.policies.push_back( frrPolicyOf( policy, table.routes ) );
   }
   return fixture;
}

/// "row-01.json" and so on, in order.
inline std::vector<std::string> frrRowFiles() {
   std::vector<std::string> files;
   for( const auto & entry : std::filesystem::directory_iterator( kFrrFolder ) )
      if( const auto name = entry.path().filename().string(); name.starts_with( "row-" ) ) files.push_back( name );
   std::sort( files.begin(), files.end() );
   return files;
}

}   // namespace Agent
