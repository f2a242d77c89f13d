/// @file tests/agent/PolicyModel.h
/// A second evaluator of policy, as plain as can be, straight over the text: what the program is held against. It has nothing of the
/// library's policy, symbols or tries: lists are scanned from their first line, names are looked up each time they are met.
///
///    const PolicyModel model( text );
///    if( model.inForce( "IN" ) ) {
///       const ModelAnswer answer = model.evaluate( "IN", route );
///       answer.permitted; answer.sequences; answer.metric; ...
///    }
///
/// The rules, in short. The sequence with the lowest number is tried first. It passes when all of its match clauses hold, and the route
/// map that it calls, if there is one of that name, permits; with invert, denies. One that does not pass is skipped. A deny that passes
/// ends the route map, also behind a permit that has continued. A permit that passes applies, behind what the called route map applied;
/// it ends the route map, unless it continues: at the next sequence, or at the one that it names, if there is such a one above it.
/// At the end of the route map, a route that a permit has continued with is permitted, every other one denied. Set clauses of what applies
/// run in that order, and only for a permitted route; match clauses see the route as it came.
#pragma once

#include <algorithm>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <re2/re2.h>

#include "table/TableRoute.h"
#include "text/Expression.h"
#include "text/PolicyText.h"

namespace Agent {

/// What becomes of one route.
struct ModelAnswer {
   using Sequences = std::vector<std::pair<std::string, uint32_t>>;   // route map and number

   bool permitted = false;
   // Permitted: those that apply, in their order. Denied: the one that denies, if it is not for want of one that passes.
   Sequences sequences;
   // Of a permitted route, with all changes made; of a denied one, as the route came.
   Zeugma::MaybeU63 metric;
   uint32_t tag = 0;
   std::optional<uint32_t> localPreference;
   std::vector<Community> communities;
   unsigned distance = 0;   // 0: as it is
   friend bool operator==( const ModelAnswer &, const ModelAnswer & ) = default;
};

/// Threading: one thread. `text` outlives this.
class PolicyModel {
 public:
   explicit PolicyModel( const PolicyText & text ) : text_( text ) {
      for( const auto & [ name, routeMap ] : text.routeMaps )
         if( std::set<std::string> path; !runsInCircles( name, path ) ) inForce_.insert( name );
   }

   /// Whether there is a route map of that name, and none that it leads to by calls leads to itself.
   bool inForce( const std::string & routeMap ) const { return inForce_.contains( routeMap ); }

   /// `routeMap` is in force.
   ModelAnswer evaluate( const std::string & routeMap, const TableRoute & route ) const {
      ModelAnswer answer{ false, {}, route.metric, route.tag, route.localPreference, route.communities, 0 };
      answer.permitted = permits( routeMap, route, answer.sequences );
      if( !answer.permitted ) return answer;
      for( const auto & [ name, number ] : answer.sequences ) apply( text_.routeMaps.at( name ).sequences.at( number ).set, answer );
      return answer;
   }

 private:
   using Sequences = ModelAnswer::Sequences;

   // ---- route maps

   // Every path is walked to its end: what has been found to end is found again.
   bool runsInCircles( const std::string & name, std::set<std::string> & path ) const {
      if( inForce_.contains( name ) ) return false;
      if( !text_.routeMaps.contains( name ) ) return false;
      if( !path.insert( name ).second ) return true;
      for( const auto & [ number, sequence ] : text_.routeMaps.at( name ).sequences )
         if( sequence.call && runsInCircles( sequence.call->name, path ) ) return true;
      path.erase( name );
      return false;
   }

   // Appends what applies; where one denies, leaves it alone there.
   bool permits( const std::string & name, const TableRoute & route, Sequences & applied ) const {
      const auto & sequences = text_.routeMaps.at( name ).sequences;
      bool continued = false;
      auto at = sequences.begin();
      while( at != sequences.end() ) {
         const auto & [ number, sequence ] = *at;
         if( !matches( sequence, route ) || !callPasses( sequence, route, applied ) ) {
            ++at;
            continue;
         }
         if( sequence.action == MatchPermit::deny ) {
            applied = { { name, number } };
            return false;
         }
         applied.emplace_back( name, number );
         at = continuesAt( sequences, at );
         if( at == sequences.end() ) return true;
         continued = true;
      }
      if( !continued ) applied.clear();
      return continued;
   }

   using SequencePlace = std::map<uint32_t, SequenceText>::const_iterator;
   // The end for nowhere.
   static SequencePlace continuesAt( const std::map<uint32_t, SequenceText> & all, SequencePlace from ) {
      const auto & clause = from->second.continueTo;
      if( !clause ) return all.end();
      if( clause->target == 0 ) return std::next( from );
      return clause->target > from->first ? all.find( clause->target ) : all.end();
   }

   bool callPasses( const SequenceText & sequence, const TableRoute & route, Sequences & applied ) const {
      if( !sequence.call || !text_.routeMaps.contains( sequence.call->name ) ) return true;
      Sequences ofCall;
      const bool permitted = permits( sequence.call->name, route, ofCall );
      if( sequence.call->invert ) return !permitted;   // and what it applied does not
      if( permitted ) applied.insert( applied.end(), ofCall.begin(), ofCall.end() );
      return permitted;
   }

   bool matches( const SequenceText & sequence, const TableRoute & route ) const {
      return std::all_of( sequence.match.begin(), sequence.match.end(),
                          [ & ]( const auto & clause ) { return holds( clause.first, clause.second, route ); } );
   }

   static void apply( const SetClauses & set, ModelAnswer & answer ) {
      for( const auto & clause : set ) {
         const auto number = static_cast<uint32_t>( clause.number );
         switch( clause.kind ) {
            case SetKind::metric: answer.metric = clause.number; break;
            case SetKind::tag: answer.tag = number; break;
            case SetKind::localPreference: answer.localPreference = number; break;
            case SetKind::distance: answer.distance = number; break;
            default: throw std::invalid_argument( "a set clause that the native dialect does not have" );
            case SetKind::community: {
               std::set<Community> all( clause.communities.begin(), clause.communities.end() );
               if( clause.additive ) all.insert( answer.communities.begin(), answer.communities.end() );
               answer.communities.assign( all.begin(), all.end() );
            }
         }
      }
   }

   // ---- match clauses

   bool holds( MatchOption option, const MatchClause & clause, const TableRoute & route ) const {
      const Ferule::IpGenPrefix nextHop( route.nextHop );
      if( option == kMatchIpv6AccessList ) return accessListPermits( text_.ipv6AccessLists, clause.name, route.prefix );
      switch( option ) {
         case MatchOption::matchIpAccessList: return accessListPermits( text_.ipv4AccessLists, clause.name, route.prefix );
         case MatchOption::matchIpPrefixList: return prefixListPermits( text_.ipv4PrefixLists, clause.name, route.prefix ) != clause.invert;
         case MatchOption::matchIpv6PrefixList:
            return prefixListPermits( text_.ipv6PrefixLists, clause.name, route.prefix ) != clause.invert;
         case MatchOption::matchIpNexthopPrefixList: return prefixListPermits( text_.ipv4PrefixLists, clause.name, nextHop );
         case MatchOption::matchIpv6NexthopPrefixList: return prefixListPermits( text_.ipv6PrefixLists, clause.name, nextHop );
         case MatchOption::matchIpNexthop:
            if( clause.address ) return *clause.address == route.nextHop;
            return accessListPermits( text_.ipv4AccessLists, clause.name, nextHop );
         case MatchOption::matchIpv6Nexthop:
            if( clause.address ) return *clause.address == route.nextHop;
            return accessListPermits( text_.ipv6AccessLists, clause.name, nextHop );
         case MatchOption::matchTag: return clause.number == route.tag;
         case MatchOption::matchTagSet: {
            const auto set = text_.tagSets.find( clause.name );
            return set != text_.tagSets.end() && set->second.tags.contains( route.tag );
         }
         case MatchOption::matchMetric: return route.metric.present() && route.metric.value() == clause.number;
         case MatchOption::matchSourceProtocol: return clause.number != 0 && clause.number == uint64_t( route.protocol );
         case MatchOption::matchOspfInstance: return clause.number == route.ospfInstance;
         case MatchOption::matchIsisInstance: return clause.number == route.isisInstance;
         case MatchOption::matchInterface: return !route.interface.empty() && route.interface == clause.name;
         case MatchOption::matchCommunity: return communityListPermits( clause.name, route );
         case MatchOption::matchAsPath: return asPathListPermits( clause.name, route );
         default: return false;
      }
   }

   // ---- lists: the lowest line that speaks of the route decides; none, or no such list, does not permit

   template <class Lists, class Speaks>
   static bool listPermits( const Lists & lists, const std::string & name, Speaks && speaks ) {
      const auto list = lists.find( name );
      if( list == lists.end() ) return false;
      for( const auto & [ number, line ] : list->second.lines )
         if( speaks( line ) ) return line.action == MatchPermit::permit;
      return false;
   }

   static bool agree( const Ferule::IpGenAddr & a, const Ferule::IpGenAddr & b, Ferule::Bits128 mask ) {
      const Ferule::Bits128 x = a.bits(), y = b.bits();
      return a.af() == b.af() && ( ( x.high ^ y.high ) & mask.high ) == 0 && ( ( x.low ^ y.low ) & mask.low ) == 0;
   }
   // How many ones a mask begins with, which for a length of a prefix is the length.
   static unsigned leadingOnes( Ferule::Bits128 mask ) {
      unsigned count = 0;
      while( count < 128 && ( ( count < 64 ? mask.high >> ( 63 - count ) : mask.low >> ( 127 - count ) ) & 1 ) ) ++count;
      return count;
   }
   static Ferule::Bits128 maskOf( unsigned length ) {
      Ferule::Bits128 mask;
      for( unsigned i = 0; i < length; ++i ) ( i < 64 ? mask.high : mask.low ) |= uint64_t( 1 ) << ( 63 - i % 64 );
      return mask;
   }

   static bool prefixListPermits( const PolicyText::ByName<PrefixListText> & lists, const std::string & name,
                                  const Ferule::IpGenPrefix & prefix ) {
      const unsigned longest = prefix.af() == AddressFamily::ipv4 ? 32 : 128;
      return listPermits( lists, name, [ & ]( const PrefixListLine & line ) {
         const unsigned lowest = line.ge.value_or( line.prefix.length() );
         const unsigned highest = line.le ? *line.le : line.ge ? longest : line.prefix.length();
         return prefix.length() >= lowest && prefix.length() <= highest &&
            agree( line.prefix.ipGenAddr(), prefix.ipGenAddr(), maskOf( line.prefix.length() ) );
      } );
   }

   // The route lies at or below the ones that the mask begins with, and its address agrees wherever the mask has a one.
   static bool accessListPermits( const PolicyText::ByName<AccessListText> & lists, const std::string & name,
                                  const Ferule::IpGenPrefix & prefix ) {
      if( name == "default-control-plane-acl" ) return false;   // which is not for route maps
      return listPermits( lists, name, [ & ]( const AccessListLine & line ) {
         return prefix.length() >= leadingOnes( line.source.mask() ) &&
            agree( line.source.address(), prefix.ipGenAddr(), line.source.mask() );
      } );
   }

   bool communityListPermits( const std::string & name, const TableRoute & route ) const {
      std::string text;
      for( const Community c : route.communities )
         text += ( text.empty() ? "" : " " ) + std::to_string( c >> 16 ) + ":" + std::to_string( c & 0xffff );
      const auto list = text_.communityLists.find( name );
      const bool expanded = list != text_.communityLists.end() && list->second.expanded;
      const auto has = [ & ]( Community c ) {
         return std::find( route.communities.begin(), route.communities.end(), c ) != route.communities.end();
      };
      return listPermits( text_.communityLists, name, [ & ]( const CommunityListLine & line ) {
         return expanded ? expressionMatches( line.expression, text )
                         : std::all_of( line.communities.begin(), line.communities.end(), has );
      } );
   }

   bool asPathListPermits( const std::string & name, const TableRoute & route ) const {
      return listPermits( text_.asPathLists, name,
                          [ & ]( const AsPathListLine & line ) { return expressionMatches( line.expression, route.asPath ); } );
   }

   bool expressionMatches( const std::string & expression, const std::string & text ) const {
      auto & compiled = expressions_[ expression ];
      if( !compiled ) compiled = std::make_unique<RE2>( expressionOf( expression ), RE2::Quiet );
      return RE2::PartialMatch( text, *compiled );
   }

   const PolicyText & text_;
   std::set<std::string> inForce_;
   mutable std::map<std::string, std::unique_ptr<RE2>> expressions_;   // compiled once: a table is long
};

}   // namespace Agent
