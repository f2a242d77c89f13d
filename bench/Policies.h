/// @file bench/Policies.h
/// Compiled policies for benchmarks.
#pragma once

#include <string>

#include "bench/Yardsticks.h"
#include "policy/DecisionObserver.h"
#include "policy/Policy.h"

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
   bool permits( const IpGenPrefix & p ) {
      input_.prefixIs( p );
      return permits();
   }

 private:
   Quoin::Ptr<const RouteMapStatusList> list_;
   PolicyEval eval_;
   MatchInput_ input_;
   Result_ result_;
};

}   // namespace Bench
