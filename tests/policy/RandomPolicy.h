/// @file tests/policy/RandomPolicy.h
/// Random route maps over few values, so that routes match often: every matcher of the library, matchers of an agent, calls, continues and
/// lists. Some matchers of the agent change the route that they are asked about. The numbers of a Random determine everything.
///
/// Loops: a sequence that continues to itself or backwards has a matcher that matches twice per evaluation only. Calls lead to maps of a
/// higher level only.
/// Threading: one thread.
#pragma once

#include <functional>
#include <iterator>
#include <stdexcept>
#include <unordered_map>
#include <utility>
#include <vector>

#include "policy/GwMatcher.h"
#include "policy/InterfaceMatcher.h"
#include "policy/IsisInstanceMatcher.h"
#include "policy/NexthopMatcher.h"
#include "policy/NexthopPrefixMatcher.h"
#include "policy/OspfInstanceMatcher.h"
#include "policy/RouteMetricMatcher.h"
#include "policy/RoutingPolicyAcl.h"
#include "policy/SourceProtoMatcher.h"
#include "policy/TagMatcher.h"
#include "policy/TagSetMatcher.h"
#include "tests/policy/RandomLists.h"

namespace PlanTest {

/// The matchers and route maps of one case.
class RandomPolicy : public RandomLists {
 public:
   static constexpr unsigned kLevels = 3;   // of calls
   using Change = std::function<void( RandomPolicy & )>;

   explicit RandomPolicy( Random & random ) : RandomLists( random ) {
      for( unsigned level = kLevels; level; --level )
         for( int i = 0; i < 2; ++i )
            maps_[ level ].push_back( map( level, chance( 12 ) ? RouteMapPlan::kMostCalled - 2 + pick( 8 ) : pick( 5 ) ) );
   }

   /// The matchers that change a route change this one. It must live until the next call.
   void routeIs( MatchInput_ & route ) {
      route_ = &route;
      original_ = route;
   }
   /// Before each evaluation.
   void restart() {
      for( const auto & matcher : own_ ) matcher->restart();
      if( route_ ) *route_ = original_;
   }
   /// Sequences and maps, under the same numbers in an equal policy.
   const std::vector<Ptr<RouteMapSeqStatus>> & sequences() const { return sequences_; }
   const std::vector<Ptr<RouteMapStatus>> & maps() const { return all_; }
   /// From now on, some new matchers make a random one of these changes when they are asked.
   void changesAre( std::vector<Change> changes ) { changes_ = std::move( changes ); }
   /// The journal has numbers in place of addresses, the same in an equal policy.
   void nameAll() {
      journal_.nameOf = [ this ]( const void * who ) { return who ? names_.try_emplace( who, names_.size() + 1 ).first->second : 0; };
      for( const auto & seq : sequences_ ) journal_.nameOf( seq.get() );
      for( const auto & map : all_ ) journal_.nameOf( map.get() );
   }

   // ---- matchers

   Ptr<const Matcher> matcher() {
      using R = RandomPolicy;
      static constexpr unsigned kTold = 6;   // a plan finds a sequence by one of the first
      static constexpr Ptr<const Matcher> ( R::*kMakes[] )() = {
         &R::of<TagMatcher, &R::tag>,
         &R::of<TagMatcher, &R::tag>,
         &R::of<RouteMetricMatcher, &R::metric>,
         &R::named<TagSetMatcher, &R::smallSet>,
         &R::listMatcher<PrefixListMatcher>,
         &R::listMatcher<PrefixListMatcher>,
         &R::listMatcher<PrefixListMatcher>,
         &R::named<TagSetMatcher, &R::set>,
         &R::of<SourceProtoMatcher, &R::protocol>,
         &R::of<NexthopMatcher, &R::nexthop>,
         &R::of<NexthopPrefixMatcher, &R::network>,
         &R::of<InterfaceMatcher, &R::interface>,
         &R::of<OspfInstanceMatcher, &R::instance>,
         &R::of<IsisInstanceMatcher, &R::instance>,
         &R::listMatcher<NexthopPrefixListMatcher>,
         &R::listMatcher<ResolvedNexthopPfxListMatcher>,
         &R::listMatcher<RouterIdMatcher>,
         &R::named<IpAccessListMatcher, &R::accessList>,
         &R::gwOrOwnMatcher,
         &R::ownMatcher,
         &R::ownMatcher,
         &R::tellingMatcher,
         &R::tellingMatcher,
      };
      if( usesLargeLists_ && chance( 3 ) ) return listMatcher<PrefixListMatcher>();
      return ( this->*kMakes[ pick( isPlain_ ? kTold : unsigned( std::size( kMakes ) ) ) ] )();
   }

   // ---- sequences and maps

   uint32_t seqno() {
      if( chance( 8 ) ) return random_.anyOf<uint32_t>( { 0, 1, 65535, ~0u, ~0u - 1 } );
      return pick( 50 );
   }

   Ptr<RouteMapSeqStatus> sequence( uint32_t seqno, unsigned level ) {
      auto seq = makeNode<RouteMapSeqStatus>( seqno );
      if( chance( 3 ) ) seq->matchActionIs( deny );
      if( isFilter_ && !chance( 8 ) ) {
         if( !chance( 8 ) ) seq->matcherIs( MatchOption::matchIpPrefixList, makeNode<PrefixListMatcher>( "L", list() ) );
         sequences_.push_back( seq );
         return seq;
      }
      const bool calls = level < kLevels && ( callsOften_ ? !chance( 4 ) : chance( 3 ) );
      const bool isFoundByCallee = calls && callsOften_ && chance( 2 );
      for( auto n = isFoundByCallee ? 0 : random_.anyOf( { 0, 1, 1, 1, 2, 2, 3 } ); n; --n ) seq->matcherIs( option(), matcher() );
      for( auto n = pick( 3 ); n; --n ) seq->setterIs( SetOption( 1 + pick( 9 ) ), makeNode<NotingSetter>( journal_, chance( 4 ) ) );
      if( calls ) {
         seq->subRouteMapIs( anyOf( random_, maps_[ level + 1 + pick( kLevels - level ) ] ) );
         seq->subInvertIs( chance( 3 ) );
      }
      if( chance( 3 ) ) continueIs( *seq, seqno + 1 + pick( 9 ) );
      if( chance( 12 ) ) continueIs( *seq, seqno - ( chance( 3 ) ? 0 : pick( 9 ) ) );
      sequences_.push_back( seq );
      return seq;
   }

   Ptr<RouteMapStatus> map( unsigned level, unsigned size ) {
      auto map = makeNode<RouteMapStatus>( "M" );
      isPlain_ = level != 0 && chance( callsOften_ ? 2 : 6 );
      for( unsigned i = 0; i < size; ++i ) map->seqStatusIs( sequence( size > 60 ? 3 * i : seqno(), level ) );
      isPlain_ = false;
      all_.push_back( map );
      return map;
   }
   Ptr<RouteMapStatus> topMap() { return map( 0, chance( 40 ) ? 300 : chance( 4 ) ? pick( 41 ) : pick( 10 ) ); }
   Ptr<RouteMapStatusList> listOf( const Ptr<const RouteMapStatus> & map ) {
      auto list = makeNode<RouteMapStatusList>();
      for( auto n = pick( 3 ); n; --n )
         list->rmStatusIs( RmPrecedence( uint8_t( pick( 8 ) ) ), anyOf( random_, maps_[ 1 + pick( kLevels ) ] ) );
      list->rmStatusIs( RmPrecedence( uint8_t( pick( 8 ) ) ), map );
      return list;
   }

   // A loop must end. A number below or above all others leads to the other end.
   void continueIs( RouteMapSeqStatus & seq, uint32_t target ) {
      seq.continueSeqIs( makeNode<RouteMapSeqStatus>( target ) );
      if( target > seq.seqno() ) return;
      seq.matcherIs( option(), own( []( const MatchInput_ &, unsigned asked ) { return asked < 2; } ) );
   }
   MatchOption option() { return MatchOption( random_.anyOf( { 1, 2, 7, 16, 100, 115, 131, 132 } ) ); }

 private:
   template <class T, auto kValue>
   Ptr<const Matcher> of() {
      return makeNode<T>( ( this->*kValue )() );
   }
   template <class T, auto kList>
   Ptr<const Matcher> named() {
      return makeNode<T>( "L", ( this->*kList )() );
   }
   template <class T>
   Ptr<const Matcher> listMatcher() {
      auto matcher = makeNode<T>( "L", list() );
      if( chance( 5 ) ) matcher->invertResultIs( true );
      return matcher;
   }

   Ptr<const Matcher> own( OwnMatcher::Answer answer, bool mayThrow = false ) {
      own_.push_back( makeNode<OwnMatcher>( journal_, std::move( answer ), mayThrow ) );
      return own_.back();
   }

   Ptr<const Matcher> gwOrOwnMatcher() { return chance( 4 ) ? Ptr<const Matcher>( makeNode<GwMatcher>() ) : ownMatcher(); }

   Ptr<const Matcher> ownMatcher() {
      if( changesRoutes_ && chance( 2 ) ) return routeChanger();
      const auto value = tag();
      if( !changes_.empty() && chance( 2 ) )
         return own( [ this, value, change = anyOf( random_, changes_ ) ]( const MatchInput_ & input, unsigned asked ) {
            if( asked == 0 && input.getTag() % 2 == 0 ) change( *this );
            return input.getTag() != value;
         } );
      static constexpr bool ( *kAnswers[] )( Routing::RouteTag, const MatchInput_ &, unsigned ) = {
         []( auto v, const MatchInput_ & input, unsigned ) { return input.getTag() == v; },
         []( auto v, const MatchInput_ & input, unsigned ) { return input.getTag() != v; },
         []( auto, const MatchInput_ &, unsigned asked ) { return asked % 2 == 0; },
         []( auto, const MatchInput_ &, unsigned ) { return true; },
         []( auto v, const MatchInput_ & input, unsigned ) {
            if( input.getTag() == v && input.getOspfInstance() == 0 ) throw std::runtime_error( "a matcher" );
            return input.getTag() > v;
         },
      };
      return own( std::bind_front( kAnswers[ pick( unsigned( std::size( kAnswers ) ) ) ], value ), chance( 2 ) );
   }

   // Copies some values of a route into the route that is evaluated.
   std::function<void( const MatchInput_ & from )> someCopies() {
      static constexpr void ( *kCopies[] )( MatchInput_ &, const MatchInput_ & ) = {
         []( MatchInput_ & to, const MatchInput_ & from ) { to.tagIs( from.tag() ); },
         []( MatchInput_ & to, const MatchInput_ & from ) { to.metricIs( from.metric() ); },
         []( MatchInput_ & to, const MatchInput_ & from ) { to.protocolIs( from.protocol() ); },
         []( MatchInput_ & to, const MatchInput_ & from ) { to.prefixIs( from.prefix() ); },
         []( MatchInput_ & to, const MatchInput_ & from ) { to.nexthopIs( from.nexthop() ); },
         []( MatchInput_ & to, const MatchInput_ & from ) { to.routerIdIs( from.routerId() ); },
         []( MatchInput_ & to, const MatchInput_ & from ) { to.ospfInstanceIs( from.ospfInstance() ); },
         []( MatchInput_ & to, const MatchInput_ & from ) { to.isisInstanceIs( from.isisInstance() ); },
      };
      const unsigned which = chance( 3 ) ? ~0u : 1u << pick( unsigned( std::size( kCopies ) ) );
      return [ this, which ]( const MatchInput_ & from ) {
         for( unsigned i = 0; i < std::size( kCopies ); ++i )
            if( which >> i & 1 ) kCopies[ i ]( *route_, from );
      };
   }
   // The route gets some values of another one, and its own again when the matcher is asked once more.
   Ptr<const Matcher> routeChanger() {
      if( chance( 2 ) ) return matchedRouteChanger();
      return own( [ this, copy = someCopies(), value = tag(), other = route() ]( const MatchInput_ & input, unsigned asked ) {
         copy( asked % 2 ? original_ : other );
         return input.getTag() != value;
      } );
   }
   // The same, if it matches. It may tell its key; then it need not be asked about other routes.
   Ptr<const Matcher> matchedRouteChanger() {
      const auto value = tag();
      const bool tellsKey = chance( 2 );
      return makeNode<TellingMatcher>(
         [ value, tellsKey ]( MatchKeys & keys ) {
            keys.changesMatchedRoute();
            if( tellsKey ) keys.keyIs( MatchKey::tag( value ) );
         },
         [ this, copy = someCopies(), value, other = route() ]( const MatchInput_ & input ) {
            if( input.getTag() != value ) return false;
            journal_.note( Journal::What::asked );
            copy( other );
            return true;
         } );
   }

   // What matches is what is told, or, if that is not exact, a part of it.
   Ptr<const Matcher> tellingMatcher() {
      using Attribute = MatchKey::Attribute;
      const bool exact = chance( 2 );
      const auto of = [ exact ]( TellingMatcher::Tell tell, TellingMatcher::Answer answer ) {
         return makeNode<TellingMatcher>(
            [ exact, tell ]( MatchKeys & keys ) {
               tell( keys );
               if( exact ) keys.exact();
            },
            [ exact, answer ]( const MatchInput_ & input ) { return answer( input ) && ( exact || input.getIsisInstance() != 1 ); } );
      };
      if( chance( 7 ) ) {
         const auto matcher = makeNode<PrefixListMatcher>( "L", list() );
         if( matcher->status() && !matcher->status()->ownRows() ) return matcher;
         return of( [ matcher ]( MatchKeys & keys ) { keys.listIs( matcher->status().get() ); },
                    [ matcher ]( const MatchInput_ & input ) { return matcher->matchForTest( input, nullptr ); } );
      }
      struct Told {
         void ( *tell )( MatchKeys &, const MatchInput_ & );
         bool ( *matches )( const MatchInput_ &, const MatchInput_ & wanted );
      };
      static constexpr auto kTellTags = []( MatchKeys & keys, size_t count ) {
         for( uint32_t i = 0; i < count; ++i ) keys.keyIs( MatchKey::tag( 2 + i ) );
      };
      static constexpr Told kTold[] = {
         { []( MatchKeys & keys, const MatchInput_ & wanted ) { keys.keyIs( MatchKey::tag( wanted.tag() ) ); },
           []( const MatchInput_ & input, const MatchInput_ & wanted ) { return input.getTag() == wanted.tag(); } },
         // Two attributes, one told twice.
         { []( MatchKeys & keys, const MatchInput_ & wanted ) {
             for( const auto attribute : { Attribute::metric, Attribute::tag, Attribute::metric } )
                keys.keyIs( MatchKey::of( wanted, attribute ) );
          },
           []( const MatchInput_ & input, const MatchInput_ & wanted ) {
              return input.getTag() == wanted.tag() || input.getMetric() == wanted.metric();
           } },
         // Just as many as a plan looks up, and more.
         { []( MatchKeys & keys, const MatchInput_ & ) { kTellTags( keys, MatchKeys::kMost ); },
           []( const MatchInput_ & input, const MatchInput_ & ) { return input.getTag() >= 2; } },
         { []( MatchKeys & keys, const MatchInput_ & ) { kTellTags( keys, MatchKeys::kMost + 1 ); },
           []( const MatchInput_ & input, const MatchInput_ & ) { return input.getTag() >= 2; } },
         { []( MatchKeys & keys, const MatchInput_ & ) { keys.noRoute(); },
           []( const MatchInput_ &, const MatchInput_ & ) { return false; } },
         // One of the keys that only this agent knows.
         { []( MatchKeys & keys, const MatchInput_ & wanted ) { keys.keyIs( MatchKey::own( 3 + wanted.tag() % 4 ) ); },
           []( const MatchInput_ & input, const MatchInput_ & wanted ) {
              return std::ranges::count( input.getOwnKeys(), 3 + wanted.tag() % 4 ) != 0;
           } },
         { []( MatchKeys & keys, const MatchInput_ & wanted ) {
             keys.keyIs( MatchKey::own( 2 ) );
             keys.keyIs( MatchKey::metric( wanted.metric() ) );
          },
           []( const MatchInput_ & input, const MatchInput_ & wanted ) {
              return std::ranges::count( input.getOwnKeys(), 2u ) != 0 || input.getMetric() == wanted.metric();
           } },
         // A protocol, which selects worse than a list.
         { []( MatchKeys & keys, const MatchInput_ & ) {
             keys.keyIs( MatchKey::protocol( RouteProto( 24 ) ) );
             keys.keyIs( MatchKey::ospfInstance( 1 ) );
          },
           []( const MatchInput_ & input, const MatchInput_ & ) {
              return SourceProtoMatcher::configured( input.getProtocol() ) == RouteProto( 24 ) || input.getOspfInstance() == 1;
           } },
         { []( MatchKeys & keys, const MatchInput_ & ) { keys.skippable(); },
           []( const MatchInput_ &, const MatchInput_ & ) { return true; } },
      };
      MatchInput_ wanted;
      wanted.tagIs( tag() );
      wanted.metricIs( metric() );
      const Told & told = kTold[ pick( unsigned( std::size( kTold ) ) ) ];
      return of( [ &told, wanted ]( MatchKeys & keys ) { told.tell( keys, wanted ); },
                 [ &told, wanted ]( const MatchInput_ & input ) { return told.matches( input, wanted ); } );
   }

   // What the case is rich in.
   const bool callsOften_ = chance( 3 ), changesRoutes_ = chance( 2 );
   const bool isFilter_ = chance( 6 );   // most sequences have a prefix list and nothing else
   bool isPlain_ = false;                // plans find most sequences of the map that is being made
   MatchInput_ * route_ = nullptr;       // of the current evaluation
   MatchInput_ original_;
   std::vector<Ptr<OwnMatcher>> own_;
   std::vector<Ptr<RouteMapSeqStatus>> sequences_;
   std::vector<Ptr<RouteMapStatus>> all_, maps_[ kLevels + 1 ];   // `maps_`: by level
   std::vector<Change> changes_;
   std::unordered_map<const void *, uint64_t> names_;
};

}   // namespace PlanTest
