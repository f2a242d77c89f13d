/// @file tests/policy/RandomLists.h
/// Random routes and lists over few values, which the random route maps of RandomPolicy.h use.
/// Threading: one thread.
#pragma once

#include <algorithm>
#include <array>
#include <memory>
#include <vector>

#include "tests/model/RandomCases.h"
#include "tests/policy/PlanAgent.h"

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

/// The values, routes and lists of one case.
class RandomLists {
 public:
   explicit RandomLists( Random & random ) : random_( random ) {
      for( auto & family : networks_ ) {
         RandomPrefixes some( random_, &family == networks_.data() ? AddressFamily::ipv4 : AddressFamily::ipv6 );
         for( int i = 0; i < 8; ++i ) family.push_back( some.network() );
      }
      for( unsigned i = 0; i < kLists; ++i ) {
         builders_.push_back( std::make_unique<PrefixListBuilder>( "L", familyOf( i ) ) );
         for( auto n = pick( 7 ); n; --n ) addEntry( i );
         lists_.push_back( built( i ) );
      }
      large_ = largeLists();
      if( !chance( 6 ) )
         while( large_.size() > 3 ) large_.erase( large_.begin() + pick( unsigned( large_.size() ) ) );
      for( const unsigned size : { 0u, 1u, 3u, 64u, 70u } ) {
         sets_.push_back( makeNode<TagSetStatus>( "T" ) );
         while( sets_.back()->tag().count() < size ) sets_.back()->tagIs( tag() + ( size > 5 ? 10 * pick( 20 ) : 0 ) );
      }
   }

   Random & random() { return random_; }
   Journal & journal() { return journal_; }
   uint32_t pick( unsigned n ) { return random_.below( n ); }
   bool chance( unsigned oneIn ) { return random_.oneIn( oneIn ); }
   const std::vector<Ptr<PrefixListStatus>> & lists() const { return lists_; }
   const std::vector<Ptr<PrefixListStatus>> & larges() const { return large_; }
   const std::vector<Ptr<TagSetStatus>> & sets() const { return sets_; }

   // ---- values

   Routing::RouteTag tag() { return pick( 6 ); }
   MaybeU63 metric() { return random_.anyOf<MaybeU63>( { {}, 1ull << 63 | 5, 0, 1, 2 } ); }
   RouteProto protocol() { return RouteProto( random_.anyOf( { 0, 5, 6, 9, 10, 20, 24, 25, 30, 31 } ) ); }
   AddressFamily family() { return chance( 3 ) ? AddressFamily::ipv6 : AddressFamily::ipv4; }
   const IpGenPrefix & networkOf( AddressFamily af ) { return anyOf( random_, networks_[ af == AddressFamily::ipv6 ] ); }
   const IpGenPrefix & network() { return networkOf( family() ); }
   uint32_t instance() { return pick( 3 ); }
   Ferule::IntfId interface() { return Ferule::IntfId( pick( 3 ) ); }
   IpGenPrefix prefix( AddressFamily af ) { return RandomPrefixes( random_, af ).around( networkOf( af ) ); }
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

   // ---- edits

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

   // ---- lists

   Ptr<const PrefixListStatus> list() {
      if( chance( 10 ) ) return nullptr;
      if( usesLargeLists_ ? chance( 2 ) : chance( 10 ) ) return anyOf( random_, large_ );
      return chance( 10 ) ? ownList() : Ptr<const PrefixListStatus>( anyOf( random_, lists_ ) );
   }

   Ptr<const TagSetStatus> set() { return anyOf( random_, sets_ ); }
   Ptr<const TagSetStatus> smallSet() { return chance( 8 ) ? nullptr : sets_[ 2 ]; }

   Ptr<const IpAccessListStatus> accessList() {
      if( chance( 8 ) ) return nullptr;
      std::vector<AclPrefixEntry> rules;
      for( uint32_t i = 0; i < 4; ++i ) {
         rules.push_back( ListFixtures::accessListRule( "1 permit 10.0.0.0/8" ) );
         const auto at = networkOf( AddressFamily::ipv4 );
         rules.back().seqno = i;
         rules.back().permit = chance( 3 ) ? deny : permit;
         rules.back().source = { at.ipGenAddr(), Ferule::Bits128::leadingOnes( at.length() ) };
      }
      if( chance( 2 ) ) return ListFixtures::compiledAccessListOf( rules );
      const auto trie = makeNode<Routing::PatriciaTrieWithNodeData>( AddressFamily::ipv4, false );
      for( const auto & rule : rules ) trie->routeIs( ListFixtures::keyOf( rule ), makeNode<OwnRule>( rule, journal_ ) );
      const auto status = makeNode<IpAccessListStatus>( "A" );
      status->trieIs( trie );
      ownAccessLists_.emplace_back( status );
      return status;
   }

 protected:
   Random & random_;
   const bool usesLargeLists_ = chance( 3 );
   Journal journal_;

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
      e.prefix = chance( 12 ) ? networkOf( af ).subnet() : RandomPrefixes( random_, af ).around( networkOf( af ) ).subnet();
      if( chance( 12 ) ) e.prefix = prefixOf( af, {}, 0 );
      if( chance( 3 ) ) e.le = e.prefix.length() + pick( bits - e.prefix.length() + 1 );
      if( chance( 6 ) ) e.ge = e.le ? std::min( *e.le, e.prefix.length() + 8u ) : e.prefix.length();
      (void)builders_[ list ]->entryIs( e );   // a duplicate number is refused
   }
   Ptr<PrefixListStatus> built( unsigned list ) { return makeNode<PrefixListStatus>( "L", Ptr( builders_[ list ]->build()->rows() ) ); }

   // More entries than a plan stores, of both families, about the networks of all cases. More lists than an evaluation remembers answers of.
   static const std::vector<Ptr<PrefixListStatus>> & largeLists() {
      static const auto lists = [] {
         std::vector<Ptr<PrefixListStatus>> made;
         for( uint32_t n = 0; n < 12; ++n ) {
            const auto af = n % 4 == 3 ? AddressFamily::ipv6 : AddressFamily::ipv4;
            PrefixListBuilder builder( "L", af );
            EXPECT_FALSE( builder.entryIs( { 0, n % 2 ? permit : deny, prefixOf( af, {}, 0 ), {}, 9 } ) );
            for( uint32_t i = 1; i <= 1500; ++i )
               EXPECT_FALSE( builder.entryIs( { i, ( i * 2654435761u >> n ) % 2 ? permit : deny,
                                                prefixOf( af, { uint64_t( i ) << 54, 0 }, 10 ), 10, i > 1024 ? 32 : 24 } ) );
            made.push_back( makeNode<PrefixListStatus>( "L", Ptr( builder.build()->rows() ) ) );
         }
         return made;
      }();
      return lists;
   }

   // Entries of an agent's own class, which note that they were asked.
   Ptr<const PrefixListStatus> ownList() {
      const auto trie = makeNode<Routing::PatriciaTrieWithNodeData>( AddressFamily::ipv4, false );
      for( uint32_t i = 0; i < 4; ++i ) {
         const auto prefix = networkOf( AddressFamily::ipv4 );
         const auto note = [ this, i ] { return journal_.words.push_back( 1000 + i ), i != 1; };
         trie->routeIs( prefix,
                        makeNode<ListFixtures::OwnEntry>( PrefixListModel::Entry{ i, permit, prefix, prefix.length(), 32 }, note ) );
      }
      auto list = makeNode<PrefixListStatus>( "L", AddressFamily::ipv4 );
      list->trieIs( trie );
      return list;
   }

   std::array<std::vector<IpGenPrefix>, 2> networks_;   // IPv4, IPv6
   std::vector<std::unique_ptr<PrefixListBuilder>> builders_;
   std::vector<Ptr<PrefixListStatus>> lists_, large_;
   std::vector<Ptr<TagSetStatus>> sets_;
   std::vector<Ptr<const IpAccessListStatus>> ownAccessLists_;   // their rules are named
};

}   // namespace PlanTest
