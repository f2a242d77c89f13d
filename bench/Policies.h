/// @file bench/Policies.h
/// Compiled policies for benchmarks.
#pragma once

#include <string>

#include "bench/Yardsticks.h"
#include "policy/DecisionObserver.h"
#include "policy/Policy.h"
#include "policy/TagMatcher.h"

namespace Bench {

using Routing::Policy::Matcher;
using Routing::Policy::MatchInput_;
using Routing::Policy::MatchOption;
using Routing::Policy::PolicyEval;
using Routing::Policy::PrefixListMatcher;
using Routing::Policy::PrefixListStatus;
using Routing::Policy::Result_;
using Routing::Policy::RmPrecedence;
using Routing::Policy::RouteMapSeqStatus;
using Routing::Policy::RouteMapStatus;
using Routing::Policy::RouteMapStatusList;

inline Quoin::Ptr<const PrefixListStatus> listOf( const Entries & entries ) {
   Routing::RouteMap::PrefixListBuilder builder( "list", entries.front().prefix.af() );
   for( const auto & e : entries )
      if( auto error = builder.entryIs( e ) ) fail( error->toStrep().data() );
   return builder.build();
}

inline MatchOption prefixListOption( AddressFamily af ) {
   return af == AddressFamily::ipv6 ? MatchOption::matchIpv6PrefixList : MatchOption::matchIpPrefixList;
}

inline Quoin::Ptr<RouteMapSeqStatus> sequence( uint32_t seqno, MatchOption option, const Quoin::Ptr<const Matcher> & matcher ) {
   auto seq = Quoin::makeNode<RouteMapSeqStatus>( seqno );
   seq->matcherIs( option, matcher );
   return seq;
}

/// A route map that permits the prefixes that the list permits.
inline Quoin::Ptr<const RouteMapStatus> mapWithList( const std::string & name, const Quoin::Ptr<const PrefixListStatus> & list ) {
   auto map = Quoin::makeNode<RouteMapStatus>( name );
   map->seqStatusIs( sequence( 10, prefixListOption( list->af() ), Quoin::makeNode<PrefixListMatcher>( "list", list ) ) );
   return map;
}

/// A route map without sequences. The caller computes its features after the last sequence.
inline Quoin::Ptr<RouteMapStatus> emptyMap( const std::string & name ) {
   auto map = Quoin::makeNode<RouteMapStatus>( name );
   map->updateFeaturesOnSeqStatusChangeIs( false );
   return map;
}

/// Every third sequence denies.
inline Acl::MatchPermit actionAt( size_t i ) {
   return i % 3 == 2 ? Acl::MatchPermit::deny : Acl::MatchPermit::permit;
}

using Tags = std::vector<Routing::RouteTag>;

/// Different tags in random order.
inline Tags someTags( size_t count, Random & random ) {
   Tags tags;
   for( size_t i = 0; i < count; ++i ) tags.push_back( uint32_t( 1000 + 7 * i ) );
   shuffle( tags, random );
   return tags;
}

/// A route map with one sequence for each matcher.
inline Quoin::Ptr<const RouteMapStatus> mapOf( MatchOption option, const std::vector<Quoin::Ptr<const Matcher>> & matchers ) {
   auto map = emptyMap( "map" );
   for( const auto & matcher : matchers ) {
      const size_t i = map->seqStatus().count();
      auto seq = sequence( uint32_t( 10 * ( i + 1 ) ), option, matcher );
      seq->matchActionIs( actionAt( i ) );
      map->seqStatusIs( seq );
   }
   map->updateFeatures();
   return map;
}

inline Quoin::Ptr<const RouteMapStatus> mapOfTags( const Tags & tags ) {
   std::vector<Quoin::Ptr<const Matcher>> matchers;
   for( const auto tag : tags ) matchers.push_back( Quoin::makeNode<Routing::Policy::TagMatcher>( tag ) );
   return mapOf( MatchOption::matchTag, matchers );
}

constexpr size_t kListEntries = 10;

/// A route map with one sequence for each list of ten of the prefixes.
inline Quoin::Ptr<const RouteMapStatus> mapOfLists( const Prefixes & prefixes ) {
   std::vector<Quoin::Ptr<const Matcher>> matchers;
   for( size_t at = 0; at < prefixes.size(); at += kListEntries ) {
      const auto from = prefixes.begin() + long( at );
      matchers.push_back( Quoin::makeNode<PrefixListMatcher>( "list", listOf( exactEntries( Prefixes( from, from + kListEntries ) ) ) ) );
   }
   return mapOf( prefixListOption( prefixes.front().af() ), matchers );
}

/// A point of application with one route map, and the objects that an agent keeps to evaluate routes there.
class Point {
 public:
   explicit Point( const Quoin::Ptr<const RouteMapStatus> & map ) {
      auto list = Quoin::makeNode<RouteMapStatusList>();
      list->rmStatusIs( RmPrecedence::routeMapPrecedence, map );
      list_ = list;
   }
   MatchInput_ & input() noexcept { return input_; }
   PolicyEval & evaluator() noexcept { return eval_; }
   bool permits() { return eval_.eval( &input_, list_, &result_ ); }
   bool permits( Routing::Policy::DecisionObserver & observer ) { return eval_.eval( &input_, list_, &result_, observer ); }
   /// Routes with these prefixes, evaluated in one batch.
   std::span<const PolicyEval::BatchRoute> evaluated( std::span<const IpGenPrefix> prefixes ) {
      inputs_.resize( prefixes.size() );
      results_.resize( prefixes.size() );
      routes_.resize( prefixes.size() );
      for( size_t i = 0; i < prefixes.size(); ++i ) {
         inputs_[ i ].prefixIs( prefixes[ i ] );
         routes_[ i ] = { &inputs_[ i ], &results_[ i ] };
      }
      eval_.evalBatch( routes_, list_ );
      return routes_;
   }
   bool permits( const IpGenPrefix & p ) {
      input_.prefixIs( p );
      return permits();
   }

 private:
   Quoin::Ptr<const RouteMapStatusList> list_;
   PolicyEval eval_;
   MatchInput_ input_;
   Result_ result_;
   std::vector<MatchInput_> inputs_;
   std::vector<Result_> results_;
   std::vector<PolicyEval::BatchRoute> routes_;
};

}   // namespace Bench
