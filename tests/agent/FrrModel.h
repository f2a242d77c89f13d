/// @file tests/agent/FrrModel.h
/// A naive evaluator of FRR's rules over a PolicyText: what the agent's answers are compared with. It follows the rules one after the
/// other, on a copy of the route, and shares nothing with the library or the agent but the text. Recorded answers of bgpd check it.
///
///    const FrrModel model( text );
///    if( model.hasAnswer( "IN" ) ) {
///       const FrrAnswer answer = model.evaluate( "IN", route );
///       answer.permitted; answer.route; ...
///    }
///
/// A route map begins with the answer deny, and tries its sequences in ascending order:
/// - A sequence that does not match sets the answer to deny.
/// - A deny that matches denies. Its other clauses are ignored.
/// - A permit that matches sets the answer to permit and applies its set clauses; all later match clauses see the changed route. Then the
///   callee is evaluated, unless it is undefined. If the callee denies, the caller denies. Otherwise the sequence ends the route map, or
///   continues: at the next sequence, or at the lowest one that is not below the target.
/// The end of the route map returns the last answer.
///
/// Unlike FRR's, the text may have clauses of the native dialect: tag sets, instances, "invert". An exception says that one was met.
#pragma once

#include <regex.h>

#include <algorithm>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "table/TableRoute.h"
#include "tests/agent/FrrCommunity.h"
#include "tests/agent/FrrModelLists.h"
#include "tests/agent/FrrModelMatches.h"
#include "tests/agent/FrrModelSets.h"
#include "text/PolicyText.h"

namespace Agent {

struct FrrAnswer {
   using Sequences = std::vector<std::pair<std::string, uint32_t>>;   // route map and number

   bool permitted = false;
   Sequences matched;   // the sequences that matched, in the order in which they were tried; the last one of a denied route may be a deny
   TableRoute route;    // with all changes; of a denied route, as it came
   std::optional<uint8_t> distance;   // if one was set
   friend bool operator==( const FrrAnswer &, const FrrAnswer & ) = default;
};

/// Threading: one thread. `text` outlives this and does not change.
class FrrModel {
 public:
   static constexpr unsigned kMostCalls = 10;   // deeper calls get different answers from one bgpd

   explicit FrrModel( const PolicyText & text ) : text_( text ) {}

   /// Whether FRR has an answer: the route map is defined, and no calls below it form a cycle or are nested deeper than kMostCalls.
   bool hasAnswer( const std::string & routeMap ) const {
      std::set<std::string> callers;
      return text_.routeMaps.contains( routeMap ) && !callsDeeper( routeMap, kMostCalls, callers );
   }

   /// `routeMap` has an answer.
   FrrAnswer evaluate( const std::string & routeMap, const TableRoute & route ) const {
      FrrAnswer answer{ false, {}, route, {} };
      answer.permitted = permits( routeMap, answer );
      if( answer.permitted ) return answer;
      return { false, std::move( answer.matched ), route, {} };
   }

 private:
   // ---- route maps

   bool callsDeeper( const std::string & name, unsigned most, std::set<std::string> & callers ) const {
      if( !callers.insert( name ).second ) return true;
      for( const auto & [ number, sequence ] : text_.routeMaps.at( name ).sequences )
         if( sequence.action == MatchPermit::permit && sequence.call && text_.routeMaps.contains( sequence.call->name ) )
            if( most == 0 || callsDeeper( sequence.call->name, most - 1, callers ) ) return true;
      callers.erase( name );
      return false;
   }

   bool permits( const std::string & name, FrrAnswer & working ) const {
      const auto & sequences = text_.routeMaps.at( name ).sequences;
      bool answer = false;
      for( auto at = sequences.begin(); at != sequences.end(); ) {
         const auto & [ number, sequence ] = *at;
         if( !matches( sequence, working.route ) ) {
            answer = false;
            ++at;
            continue;
         }
         working.matched.emplace_back( name, number );
         if( sequence.action == MatchPermit::deny ) return false;
         answer = true;
         apply( sequence.set, working );
         if( sequence.call ) {
            if( sequence.call->invert ) refuse( "call ... invert" );
            if( text_.routeMaps.contains( sequence.call->name ) && !permits( sequence.call->name, working ) ) return false;
         }
         if( !sequence.continueTo ) return true;
         const uint32_t target = sequence.continueTo->target;   // 0: the next sequence
         if( target != 0 && target <= number ) return true;     // bgpd refuses such a line
         at = target == 0 ? std::next( at ) : sequences.lower_bound( target );
      }
      return answer;
   }

   void apply( const SetClauses & set, FrrAnswer & working ) const {
      const FrrModelSets sets( text_, matchesExpression() );
      for( const auto & clause : set )
         if( clause.kind == SetKind::distance )
            working.distance = static_cast<uint8_t>( clause.number );
         else
            sets.apply( clause, working.route );
   }

   // ---- match clauses

   [[noreturn]] static void refuse( const std::string & clause ) { throw std::invalid_argument( clause + " is not a clause of FRR" ); }

   bool matches( const SequenceText & sequence, const TableRoute & route ) const {
      return std::all_of( sequence.match.begin(), sequence.match.end(),
                          [ & ]( const auto & clause ) { return holds( clause.first, clause.second, route ); } );
   }

   // The next hop of that family; all zero if the route has none. Every route in bgpd has one of each family.
   static Ferule::IpGenAddr nextHop( const TableRoute & route, AddressFamily af ) {
      for( const auto & hop : { route.nextHop, route.otherNextHop } )
         if( hop.af() == af ) return hop;
      return Ferule::IpGenAddr( af );
   }

   bool holds( MatchOption option, const MatchClause & clause, const TableRoute & route ) const {
      const auto & name = clause.name;
      const Ferule::IpGenPrefix & prefix = route.prefix;
      if( clause.invert ) refuse( "match ... invert" );
      if( isValueOption( option ) ) return frrValueHolds( option, clause, route );
      if( option == kMatchIpv6AccessList ) return accessListPermits( text_.ipv6AccessLists, name, prefix );
      switch( option ) {
         case MatchOption::matchIpAccessList: return accessListPermits( text_.ipv4AccessLists, name, prefix );
         case MatchOption::matchIpPrefixList: return prefixListPermits( text_.ipv4PrefixLists, name, prefix );
         case MatchOption::matchIpv6PrefixList: return prefixListPermits( text_.ipv6PrefixLists, name, prefix );
         case MatchOption::matchIpNexthopPrefixList: return hopListPermits( text_.ipv4PrefixLists, name, AddressFamily::ipv4, route );
         case MatchOption::matchIpv6NexthopPrefixList: return hopListPermits( text_.ipv6PrefixLists, name, AddressFamily::ipv6, route );
         case MatchOption::matchIpNexthop:
            if( clause.address ) return *clause.address == nextHop( route, AddressFamily::ipv4 );
            return accessListPermits( text_.ipv4AccessLists, name, hopAsPrefix( route ) );
         case MatchOption::matchIpv6Nexthop:
            if( clause.address ) return *clause.address == nextHop( route, AddressFamily::ipv6 );
            return accessListPermits( text_.ipv6AccessLists, name, hopAsPrefix( route ) );
         case MatchOption::matchTag: return clause.number == route.tag;
         case MatchOption::matchMetric: return clause.number == route.metric.value();   // an absent one is 0
         case MatchOption::matchSourceProtocol: return clause.number != 0 && clause.number == uint64_t( route.protocol );
         case MatchOption::matchInterface: return !name.empty() && route.interface == name;
         case MatchOption::matchCommunity: return communityListPermits( name, route.communities, clause.number );
         case MatchOption::matchLargeCommunity:
            return frrListPermits( text_.largeCommunityLists, name, route.largeCommunities, ListComparison( clause.number ),
                                   matchesExpression() );
         case MatchOption::matchExtCommunity:
            return frrListPermits( text_.extCommunityLists, name, route.extCommunities, ListComparison( clause.number ),
                                   matchesExpression() );
         case MatchOption::matchAsPath: return asPathListPermits( name, route.asPath );
         default: refuse( "match option " + std::to_string( unsigned( option ) ) );
      }
   }

   // A list for next hops sees the next hop of the prefix's family, as a host. So a list of the other family never permits.
   static Ferule::IpGenPrefix hopAsPrefix( const TableRoute & route ) { return Ferule::IpGenPrefix( nextHop( route, route.prefix.af() ) ); }

   // ---- lists: the lowest line that matches decides; without one, or if the list is undefined, it does not permit

   template <class Lists, class Matches>
   static bool listPermits( const Lists & lists, const std::string & name, Matches && lineMatches ) {
      const auto list = lists.find( name );
      if( list == lists.end() ) return false;
      for( const auto & [ number, line ] : list->second.lines )
         if( lineMatches( line ) ) return line.action == MatchPermit::permit;
      return false;
   }

   static bool prefixListPermits( const PolicyText::ByName<PrefixListText> & lists, const std::string & name,
                                  const Ferule::IpGenPrefix & prefix ) {
      const unsigned longest = prefix.af() == AddressFamily::ipv4 ? 32 : 128;
      return listPermits( lists, name, [ & ]( const PrefixListLine & line ) {
         const unsigned lowest = line.ge.value_or( line.prefix.length() );
         const unsigned highest = line.le ? *line.le : line.ge ? longest : line.prefix.length();
         return prefix.length() >= lowest && prefix.length() <= highest &&
            frrAgree( line.prefix.ipGenAddr(), prefix.ipGenAddr(), frrOnes( line.prefix.length() ) );
      } );
   }

   // A list that has a description and no line permits all routes of its family.
   static bool hopListPermits( const PolicyText::ByName<PrefixListText> & lists, const std::string & name, AddressFamily af,
                               const TableRoute & route ) {
      const auto list = lists.find( name );
      const bool isEmpty = list != lists.end() && list->second.lines.empty();
      return isEmpty ? route.prefix.af() == af : prefixListPermits( lists, name, hopAsPrefix( route ) );
   }

   static bool accessListPermits( const PolicyText::ByName<AccessListText> & lists, const std::string & name,
                                  const Ferule::IpGenPrefix & prefix ) {
      return listPermits( lists, name, [ & ]( const AccessListLine & line ) { return frrAccessLineMatches( line, prefix ); } );
   }

   bool communityListPermits( const std::string & name, const std::vector<Community> & communities, uint64_t comparison ) const {
      const auto list = text_.communityLists.find( name );
      const bool expanded = list != text_.communityLists.end() && list->second.expanded;
      return listPermits( text_.communityLists, name, [ & ]( const CommunityListLine & line ) {
         return expanded ? expressionMatches( line.expression, frrCommunitiesText( communities ) )
                         : frrCommunitiesMatch( line.communities, communities, ListComparison( comparison ) );
      } );
   }

   bool asPathListPermits( const std::string & name, const std::string & asPath ) const {
      return listPermits( text_.asPathLists, name,
                          [ & ]( const AsPathListLine & line ) { return expressionMatches( line.expression, asPath ); } );
   }

   FrrMatchesExpression matchesExpression() const {
      return [ this ]( const std::string & expression, const std::string & text ) { return expressionMatches( expression, text ); };
   }

   // POSIX extended expressions, in which every "_" stands for what separates numbers.
   bool expressionMatches( const std::string & expression, const std::string & text ) const {
      auto & compiled = expressions_[ expression ];
      if( !compiled ) {
         std::string posix;
         for( const char c : expression ) posix += c == '_' ? "(^|[,{}() ]|$)" : std::string( 1, c );
         auto made = std::make_unique<regex_t>();
         if( regcomp( made.get(), posix.c_str(), REG_EXTENDED | REG_NOSUB ) != 0 )
            throw std::invalid_argument( expression + " is not an expression of FRR" );
         compiled.reset( made.release() );
      }
      return regexec( compiled.get(), text.c_str(), 0, nullptr, 0 ) == 0;
   }

   struct Free {
      void operator()( regex_t * expression ) const {
         regfree( expression );
         delete expression;
      }
   };

   const PolicyText & text_;
   mutable std::map<std::string, std::unique_ptr<regex_t, Free>> expressions_;   // compiled once: a table is long
};

}   // namespace Agent
