/// @file tests/agent/RandomPolicy.h
/// Random policies and routes out of so small a world that they meet: a few names, prefixes, tags and communities.
#pragma once

#include <random>
#include <string>
#include <vector>

#include "tests/agent/LiveFixture.h"

namespace Agent {

class RandomPolicy {
 public:
   explicit RandomPolicy( uint32_t seed ) : random_( seed ) {}

   uint32_t upTo( uint32_t n ) { return std::uniform_int_distribution<uint32_t>( 0, n )( random_ ); }   // n included
   bool oneIn( uint32_t n ) { return upTo( n - 1 ) == 0; }

   /// Changes one thing.
   void change( PolicyText & text ) {
      switch( upTo( 13 ) ) {
         case 0: return changeLines( text.ipv4PrefixLists, [ & ] { return prefixLine( "10." ); } );
         case 1: return changeLines( text.ipv6PrefixLists, [ & ] { return prefixLine( "" ); } );
         case 2: return changeLines( text.ipv4AccessLists, [ & ] { return accessLine4(); } );
         case 3: return changeLines( text.ipv6AccessLists, [ & ] { return accessLine6(); } );
         case 4: return changeCommunityList( text );
         case 5:
            return changeLines( text.asPathLists, [ & ] {
               return AsPathListLine{ action(), pick( { "^65001", "_65002_", "65003$", "^$", "." } ), {} };
            } );
         case 6: return changeTagSet( text );
         default: return changeRouteMap( text );
      }
   }

   TableRoute route() {
      TableRoute route;
      const bool ipv4 = !oneIn( 3 );
      route.prefix = ipv4 ? prefix4() : prefix6();
      if( !oneIn( 4 ) ) route.nextHop = oneIn( 2 ) ? Ferule::IpGenAddr( host4() ) : Ferule::IpGenAddr( host6() );
      if( !oneIn( 3 ) ) route.metric = Zeugma::MaybeU63( upTo( 2 ) );
      route.tag = upTo( 3 );
      if( oneIn( 2 ) ) route.localPreference = upTo( 2 );
      route.protocol = SourceProtocol( upTo( 9 ) );
      route.interface = pick( { "", "eth0", "eth1" } );
      route.asPath = pick( { "", "65001", "65001 65002", "65002 65003", "65003 {65001,65002}" } );
      route.communities = communities();
      if( oneIn( 3 ) ) route.ospfInstance = 1;
      if( oneIn( 3 ) ) route.isisInstance = 1;
      return route;
   }

 private:
   std::string pick( std::initializer_list<const char *> from ) { return from.begin()[ upTo( uint32_t( from.size() ) - 1 ) ]; }
   MatchPermit action() { return oneIn( 3 ) ? kDeny : kPermit; }
   std::string listName() { return pick( { "A", "B", "C" } ); }
   std::string mapName() { return pick( { "M1", "M2", "M3", "M4", "M5" } ); }

   Ferule::IpGenPrefix prefix4() {
      static constexpr uint8_t kLengths[] = { 0, 8, 9, 15, 16, 24, 32 };
      const Ferule::IpAddr address( 10u << 24 | upTo( 1 ) << 23 | upTo( 1 ) << 16 | upTo( 1 ) << 8 | upTo( 1 ) );
      return Ferule::IpGenPrefix( address, kLengths[ upTo( 6 ) ] ).subnet();
   }
   Ferule::IpGenPrefix prefix6() {
      static constexpr uint8_t kLengths[] = { 0, 32, 33, 64, 128 };
      const Ferule::Bits128 bits{ uint64_t( 0x20010db8 ) << 32 | uint64_t( upTo( 1 ) ) << 31, upTo( 1 ) };
      return Ferule::IpGenPrefix( Ferule::IpGenAddr( Ferule::Ip6Addr( bits ) ), kLengths[ upTo( 4 ) ] ).subnet();
   }
   Ferule::IpAddr host4() { return Ferule::IpAddr( 10u << 24 | upTo( 1 ) << 23 | upTo( 1 ) ); }
   Ferule::Ip6Addr host6() { return Ferule::Ip6Addr( Ferule::Bits128{ uint64_t( 0x20010db8 ) << 32, upTo( 1 ) } ); }

   std::vector<Community> communities() {
      std::vector<Community> all;
      for( const Community c : { community( 64500, 1 ), community( 64500, 2 ), community( 65535, 65281 ) } )
         if( oneIn( 2 ) ) all.push_back( c );
      return all;
   }

   // ---- lists

   PrefixListLine prefixLine( const std::string & family ) {
      PrefixListLine line{ action(), family.empty() ? prefix6() : prefix4(), {}, {}, {} };
      const uint32_t length = line.prefix.length(), longest = family.empty() ? 128 : 32;
      if( oneIn( 2 ) ) line.ge = length + upTo( longest - length );
      if( oneIn( 2 ) ) {
         const uint32_t lowest = line.ge.value_or( length );
         line.le = lowest + upTo( longest - lowest );
      }
      return line;
   }
   AccessListLine accessLine4() {
      static constexpr uint32_t kMasks[] = { 0, 0xff000000, 0xff800000, 0xffff0000, 0xff00ff00, 0x000000ff, 0xffffffff, 0xff0000ff };
      const Ferule::IpGenAddr host = prefix4().ipGenAddr();   // its bits may stand where the mask has none
      return { action(), { host, Ferule::IpGenAddr( Ferule::IpAddr( kMasks[ upTo( 7 ) ] ) ).bits() }, {} };
   }
   AccessListLine accessLine6() {
      const auto prefix = prefix6();
      return { action(),
               { oneIn( 2 ) ? Ferule::IpGenAddr( host6() ) : prefix.ipGenAddr(), Ferule::Bits128::leadingOnes( prefix.length() ) },
               {} };
   }

   template <class Lists, class MakeLine>
   void changeLines( Lists & lists, MakeLine && makeLine ) {
      const auto name = listName();
      if( oneIn( 6 ) ) {
         lists.erase( name );
         return;
      }
      auto & lines = lists[ name ].lines;
      const uint32_t number = 5 * ( 1 + upTo( 3 ) );
      if( oneIn( 3 ) )
         lines.erase( number );
      else
         lines.insert_or_assign( number, makeLine() );
      if( lines.empty() ) lists.erase( name );
   }
   void changeCommunityList( PolicyText & text ) {
      const auto name = listName();
      if( oneIn( 6 ) ) text.communityLists.erase( name );
      const auto found = text.communityLists.find( name );
      const bool expanded = found == text.communityLists.end() ? oneIn( 2 ) : found->second.expanded;
      struct Only : PolicyText::ByName<CommunityListText> {
      } only;
      if( found != text.communityLists.end() ) only.insert( *found );
      auto & lines = only[ name ].lines;
      CommunityListLine line{ action(), {}, {}, {} };
      if( expanded )
         line.expression = pick( { "^$", "_64500:1_", "64500:[12]$", "65535", "." } );
      else
         line.communities = communities();
      if( oneIn( 3 ) )
         lines.erase( 5 * ( 1 + upTo( 3 ) ) );
      else
         lines.insert_or_assign( 5 * ( 1 + upTo( 3 ) ), line );
      only[ name ].expanded = expanded;
      if( lines.empty() )
         text.communityLists.erase( name );
      else
         text.communityLists[ name ] = only[ name ];
   }
   void changeTagSet( PolicyText & text ) {
      const auto name = listName();
      auto & tags = text.tagSets[ name ].tags;
      const uint32_t tag = upTo( 3 );
      if( !tags.insert( tag ).second ) tags.erase( tag );
      if( tags.empty() ) text.tagSets.erase( name );
   }

   // ---- route maps

   void changeRouteMap( PolicyText & text ) {
      const auto name = mapName();
      if( oneIn( 12 ) ) {
         text.routeMaps.erase( name );
         return;
      }
      auto & sequences = text.routeMaps[ name ].sequences;
      const uint32_t number = 10 * ( 1 + upTo( 4 ) );
      if( oneIn( 5 ) && sequences.size() > 1 )
         sequences.erase( sequences.contains( number ) ? number : sequences.begin()->first );
      else
         changeSequence( sequences[ number ], number );
   }
   void changeSequence( SequenceText & s, uint32_t number ) {
      switch( upTo( 9 ) ) {
         case 0: s.action = action(); return;
         case 1: s.description = pick( { "", "one", "two" } ); return;
         case 2:
            s.call.reset();
            if( !oneIn( 3 ) ) s.call = CallClause{ mapName(), oneIn( 3 ), {} };
            return;
         case 3:
            s.continueTo.reset();
            if( !oneIn( 3 ) ) s.continueTo = ContinueClause{ oneIn( 2 ) ? 0 : number + 10 * ( 1 + upTo( 2 ) ), {} };
            return;
         case 4:
         case 5: return changeSet( s.set );
         default: return changeMatch( s.match );
      }
   }
   void changeSet( SetClauses & set ) {
      SetClause clause{ .kind = SetKind( upTo( 4 ) ) };
      if( oneIn( 3 ) ) return set.erase( clause.kind );
      switch( clause.kind ) {
         case SetKind::metric:
         case SetKind::localPreference: clause.number = upTo( 2 ); break;
         case SetKind::tag: clause.number = upTo( 3 ); break;
         case SetKind::distance: clause.number = 1 + upTo( 254 ); break;
         case SetKind::community:
            clause.additive = oneIn( 2 );
            clause.communities = communities();
            break;
         default: break;   // only of the dialect of FRR
      }
      set.put( std::move( clause ) );
   }
   void changeMatch( Match & match ) {
      using O = MatchOption;
      static constexpr O kOptions[] = { O::matchIpAccessList,
                                        O::matchIpPrefixList,
                                        O::matchInterface,
                                        O::matchMetric,
                                        O::matchIpNexthop,
                                        O::matchIpv6Nexthop,
                                        O::matchIpNexthopPrefixList,
                                        O::matchCommunity,
                                        O::matchAsPath,
                                        O::matchIsisInstance,
                                        O::matchSourceProtocol,
                                        O::matchTag,
                                        O::matchIpv6PrefixList,
                                        kMatchIpv6AccessList,
                                        O::matchIpv6NexthopPrefixList,
                                        O::matchOspfInstance,
                                        O::matchTagSet };
      const O option = kOptions[ upTo( std::size( kOptions ) - 1 ) ];
      if( oneIn( 2 ) && !match.empty() )   // few clauses, so that routes come through
         match.erase( std::next( match.begin(), upTo( uint32_t( match.size() ) - 1 ) ) );
      else
         match.insert_or_assign( option, clause( option ) );
   }
   MatchClause clause( MatchOption option ) {
      switch( option ) {
         case MatchOption::matchInterface: return named( pick( { "eth0", "eth1" } ) );
         case MatchOption::matchMetric:
         case MatchOption::matchTag: return number( upTo( 2 ) );
         case MatchOption::matchOspfInstance:
         case MatchOption::matchIsisInstance: return number( oneIn( 4 ) );
         case MatchOption::matchSourceProtocol: return number( 1 + upTo( 8 ) );
         case MatchOption::matchIpPrefixList:
         case MatchOption::matchIpv6PrefixList: return named( listName(), oneIn( 3 ) );
         case MatchOption::matchIpNexthop:
            if( oneIn( 2 ) ) return { {}, Ferule::IpGenAddr( host4() ), 0, false, {} };
            return named( listName() );
         case MatchOption::matchIpv6Nexthop:
            if( oneIn( 2 ) ) return { {}, Ferule::IpGenAddr( host6() ), 0, false, {} };
            return named( listName() );
         default: return named( listName() );
      }
   }

   std::mt19937 random_;
};

}   // namespace Agent
