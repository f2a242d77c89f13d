// The library's access lists against the linear one.
#include "tests/model/AccessListModel.h"

#include <set>
#include <sstream>

#include <gmock/gmock.h>

#include "policy/RoutingPolicyAcl.h"
#include "tests/model/RandomCases.h"
#include "tests/policy/ListFixtures.h"

namespace {

using namespace ListFixtures;
using Ferule::Bits128;
using Routing::Policy::IpAccessListMatcher;
using Routing::RouteMap::Ip4PrefixIndex;

constexpr AddressFamily kFamilies[] = { AddressFamily::ipv4, AddressFamily::ipv6 };

std::string textOf( const std::vector<AclPrefixEntry> & rules ) {
   std::ostringstream os;
   for( const auto & rule : rules )
      os << "\n   " << rule.seqno << ' ' << rule.permit << ' ' << rule.source.address() << " mask " << std::hex << rule.source.mask().high
         << ' ' << rule.source.mask().low << std::dec;
   return os.str();
}

// The model itself, by hand.
TEST( AccessListModel, isWhatTheExamplesSay ) {
   const AccessListModel model{ AddressFamily::ipv4,
                                { accessListRule( "10 permit 10.0.0.0 255.0.255.0" ), accessListRule( "20 deny 10.0.0.0/8" ),
                                  accessListRule( "30 permit 172.16.5.5/12" ), accessListRule( "40 deny 0.1.0.0 0.255.0.0" ),
                                  accessListRule( "50 permit 1.2.3.4 0.0.0.0" ) } };
   const struct {
      const char * asked;
      uint32_t seqno;   // 0 for none
   } rows[] = {
      { "10.1.0.0/24", 10 },   { "10.1.1.0/24", 20 },   { "10.0.0.0/8", 10 }, { "0.0.0.0/0", 50 },  { "172.20.0.0/16", 30 },
      { "172.16.0.0/12", 30 }, { "172.16.0.0/11", 50 }, { "8.1.0.0/16", 40 }, { "8.2.0.0/16", 50 }, { "2001:db8::/32", 0 },
   };
   for( const auto & row : rows ) {
      const auto * rule = model.governing( IpGenPrefix( row.asked ) );
      EXPECT_EQ( rule ? rule->seqno : 0, row.seqno ) << row.asked;
      EXPECT_EQ( model.match( IpGenPrefix( row.asked ) ), rule && rule->permit == permit ) << row.asked;
   }
}

/// Masks of every shape: plain ones, with gaps, none at all; addresses with and without bits outside of them.
std::vector<AclPrefixEntry> anyRules( Random & random, RandomPrefixes & prefixes ) {
   std::vector<AclPrefixEntry> rules;
   std::set<uint32_t> numbers;
   for( auto n = below( random, oneIn( random, 4 ) ? 60 : 12 ); n; --n ) {
      AclPrefixEntry rule;
      do rule.seqno = oneIn( random, 20 ) ? uint32_t( random() ) : uint32_t( below( random, 200 ) );
      while( !numbers.insert( rule.seqno ).second );
      rule.permit = oneIn( random, 2 ) ? permit : deny;
      Bits128 mask = Bits128::leadingOnes( prefixes.length() );
      if( prefixes.af() == AddressFamily::ipv4 && oneIn( random, 2 ) )
         mask = mask ^ ( Bits128::leadingOnes( prefixes.length() ) ^ Bits128::leadingOnes( prefixes.length() ) );
      const Bits128 near = rules.empty() || oneIn( random, 2 ) ? prefixes.address() : anyOf( random, rules ).source.address().bits();
      const Bits128 address = oneIn( random, 3 ) ? near : near & mask;
      rule.source = { prefixOf( prefixes.af(), address, 0 ).ipGenAddr(), mask };
      rules.push_back( rule );
   }
   return rules;
}

// Many rules in a small space, so that they share nodes of the index: few masks, and addresses that differ in few bits.
TEST( AccessListModel, aLargeCompiledListAnswersLikeALinearScan ) {
   forRandomCases( 20, []( Random & random ) {
      std::vector<uint32_t> masks;
      while( masks.size() < 6 )
         masks.push_back( Ip4PrefixIndex::Prefix::maskOf( unsigned( below( random, 33 ) ) ) ^
                          ( oneIn( random, 2 ) ? uint32_t( random() ) & uint32_t( random() ) : 0 ) );
      const uint32_t changing = uint32_t( random() ) & ( oneIn( random, 2 ) ? ~uint32_t( 0 ) : uint32_t( random() ) );
      const auto address = [ & ] { return Ferule::IpAddr( 0x0A000000 ^ ( uint32_t( random() ) & changing ) ); };
      AccessListModel model{ AddressFamily::ipv4, {} };
      for( uint32_t seqno = 0; seqno < 1000; ++seqno )
         model.rules.push_back( { seqno, Ferule::IpAddrWithFullMask{ address(), Ferule::IpAddr( anyOf( random, masks ) ) },
                                  oneIn( random, 2 ) ? permit : deny } );
      const auto list = compiledAccessListOf( model.rules );
      for( int n = 0; n < 200; ++n ) {
         const IpGenPrefix asked( address(), uint8_t( below( random, 33 ) ) );
         const auto * best = model.governing( asked );
         ASSERT_EQ( list->rules()->governing( asked ), best ? std::optional<size_t>( best->seqno ) : std::nullopt ) << asked;
      }
   } );
}

TEST( AccessListModel, aListAnswersLikeALinearScan ) {
   for( const auto af : kFamilies )
      forRandomCases( 150, [ af ]( Random & random ) {
         RandomPrefixes prefixes( random, af );
         const AccessListModel model{ af, anyRules( random, prefixes ) };
         std::vector<IpGenPrefix> questions;
         while( questions.size() < 10 )
            questions.push_back( model.rules.empty() || oneIn( random, 4 ) ? prefixes.withHostBits()
                                                                           : prefixes.around( keyOf( anyOf( random, model.rules ) ) ) );
         std::vector<std::pair<const char *, Quoin::Ptr<const IpAccessListStatus>>> lists{
            { "a trie", accessListOf( af, model.rules ) }, { "a compacted trie", accessListOf( af, model.rules, true ) }
         };
         if( af == AddressFamily::ipv4 ) lists.emplace_back( "compiled", compiledAccessListOf( model.rules ) );
         for( const auto & [ form, list ] : lists ) {
            const IpAccessListMatcher matcher( "acl", list );
            for( const auto & asked : questions )
               EXPECT_EQ( matcher.matchForTest( routeTo( asked ), noContext ), model.match( asked ) )
                  << asked << ", " << form << textOf( model.rules );
         }
      } );
}

}   // namespace
