// Random policies, edited at random, against a policy made afresh and against the naive evaluator.
#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include "live/Differences.h"
#include "tests/agent/RandomPolicy.h"

namespace Agent {

namespace {

constexpr int kSteps = 60;
constexpr int kRoutes = 12;

template <class Lists>
bool listDiffers( const Lists & before, const Lists & after, const std::string & name ) {
   const auto b = before.find( name ), a = after.find( name );
   return differ( b == before.end() ? nullptr : &b->second, a == after.end() ? nullptr : &a->second );
}

bool clauseDiffers( MatchOption option, const MatchClause & clause, const PolicyText & before, const PolicyText & after ) {
   const auto differs = [ & ]( auto lists ) { return listDiffers( before.*lists, after.*lists, clause.name ); };
   if( option == kMatchIpv6AccessList ) return differs( &PolicyText::ipv6AccessLists );
   switch( option ) {
      case MatchOption::matchIpAccessList:
      case MatchOption::matchIpNexthop: return differs( &PolicyText::ipv4AccessLists );
      case MatchOption::matchIpv6Nexthop: return differs( &PolicyText::ipv6AccessLists );
      case MatchOption::matchIpPrefixList:
      case MatchOption::matchIpNexthopPrefixList: return differs( &PolicyText::ipv4PrefixLists );
      case MatchOption::matchIpv6PrefixList:
      case MatchOption::matchIpv6NexthopPrefixList: return differs( &PolicyText::ipv6PrefixLists );
      case MatchOption::matchTagSet: return differs( &PolicyText::tagSets );
      case MatchOption::matchCommunity: return differs( &PolicyText::communityLists );
      case MatchOption::matchAsPath: return differs( &PolicyText::asPathLists );
      default: return false;
   }
}

/// The route maps that a change of the text reaches: their own lines differ, or those of a list that they use, or a cycle holds them back
/// or no longer, or one that they call is reached.
std::set<std::string> reached( const PolicyText & before, const PolicyText & after ) {
   const PolicyModel was( before ), is( after );
   std::set<std::string> names;
   forEachPair( before.routeMaps, after.routeMaps, [ & ]( const std::string & name, const RouteMapText * b, const RouteMapText * a ) {
      if( differ( b, a ) || was.inForce( name ) != is.inForce( name ) ) names.insert( name );
   } );
   for( const auto & [ name, map ] : after.routeMaps )
      for( const auto & [ n, s ] : map.sequences )
         for( const auto & [ option, clause ] : s.match )
            if( clauseDiffers( option, clause, before, after ) ) names.insert( name );
   for( size_t size = 0; size != names.size(); ) {
      size = names.size();
      for( const auto & [ name, map ] : after.routeMaps )
         for( const auto & [ n, s ] : map.sequences )
            if( s.call && names.contains( s.call->name ) ) names.insert( name );
   }
   return names;
}

using Statuses = std::map<std::string, Quoin::Ptr<const Routing::Policy::RouteMapStatus>>;
Statuses statusesOf( const LivePolicy & live ) {
   Statuses statuses;
   for( const char * name : { "M1", "M2", "M3", "M4", "M5" } ) statuses[ name ] = live.routeMap( name );
   return statuses;
}

std::vector<std::string> changedNames( const Statuses & before, const Statuses & after ) {
   std::vector<std::string> names;
   forEachDifference( before, after, [ & ]( const std::string & name, const auto &, const auto & ) { names.push_back( name ); } );
   return names;
}

void checkVerdicts( const LivePolicy & live, const LivePolicy & fresh, const PolicyText & text, RandomPolicy & random ) {
   const PolicyModel model( text );
   for( const auto & [ name, status ] : statusesOf( live ) ) {
      RC_ASSERT( bool( status ) == model.inForce( name ) );
      RC_ASSERT( bool( fresh.routeMap( name ) ) == model.inForce( name ) );
      if( !status ) continue;
      RC_ASSERT( status->undefinedReferences() == fresh.routeMap( name )->undefinedReferences() );
      for( int i = 0; i < kRoutes; ++i ) {
         const TableRoute route = random.route();
         ModelAnswer expected = model.evaluate( name, route );
         if( !expected.permitted ) expected.sequences.clear();
         RC_ASSERT( answerOf( status, route ) == expected );
         RC_ASSERT( answerOf( fresh.routeMap( name ), route ) == expected );
      }
   }
}

}   // namespace

RC_GTEST_PROP( LivePolicyModel, editsOneBehindTheOtherEndWhereTheLastTextAloneDoes, ( uint32_t seed ) ) {
   RandomPolicy random( seed );
   LivePolicy live;
   PolicyText text;
   for( int step = 0; step < kSteps; ++step ) {
      for( uint32_t changes = step == 0 ? 40 : random.upTo( 6 ); changes != 0; --changes ) random.change( text );
      if( random.oneIn( 20 ) ) text = PolicyText();
      const PolicyText before = live.text();
      const Statuses statuses = statusesOf( live );
      const ApplyReport report = live.apply( text );
      for( const auto & difference : live.verify() ) RC_FAIL( difference );
      RC_ASSERT( live.text() == text );
      RC_ASSERT( report.edits != 0 || report.republished.empty() );
      RC_ASSERT( report.republished == changedNames( statuses, statusesOf( live ) ) );
      const auto mayChange = reached( before, text );
      for( const auto & name : report.republished ) RC_ASSERT( mayChange.contains( name ) );

      LivePolicy fresh;
      fresh.apply( text );
      checkVerdicts( live, fresh, text, random );

      const ApplyReport again = live.apply( text );
      RC_ASSERT( again.edits == 0u );
      RC_ASSERT( again.republished.empty() );
   }
}

}   // namespace Agent
