/// @file tests/agent/FrrModelSets.h
/// The part of the naive evaluator that sets attributes (FrrModel.h), and its lists of communities.
#pragma once

#include <algorithm>
#include <functional>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "table/TableRoute.h"
#include "tests/agent/FrrCommunity.h"
#include "tests/agent/FrrModelLists.h"
#include "text/PolicyText.h"

namespace Agent {

using FrrMatchesExpression = std::function<bool( const std::string & expression, const std::string & text )>;

/// The lowest line that matches decides. A line of an expanded list sees the text of all communities.
template <class C>
bool frrListPermits( const PolicyText::ByName<CommunityListTextOf<C>> & lists, const std::string & name, const std::vector<C> & communities,
                     ListComparison comparison, const FrrMatchesExpression & matchesExpression ) {
   const auto list = lists.find( name );
   if( list == lists.end() ) return false;
   std::string text;
   for( const auto & c : communities ) text += ( text.empty() ? "" : " " ) + frrText( c );
   for( const auto & [ number, line ] : list->second.lines ) {
      const bool matches = list->second.expanded ? matchesExpression( line.expression, text )
                                                 : frrCommunitiesMatch( line.communities, communities, comparison );
      if( matches ) return line.action == MatchPermit::permit;
   }
   return false;
}

class FrrModelSets {
 public:
   FrrModelSets( const PolicyText & text, FrrMatchesExpression matches ) : text_( text ), matches_( std::move( matches ) ) {}

   void apply( const SetClause & clause, TableRoute & route ) const {
      const auto number = static_cast<uint32_t>( clause.number );
      switch( clause.kind ) {
         case SetKind::metric: route.metric = relative( clause, route.metric.value() ); return;
         case SetKind::tag: route.tag = number; return;
         case SetKind::localPreference:
            route.localPreference = static_cast<uint32_t>( relative( clause, route.localPreference.value_or( 100 ) ) );
            return;
         case SetKind::origin: route.origin = Origin( number ); return;
         case SetKind::community: return set( route.communities, clause.communities, clause.additive );
         case SetKind::largeCommunity: return set( route.largeCommunities, clause.largeCommunities, clause.additive );
         case SetKind::commListDelete: return erase( route.communities, text_.communityLists, clause.word );
         case SetKind::largeCommListDelete: return erase( route.largeCommunities, text_.largeCommunityLists, clause.word );
         case SetKind::extRouteTarget:
         case SetKind::extSiteOfOrigin:
            for( const auto c : clause.extCommunities ) route.extCommunities.push_back( c );
            return;
         case SetKind::extNone: route.extCommunities.clear(); return;
         case SetKind::asPathPrepend: route.asPath = prepended( clause, ases( route.asPath ) ); return;
         case SetKind::asPathExclude: {
            auto path = ases( route.asPath );
            for( const uint32_t as : clause.ases ) std::erase( path, std::to_string( as ) );
            route.asPath = joined( path );
            return;
         }
         case SetKind::ipNextHop:
         case SetKind::ipv6NextHopGlobal:
            if( clause.kind == SetKind::ipNextHop && route.prefix.af() == AddressFamily::ipv6 ) return;   // no effect
            ( clause.address->af() == route.prefix.af() ? route.nextHop : route.otherNextHop ) = *clause.address;
            return;
         case SetKind::weight: route.otherIs( "weight", clause.word ); return;
         case SetKind::atomicAggregate: route.otherIs( "atomic-aggregate", "true" ); return;
         case SetKind::aggregator: route.otherIs( "aggregator", clause.word ); return;
         case SetKind::originatorId: route.otherIs( "originator-id", clause.word ); return;
         case SetKind::labelIndex: route.otherIs( "label-index", clause.word ); return;
         default: throw std::invalid_argument( "bgpd does not show what set clause " + std::to_string( int( clause.kind ) ) + " does" );
      }
   }

 private:
   static uint64_t relative( const SetClause & clause, int64_t was ) {
      const auto number = static_cast<int64_t>( clause.number );
      if( clause.mode == SetClause::Mode::replaces ) return number;
      return std::clamp<int64_t>( was + ( clause.mode == SetClause::Mode::adds ? number : -number ), 0, 0xffffffff );
   }

   template <class C>
   static void set( std::vector<C> & communities, const std::vector<C> & said, bool additive ) {
      std::set<C> all( said.begin(), said.end() );
      if( additive ) all.insert( communities.begin(), communities.end() );
      communities.assign( all.begin(), all.end() );
   }

   // A list deletes each community that it permits by itself; one community of a standard line is enough.
   template <class C>
   void erase( std::vector<C> & communities, const PolicyText::ByName<CommunityListTextOf<C>> & lists, const std::string & name ) const {
      std::vector<C> left;
      for( const C & c : communities )
         if( !frrListPermits<C>( lists, name, { c }, ListComparison::any, matches_ ) ) left.push_back( c );
      communities = left;
   }

   static std::vector<std::string> ases( const std::string & path ) {
      std::istringstream words( path );
      std::vector<std::string> all;
      for( std::string as; words >> as; ) all.push_back( as );
      return all;
   }
   static std::string joined( const std::vector<std::string> & path ) {
      std::string text;
      for( const auto & as : path ) text += ( text.empty() ? "" : " " ) + as;
      return text;
   }
   static std::string prepended( const SetClause & clause, std::vector<std::string> path ) {
      std::vector<std::string> front;
      for( const uint32_t as : clause.ases ) front.push_back( std::to_string( as ) );
      if( clause.ases.empty() && !path.empty() ) front.assign( clause.number, path.front() );
      path.insert( path.begin(), front.begin(), front.end() );
      return joined( path );
   }

   const PolicyText & text_;
   FrrMatchesExpression matches_;
};

}   // namespace Agent
