/// @file tests/compile/RouteMapConfigSymbolSmFixtures.h
/// Route maps as their filter machine leaves them, each with the machine that compiles it; and sequences whose records a test writes.
#pragma once

#include <algorithm>
#include <functional>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "compile/CommonHelpers.h"
#include "policy/PrefixListMatcher.h"
#include "substrate/routemap/PrefixListProducer.h"
#include "tests/compile/Fixtures.h"
#include "tests/policy/Fixtures.h"

namespace Routing::Policy::CompileFixtures {

using Quoin::makeNode;
using Quoin::Ptr;
using Quoin::String;
using Routing::RouteMap::Map;
using Routing::RouteMap::MapEntry;
using Routing::RouteMap::MatchRule;
using Routing::RouteMap::PrefixListProducer;
using Texts = std::vector<std::string>;
constexpr auto prefixListOption = MatchOption::matchIpPrefixList;
constexpr auto tagOption = MatchOption::matchTag;
constexpr auto distanceOption = SetOption::setDistance;

/// A sequence that records nothing by itself: what is in its records, a test has written.
class BareSeqSm final : public RmSeqConfigSymbolSmBase {
 public:
   BareSeqSm( const String & rmName, const Ptr<const MapEntry> & seqConfig, const Ptr<RouteMapSymbol> & rmSymbol,
              const Ptr<RmConfigSymbolReactor> & reactor )
         : RmSeqConfigSymbolSmBase( rmName, seqConfig, rmSymbol, reactor ) {
      handleInitialized();
   }
   ~BareSeqSm() override { stop(); }
   void handleMatcherApplied( MatcherChange & change, const MatcherChangeSymbol * symbols ) override {
      applied.emplace_back( change.option(), symbols );
      if( rebuilt ) change.matcherIs( rebuilt );
      if( const auto now = std::exchange( onApplied, {} ) ) now();
   }
   std::vector<std::pair<MatchOption, const MatcherChangeSymbol *>> applied;
   Ptr<const Matcher> rebuilt;        // what a matcher change is given when it is applied
   std::function<void()> onApplied;   // once, when a matcher change is applied
};

/// Makes such sequences, and writes down what it is asked for.
class BareHelper final : public RmConfigSymbolSmHelperBase {
 public:
   struct Asked {
      String rmName;
      Ptr<const MapEntry> seqConfig;
      Ptr<RouteMapSymbol> rmSymbol;
      Ptr<RmConfigSymbolReactor> reactor;
      Ptr<const RouteMapOpModeNotifier> opMode;
   };
   Ptr<RmSeqConfigSymbolSmBase> createSeqConfigSm( const String & rmName, const Ptr<const MapEntry> & seqConfig,
                                                   const Ptr<RouteMapSymbol> & rmSymbol, const Ptr<RmConfigSymbolReactor> & reactor,
                                                   const Ptr<const RouteMapOpModeNotifier> & opMode ) override {
      asked.push_back( { rmName, seqConfig, rmSymbol, reactor, opMode } );
      return Zeugma::makeSm<BareSeqSm>( rmName, seqConfig, rmSymbol, reactor );
   }
   std::vector<Asked> asked;
};

/// What the route maps of one agent share.
struct Agent {
   Ptr<PolicyRoot> root = makeNode<PolicyRoot>();
   Ptr<Zeugma::TaskScheduler> scheduler = makeNode<Zeugma::TaskScheduler>();
   Ptr<RouteMapOpModeNotifier> opMode = makeNode<RouteMapOpModeNotifier>();
   Ptr<MatchAggregateRoleUsers> users = makeNode<MatchAggregateRoleUsers>();
};

/// One route map.
struct Compiled {
   Compiled( const Agent & a, const char * name, Ptr<RmConfigSymbolSmHelperBase> h = nullptr )
         : agent( a ),
           helper( h ? std::move( h ) : Ptr<RmConfigSymbolSmHelperBase>( makeNode<CommonRmConfigSymbolSmHelper>( a.root ) ) ),
           map( makeNode<Map>( name ) ),
           symbol( a.root->routeMapTable()->symbol( name ) ),
           reactor( rmConfigSymbolReactorFactory( name ) ) {}

   /// Builds the machine; what it published counts.
   int start() {
      symbol->statusCurrentIs( false );   // as for every route map that comes
      sm = routeMapConfigSymbolSmFactory( map, symbol, agent.root, reactor, helper, agent.opMode, agent.scheduler, agent.users );
      return publications();
   }
   /// Declares the route map consistent; gives how often it was published since the last time.
   int raise() {
      map->versionIs( map->version() + 1 );
      return publications();
   }
   int run() {
      agent.scheduler->runUntilIdle();
      return publications();
   }
   int publications() {
      const uint32_t now = symbol->notifier() ? symbol->notifier()->version() : 0;
      return int( now - std::exchange( seen, now ) );
   }
   Ptr<const RouteMapStatus> status() const { return symbol->rmStatus(); }
   Ptr<const RouteMapSeqStatus> seq( uint32_t seqno ) const { return status() ? status()->seqStatus( seqno ) : nullptr; }
   /// Where a sequence goes on; 0 for nowhere.
   uint32_t next( uint32_t seqno ) const {
      const auto s = seq( seqno );
      return s && s->continueSeq() ? s->continueSeq()->seqno() : 0;
   }
   std::vector<uint32_t> seqnos() const {
      std::vector<uint32_t> all;
      if( status() )
         for( const auto & member : status()->seqStatus() ) all.push_back( member.first );
      return all;
   }
   /// The numbers in the next generation, highest first; those that leave with a minus.
   std::vector<long> listed() const {
      std::vector<long> all;
      for( const auto & [ key, entry ] : sm->modifiedRmSeqStatusList()->seqStatus() )
         all.push_back( entry.seqStatus() ? long( key.seqno ) : -long( key.seqno ) );
      return all;
   }
   int undefined() const { return status()->undefinedReferences().value; }
   BareSeqSm & bare( uint32_t seqno ) const { return static_cast<BareSeqSm &>( *sm->seqConfigSm().find( seqno )->get() ); }

   const Agent & agent;
   Ptr<RmConfigSymbolSmHelperBase> helper;
   Ptr<Map> map;
   Ptr<RouteMapSymbol> symbol;
   Ptr<RmConfigSymbolReactor> reactor;
   Ptr<RouteMapConfigSymbolSm> sm;
   uint32_t seen = 0;
};

/// A route map with these sequences.
inline Ptr<Map> withSequences( const Compiled & rm, std::initializer_list<uint32_t> seqnos ) {
   for( const uint32_t seqno : seqnos ) rm.map->mapEntryIs( seqno );
   return rm.map;
}

inline MatchRule matchTag( uint32_t tag ) {
   return valueRule( tagOption, tag );
}

inline MatchRule matchPrefixList( const char * name, bool invert = false ) {
   return listRule( prefixListOption, name, invert );
}

/// `continue`, to the next sequence where no number is given.
inline void continues( const Ptr<MapEntry> & entry, uint32_t target = 0 ) {
   entry->continueSeqIs( target );
   entry->setFlagsIs( entry->setFlags() | MapEntry::continueSeqSet );
}

/// A prefix list of the agent; undefined until it is published.
struct List {
   List( const Agent & agent, const char * name )
         : producer( agent.root->ipv4PrefixListTable(), name, Ferule::AddressFamily::ipv4 ), symbol( producer.symbol() ) {}
   /// Begins a change that does not land yet.
   void edit() { EXPECT_FALSE( producer.entryIs( { ++entries, Acl::MatchPermit::permit, Ferule::IpGenPrefix( "10.0.0.0/8" ), {}, {} } ) ); }
   void publish() {
      edit();
      producer.publish();
   }
   PrefixListProducer producer;
   Ptr<Routing::RouteMap::PrefixListSymbol> symbol;
   uint32_t entries = 0;
};

/// The list that a sequence's prefix list matcher reads; null for none.
inline const Routing::RouteMap::PrefixListStatus * listOf( const Ptr<const RouteMapSeqStatus> & seq ) {
   const auto matcher = seq ? Quoin::Ptr<const Matcher>( seq->matcher( prefixListOption ) ) : nullptr;
   const auto * list = dynamic_cast<const PrefixListMatcher *>( matcher.get() );
   return list ? list->status().get() : nullptr;
}

/// How many times a text was traced.
inline long countOf( const Texts & traces, const std::string & text ) {
   return std::count( traces.begin(), traces.end(), text );
}

}   // namespace Routing::Policy::CompileFixtures
