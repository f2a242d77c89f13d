/// @file tests/policy/RandomPolicy.h
/// Random route maps over few values, so that routes match often: every matcher of the library, matchers of an agent, calls, continues and
/// lists. The numbers of a Random determine everything.
///
/// Loops: a sequence that continues to itself or backwards has a matcher that matches twice per evaluation only. Calls lead to maps of a
/// higher level only.
/// Threading: one thread.
#pragma once

#include <algorithm>
#include <array>
#include <functional>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>
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
#include "tests/model/RandomCases.h"
#include "tests/policy/ListFixtures.h"
#include "tests/policy/PlanFixtures.h"

namespace PlanTest {

using Ferule::AddressFamily;
using Ferule::IpGenAddr;
using Ferule::IpGenPrefix;
using ListFixtures::deny;
using ListFixtures::permit;
using Routing::RouteProto;
using Routing::RouteMap::IpAccessListStatus;
using Routing::RouteMap::PrefixListBuilder;
using Routing::RouteMap::PrefixListStatus;
using Zeugma::MaybeU63;

/// An agent's matcher that tells nothing: each question is noted. `asked`: how often it was asked before in this evaluation.
class OwnMatcher : public Matcher {
 public:
   using Answer = std::function<bool( const MatchInput_ & input, unsigned asked )>;
   OwnMatcher( Journal & journal, Answer answer ) : journal_( journal ), answer_( std::move( answer ) ) {}
   bool match( const MatchInput_ * input, const Ptr<PolicyEvalContext> & ) const override {
      journal_.note( Journal::What::asked, this );
      return answer_( *input, asked_++ );
   }
   void formatDerivedType( std::ostream & os ) const override { os << "OwnMatcher"; }
   void restart() { asked_ = 0; }

 private:
   Journal & journal_;
   Answer answer_;
   mutable unsigned asked_ = 0;
};

/// An agent's matcher that tells which routes match. Nobody notes whether it is asked.
class TellingMatcher final : public Matcher {
 public:
   using Tell = std::function<void( MatchKeys & )>;
   using Answer = std::function<bool( const MatchInput_ & )>;
   TellingMatcher( Tell tell, Answer answer ) : tell_( std::move( tell ) ), answer_( std::move( answer ) ) {}
   bool match( const MatchInput_ * input, const Ptr<PolicyEvalContext> & ) const override { return answer_( *input ); }
   void keys( MatchKeys & keys ) const override { tell_( keys ); }
   void formatDerivedType( std::ostream & os ) const override { os << "TellingMatcher"; }

 private:
   Tell tell_;
   Answer answer_;
};

class NotingSetter final : public Setter {
 public:
   NotingSetter( Journal & journal, bool defers ) : journal_( journal ), defers_( defers ) {}
   void setValue( Result_ * result ) const override {
      journal_.note( Journal::What::set, this );
      if( defers_ ) result->deferredSetterIs( this );
   }
   void deferredSetValue( Result_ * ) const override { journal_.note( Journal::What::setLate, this ); }
   void formatDerivedType( std::ostream & os ) const override { os << "NotingSetter"; }

 private:
   Journal & journal_;
   bool defers_;
};

/// An agent's own rule of an access list, which notes that it was asked.
class OwnRule final : public Routing::RouteMap::AclEntryData {
 public:
   OwnRule( const AclPrefixEntry & rule, Journal & journal ) : AclEntryData( rule ), journal_( journal ) {}
   Acl::MatchPermit permit() const override {
      journal_.note( Journal::What::asked, this );
      return AclEntryData::permit();
   }

 private:
   Journal & journal_;
};

/// An agent's own input: its fields say nothing, its getters everything.
struct LateInput final : MatchInput_ {
   explicit LateInput( const MatchInput_ & i ) : late( i ) {}
   MaybeU63 getMetric() const override { return late.metric(); }
   RouteProto getProtocol() const override { return late.protocol(); }
   const IpGenPrefix * getPrefixPointer() const override { return late.getPrefixPointer(); }
   IpGenAddr getNexthop() const override { return late.nexthop(); }
   Ferule::IpAddr getRouterId() const override { return late.routerId(); }
   const Ptr<const ResolvedNexthopInfoSet> & getResolvedNexthopInfoSet() const override { return late.resolvedNexthopInfoSet(); }
   Routing::RouteTag getTag() const override { return late.tag(); }
   uint32_t getOspfInstance() const override { return late.ospfInstance(); }
   uint32_t getIsisInstance() const override { return late.isisInstance(); }
   MatchInput_ late;
};

/// The values, lists, matchers and route maps of one case.
class RandomPolicy {
 public:
   static constexpr unsigned kLevels = 3;   // of calls
   using Change = std::function<void( RandomPolicy & )>;

   explicit RandomPolicy( Random & random ) : random_( random ) {
      for( auto & family : networks_ ) {
         RandomPrefixes some( random_, &family == networks_.data() ? AddressFamily::ipv4 : AddressFamily::ipv6 );
         for( int i = 0; i < 8; ++i ) family.push_back( some.network() );
      }
      for( unsigned i = 0; i < kLists; ++i ) {
         builders_.push_back( std::make_unique<PrefixListBuilder>( "L", familyOf( i ) ) );
         for( auto n = pick( 7 ); n; --n ) addEntry( i );
         lists_.push_back( built( i ) );
      }
      for( const unsigned size : { 0u, 1u, 3u, 64u, 70u } ) {
         sets_.push_back( makeNode<TagSetStatus>( "T" ) );
         while( sets_.back()->tag().count() < size ) sets_.back()->tagIs( tag() + ( size > 5 ? 10 * pick( 20 ) : 0 ) );
      }
      for( unsigned level = kLevels; level; --level )
         for( int i = 0; i < 2; ++i ) maps_[ level ].push_back( map( level, pick( 5 ) ) );
   }

   Random & random() { return random_; }
   Journal & journal() { return journal_; }
   uint32_t pick( unsigned n ) { return random_.below( n ); }
   bool chance( unsigned oneIn ) { return random_.oneIn( oneIn ); }
   /// Before each evaluation.
   void restart() {
      for( const auto & matcher : own_ ) matcher->restart();
   }
   /// Sequences and maps, under the same numbers in an equal policy.
   const std::vector<Ptr<RouteMapSeqStatus>> & sequences() const { return sequences_; }
   const std::vector<Ptr<RouteMapStatus>> & maps() const { return all_; }
   const std::vector<Ptr<PrefixListStatus>> & lists() const { return lists_; }
   const std::vector<Ptr<TagSetStatus>> & sets() const { return sets_; }
   /// From now on, some new matchers make a random one of these changes when they are asked.
   void changesAre( std::vector<Change> changes ) { changes_ = std::move( changes ); }
   /// The journal has numbers in place of addresses, the same in an equal policy.
   void nameAll() {
      journal_.nameOf = [ this ]( const void * who ) { return who ? names_.try_emplace( who, names_.size() + 1 ).first->second : 0; };
      for( const auto & seq : sequences_ ) journal_.nameOf( seq.get() );
      for( const auto & map : all_ ) journal_.nameOf( map.get() );
   }

   // ---- values

   Routing::RouteTag tag() { return pick( 6 ); }
   MaybeU63 metric() { return random_.anyOf<MaybeU63>( { {}, 1ull << 63 | 5, 0, 1, 2 } ); }
   RouteProto protocol() { return RouteProto( random_.anyOf( { 0, 5, 6, 9, 10, 20, 24, 25, 30, 31 } ) ); }
   AddressFamily family() { return chance( 3 ) ? AddressFamily::ipv6 : AddressFamily::ipv4; }
   const IpGenPrefix & network( AddressFamily af ) { return anyOf( random_, networks_[ af == AddressFamily::ipv6 ] ); }
   IpGenPrefix prefix( AddressFamily af ) { return RandomPrefixes( random_, af ).around( network( af ) ); }
   // The last two have the same key.
   IpGenAddr nexthop() {
      return random_.anyOf<IpGenAddr>(
         { {}, IpGenAddr( "10.0.0.1" ), IpGenAddr( "10.0.0.2" ), IpGenAddr( "0:0:0:1::2" ), IpGenAddr( "0:0:0:2::1" ) } );
   }

   MatchInput_ route() {
      MatchInput_ input;
      input.tagIs( tag() );
      input.metricIs( metric() );
      input.protocolIs( protocol() );
      if( !chance( 20 ) ) input.prefixIs( prefix( family() ) );
      input.nexthopIs( nexthop() );
      input.routerIdIs( Ferule::IpAddr( 0x0a000000 + pick( 4 ) ) );
      input.ospfInstanceIs( pick( 3 ) );
      input.isisInstanceIs( pick( 3 ) );
      input.matchInterfaceIs( chance( 2 ) );
      input.matchResolvedNexthopInfoIs( chance( 2 ) );
      input.denyResolvedNexthopIs( chance( 8 ) );
      if( chance( 2 ) ) {
         auto resolved = makeNode<ResolvedNexthopInfoSet>();
         resolved->intfIdIs( Ferule::IntfId( pick( 3 ) ) );
         resolved->resolvedNexthopIs( nexthop(), false );
         input.resolvedNexthopInfoSetIs( resolved );
      }
      return input;
   }

   // ---- lists

   /// Edits a list, as a user does; the former generation stays as it is.
   unsigned editList() {
      const unsigned i = pick( kLists );
      if( !chance( 2 ) || !builders_[ i ]->entryDel( entrySeqno() ) ) addEntry( i );
      lists_[ i ] = built( i );
      return i;
   }
   unsigned editSet() {
      const unsigned i = pick( unsigned( sets_.size() ) );
      sets_[ i ] = makeNode<TagSetStatus>( "T", sets_[ i ]->tag() );
      if( const auto t = tag(); !sets_[ i ]->tagIs( t ) ) sets_[ i ]->tagDel( t );
      return i;
   }

   // ---- matchers

   Ptr<const Matcher> matcher() {
      using Make = Ptr<const Matcher> ( * )( RandomPolicy & );
      static const Make kMakes[] = {
         []( RandomPolicy & p ) -> Ptr<const Matcher> { return makeNode<TagMatcher>( p.tag() ); },
         []( RandomPolicy & p ) -> Ptr<const Matcher> { return makeNode<TagMatcher>( p.tag() ); },
         []( RandomPolicy & p ) -> Ptr<const Matcher> { return makeNode<RouteMetricMatcher>( p.metric() ); },
         []( RandomPolicy & p ) -> Ptr<const Matcher> { return makeNode<SourceProtoMatcher>( p.protocol() ); },
         []( RandomPolicy & p ) -> Ptr<const Matcher> { return makeNode<NexthopMatcher>( p.nexthop() ); },
         []( RandomPolicy & p ) -> Ptr<const Matcher> { return makeNode<NexthopPrefixMatcher>( p.network( p.family() ) ); },
         []( RandomPolicy & p ) -> Ptr<const Matcher> { return makeNode<InterfaceMatcher>( Ferule::IntfId( p.pick( 3 ) ) ); },
         []( RandomPolicy & p ) -> Ptr<const Matcher> { return makeNode<OspfInstanceMatcher>( p.pick( 3 ) ); },
         []( RandomPolicy & p ) -> Ptr<const Matcher> { return makeNode<IsisInstanceMatcher>( p.pick( 3 ) ); },
         []( RandomPolicy & p ) -> Ptr<const Matcher> { return makeNode<TagSetMatcher>( "T", anyOf( p.random_, p.sets_ ) ); },
         []( RandomPolicy & p ) -> Ptr<const Matcher> { return makeNode<TagSetMatcher>( "T", p.chance( 8 ) ? nullptr : p.sets_[ 2 ] ); },
         []( RandomPolicy & p ) -> Ptr<const Matcher> { return p.listMatcher<PrefixListMatcher>(); },
         []( RandomPolicy & p ) -> Ptr<const Matcher> { return p.listMatcher<PrefixListMatcher>(); },
         []( RandomPolicy & p ) -> Ptr<const Matcher> { return p.listMatcher<PrefixListMatcher>(); },
         []( RandomPolicy & p ) -> Ptr<const Matcher> { return p.listMatcher<NexthopPrefixListMatcher>(); },
         []( RandomPolicy & p ) -> Ptr<const Matcher> { return p.listMatcher<ResolvedNexthopPfxListMatcher>(); },
         []( RandomPolicy & p ) -> Ptr<const Matcher> { return p.listMatcher<RouterIdMatcher>(); },
         []( RandomPolicy & p ) -> Ptr<const Matcher> { return makeNode<IpAccessListMatcher>( "A", p.accessList() ); },
         []( RandomPolicy & p ) -> Ptr<const Matcher> {
            return p.chance( 4 ) ? Ptr<const Matcher>( makeNode<GwMatcher>() ) : p.ownMatcher();
         },
         []( RandomPolicy & p ) -> Ptr<const Matcher> { return p.ownMatcher(); },
         []( RandomPolicy & p ) -> Ptr<const Matcher> { return p.ownMatcher(); },
         []( RandomPolicy & p ) -> Ptr<const Matcher> { return p.tellingMatcher(); },
         []( RandomPolicy & p ) -> Ptr<const Matcher> { return p.tellingMatcher(); },
      };
      return kMakes[ pick( unsigned( std::size( kMakes ) ) ) ]( *this );
   }

   // ---- sequences and maps

   uint32_t seqno() {
      if( chance( 8 ) ) return random_.anyOf<uint32_t>( { 0, 1, 65535, ~0u, ~0u - 1 } );
      return pick( 50 );
   }

   Ptr<RouteMapSeqStatus> sequence( uint32_t seqno, unsigned level ) {
      const auto seq = makeNode<RouteMapSeqStatus>( seqno );
      if( chance( 3 ) ) seq->matchActionIs( deny );
      for( auto n = random_.anyOf( { 0, 1, 1, 1, 2, 2, 3 } ); n; --n ) seq->matcherIs( option(), matcher() );
      for( auto n = pick( 3 ); n; --n ) seq->setterIs( SetOption( 1 + pick( 9 ) ), makeNode<NotingSetter>( journal_, chance( 4 ) ) );
      if( level < kLevels && chance( 3 ) ) {
         seq->subRouteMapIs( anyOf( random_, maps_[ level + 1 + pick( kLevels - level ) ] ) );
         seq->subInvertIs( chance( 3 ) );
      }
      if( chance( 3 ) ) continueIs( *seq, seqno + 1 + pick( 9 ) );
      if( chance( 12 ) ) continueIs( *seq, seqno - ( chance( 3 ) ? 0 : pick( 9 ) ) );
      sequences_.push_back( seq );
      return seq;
   }

   Ptr<RouteMapStatus> map( unsigned level, unsigned size ) {
      const auto map = makeNode<RouteMapStatus>( "M" );
      for( unsigned i = 0; i < size; ++i ) map->seqStatusIs( sequence( size > 60 ? 3 * i : seqno(), level ) );
      all_.push_back( map );
      return map;
   }
   Ptr<RouteMapStatus> topMap() { return map( 0, chance( 40 ) ? 300 : chance( 4 ) ? pick( 41 ) : pick( 10 ) ); }
   Ptr<RouteMapStatusList> listOf( const Ptr<const RouteMapStatus> & map ) {
      const auto list = makeNode<RouteMapStatusList>();
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
   static constexpr unsigned kLists = 5;   // the first three are of IPv4
   static AddressFamily familyOf( unsigned list ) { return list < 3 ? AddressFamily::ipv4 : AddressFamily::ipv6; }

   uint32_t entrySeqno() { return chance( 10 ) ? random_.anyOf<uint32_t>( { 0, ~0u } ) : pick( 10 ); }
   void addEntry( unsigned list ) {
      const auto af = familyOf( list );
      const unsigned bits = Ferule::addressBits( af );
      Routing::RouteMap::PrefixListEntry e;
      e.seqno = entrySeqno();
      e.action = chance( 4 ) ? deny : permit;
      e.prefix = chance( 12 ) ? network( af ).subnet() : RandomPrefixes( random_, af ).around( network( af ) ).subnet();
      if( chance( 12 ) ) e.prefix = prefixOf( af, {}, 0 );
      if( chance( 3 ) ) e.le = e.prefix.length() + pick( bits - e.prefix.length() + 1 );
      if( chance( 6 ) ) e.ge = e.le ? std::min( *e.le, e.prefix.length() + 8u ) : e.prefix.length();
      (void)builders_[ list ]->entryIs( e );   // a duplicate number is refused
   }
   Ptr<PrefixListStatus> built( unsigned list ) { return makeNode<PrefixListStatus>( "L", Ptr( builders_[ list ]->build()->rows() ) ); }

   // More entries than a plan takes, about the networks of all cases.
   static const Ptr<PrefixListStatus> & largeList() {
      static const auto list = [] {
         PrefixListBuilder builder( "L", AddressFamily::ipv4 );
         for( uint32_t i = 0; i < 1500; ++i )
            EXPECT_FALSE( builder.entryIs( { i, permit, prefixOf( AddressFamily::ipv4, { uint64_t( i ) << 54, 0 }, 10 ), 10, 32 } ) );
         return makeNode<PrefixListStatus>( "L", Ptr( builder.build()->rows() ) );
      }();
      return list;
   }

   // Entries of an agent's own class, which note that they were asked.
   Ptr<const PrefixListStatus> ownList() {
      const auto trie = makeNode<Routing::PatriciaTrieWithNodeData>( AddressFamily::ipv4, false );
      for( uint32_t i = 0; i < 4; ++i ) {
         const auto prefix = network( AddressFamily::ipv4 );
         const auto note = [ this, i ] { return journal_.words.push_back( 1000 + i ), i != 1; };
         trie->routeIs( prefix,
                        makeNode<ListFixtures::OwnEntry>( PrefixListModel::Entry{ i, permit, prefix, prefix.length(), 32 }, note ) );
      }
      const auto list = makeNode<PrefixListStatus>( "L", AddressFamily::ipv4 );
      list->trieIs( trie );
      return list;
   }

   Ptr<const PrefixListStatus> list() {
      if( chance( 10 ) ) return nullptr;
      if( chance( 10 ) ) return largeList();
      return chance( 10 ) ? ownList() : Ptr<const PrefixListStatus>( anyOf( random_, lists_ ) );
   }

   template <class T>
   Ptr<const Matcher> listMatcher() {
      const auto matcher = makeNode<T>( "L", list() );
      if( chance( 5 ) ) matcher->invertResultIs( true );
      return matcher;
   }

   Ptr<const IpAccessListStatus> accessList() {
      if( chance( 8 ) ) return nullptr;
      std::vector<AclPrefixEntry> rules;
      for( uint32_t i = 0; i < 4; ++i ) {
         rules.push_back( ListFixtures::accessListRule( "1 permit 10.0.0.0/8" ) );
         const auto at = network( AddressFamily::ipv4 );
         rules.back().seqno = i;
         rules.back().permit = chance( 3 ) ? deny : permit;
         rules.back().source = { at.ipGenAddr(), Ferule::Bits128::leadingOnes( at.length() ) };
      }
      if( chance( 2 ) ) return ListFixtures::compiledAccessListOf( rules );
      const auto trie = makeNode<Routing::PatriciaTrieWithNodeData>( AddressFamily::ipv4, false );
      for( const auto & rule : rules ) trie->routeIs( ListFixtures::keyOf( rule ), makeNode<OwnRule>( rule, journal_ ) );
      const auto status = makeNode<IpAccessListStatus>( "A" );
      status->trieIs( trie );
      ownAccessLists_.push_back( status );
      return status;
   }

   Ptr<const Matcher> own( OwnMatcher::Answer answer ) {
      own_.push_back( makeNode<OwnMatcher>( journal_, std::move( answer ) ) );
      return own_.back();
   }

   Ptr<const Matcher> ownMatcher() {
      const auto value = tag();
      if( !changes_.empty() && chance( 2 ) )
         return own( [ this, value, change = anyOf( random_, changes_ ) ]( const MatchInput_ & input, unsigned asked ) {
            if( asked == 0 && input.getTag() % 2 == 0 ) change( *this );
            return input.getTag() != value;
         } );
      switch( pick( 5 ) ) {
         case 0: return own( [ value ]( const MatchInput_ & input, unsigned ) { return input.getTag() == value; } );
         case 1: return own( []( const MatchInput_ &, unsigned asked ) { return asked % 2 == 0; } );
         case 2: return own( []( const MatchInput_ &, unsigned ) { return true; } );
         case 3:
            return own( [ value ]( const MatchInput_ & input, unsigned ) {
               if( input.getTag() == value && input.getOspfInstance() == 0 ) throw std::runtime_error( "a matcher" );
               return input.getTag() > value;
            } );
         default: return own( [ value ]( const MatchInput_ & input, unsigned ) { return input.getTag() != value; } );
      }
   }

   // What matches is what is told, or, if that is not exact, a part of it.
   Ptr<const Matcher> tellingMatcher() {
      const auto value = tag();
      const auto wanted = metric();
      const bool exact = chance( 2 );
      const auto isPart = [ exact ]( const MatchInput_ & input ) { return exact || input.getIsisInstance() != 1; };
      const auto tell = [ exact ]( TellingMatcher::Tell tell, TellingMatcher::Answer answer ) -> Ptr<const Matcher> {
         return makeNode<TellingMatcher>(
            [ exact, tell ]( MatchKeys & keys ) {
               tell( keys );
               if( exact ) keys.exact();
            },
            std::move( answer ) );
      };
      switch( pick( 7 ) ) {
         case 0:
            return tell( [ value ]( MatchKeys & keys ) { keys.keyIs( MatchKey::tag( value ) ); },
                         [ value, isPart ]( const MatchInput_ & input ) { return input.getTag() == value && isPart( input ); } );
         case 1:   // of two attributes, one told twice
            return tell(
               [ value, wanted ]( MatchKeys & keys ) {
                  for( int i = 0; i < 2; ++i ) keys.keyIs( MatchKey::metric( wanted ) );
                  keys.keyIs( MatchKey::tag( value ) );
               },
               [ value, wanted, isPart ]( const MatchInput_ & input ) {
                  return ( input.getTag() == value || input.getMetric() == wanted ) && isPart( input );
               } );
         case 2:   // more than a plan looks up, or just as many
            return tell(
               [ most = uint32_t( MatchKeys::kMost ) + pick( 2 ) ]( MatchKeys & keys ) {
                  for( uint32_t i = 0; i < most; ++i ) keys.keyIs( MatchKey::tag( 2 + i ) );
               },
               [ isPart ]( const MatchInput_ & input ) { return input.getTag() >= 2 && isPart( input ); } );
         case 3: {
            const auto matcher = makeNode<PrefixListMatcher>( "L", list() );
            if( matcher->status() && !matcher->status()->ownRows() ) return matcher;
            return tell( [ matcher ]( MatchKeys & keys ) { keys.listIs( matcher->status().get() ); },
                         [ matcher, isPart ]( const MatchInput_ & input ) {
                            return matcher->matchForTest( input, nullptr ) && ( !kNarrowsLists || isPart( input ) );
                         } );
         }
         case 4: return tell( []( MatchKeys & keys ) { keys.nothing(); }, []( const MatchInput_ & ) { return false; } );
         case 5:   // by a protocol, which selects worse than a list
            return tell(
               []( MatchKeys & keys ) {
                  keys.keyIs( MatchKey::protocol( RouteProto( 24 ) ) );
                  keys.keyIs( MatchKey::ospfInstance( 1 ) );
               },
               [ isPart ]( const MatchInput_ & input ) {
                  return ( SourceProtoMatcher::configured( input.getProtocol() ) == RouteProto( 24 ) || input.getOspfInstance() == 1 ) &&
                     isPart( input );
               } );
         default: return makeNode<TellingMatcher>( []( MatchKeys & keys ) { keys.skippable(); }, isPart );
      }
   }
   // Switch it on when DISABLED_aMatcherMayMatchLessThanItsListPermits passes.
   static constexpr bool kNarrowsLists = true;

   Random & random_;
   Journal journal_;
   std::array<std::vector<IpGenPrefix>, 2> networks_;   // IPv4, IPv6
   std::vector<std::unique_ptr<PrefixListBuilder>> builders_;
   std::vector<Ptr<PrefixListStatus>> lists_;
   std::vector<Ptr<TagSetStatus>> sets_;
   std::vector<Ptr<OwnMatcher>> own_;
   std::vector<Ptr<const IpAccessListStatus>> ownAccessLists_;   // their rules are named
   std::vector<Ptr<RouteMapSeqStatus>> sequences_;
   std::vector<Ptr<RouteMapStatus>> all_, maps_[ kLevels + 1 ];   // `maps_`: by level
   std::vector<Change> changes_;
   std::unordered_map<const void *, uint64_t> names_;
};

}   // namespace PlanTest
