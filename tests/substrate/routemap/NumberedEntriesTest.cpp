#include "substrate/routemap/NumberedEntries.h"

#include <map>
#include <string>

#include <gmock/gmock.h>

#include "tests/model/RandomCases.h"
#include "tests/policy/ListFixtures.h"

namespace {

using namespace ListFixtures;
using Routing::RouteMap::NumberedEntries;

std::string text( const PrefixListEntry & e ) {
   return std::string( e.toStrep().view() );
}

// Long enough for many pieces, in several orders, and thinned out until pieces are joined.
TEST( NumberedEntries, holdWhatAMapHolds ) {
   for( const auto af : { AddressFamily::ipv4, AddressFamily::ipv6 } )
      forSomeCases( 30, [ af ]( Random & random ) {
         RandomPrefixes prefixes( random, af );
         NumberedEntries entries( af );
         std::map<uint32_t, PrefixListEntry> model;
         const auto size = below( random, 3000 );
         const bool ascends = oneIn( random, 2 );
         for( uint32_t i = 0; i < size; ++i ) {
            PrefixListEntry e;
            e.seqno = ascends ? 3 * i : uint32_t( below( random, 10000 ) );
            if( oneIn( random, 50 ) ) e.seqno = ~uint32_t( 0 );
            e.action = oneIn( random, 2 ) ? permit : deny;
            e.prefix = prefixes.network();
            if( oneIn( random, 2 ) ) e.ge = uint32_t( below( random, 129 ) );
            if( oneIn( random, 2 ) ) e.le = uint32_t( below( random, 129 ) );
            if( model.try_emplace( e.seqno, e ).second ) entries.insert( e );
         }
         const auto expectSame = [ & ] {
            ASSERT_EQ( entries.size(), model.size() );
            auto expected = model.begin();
            for( const auto & e : entries ) ASSERT_EQ( text( e ), text( ( expected++ )->second ) );
            EXPECT_EQ( expected, model.end() );
         };
         expectSame();
         while( !model.empty() ) {
            for( auto n = model.size() / 2 + 1; n; --n ) {
               const auto at = model.lower_bound( uint32_t( below( random, 10000 ) ) );
               const uint32_t seqno = at == model.end() ? model.begin()->first : at->first;
               EXPECT_EQ( text( entries.find( seqno ).value() ), text( model.at( seqno ) ) );
               EXPECT_TRUE( entries.erase( seqno ) );
               EXPECT_FALSE( entries.erase( seqno ) );
               EXPECT_FALSE( entries.contains( seqno ) );
               model.erase( seqno );
            }
            expectSame();
         }
         EXPECT_TRUE( entries.empty() );
      } );
}

TEST( NumberedEntries, areInTheOrderOfPrefixesOnRequest ) {
   NumberedEntries entries( AddressFamily::ipv6 );
   for( const char * e :
        { "5 permit 2001:db8::/48", "10 permit ::/0", "3 deny 2001:db8::/48", "7 permit 2001:db8::/32", "1 permit 2001:db8:0:0:1::/80" } )
      entries.insert( prefixListEntry( e ) );
   std::string numbers;
   for( const auto position : entries.inOrderOfPrefixes() ) numbers += std::to_string( entries.entry( position ).seqno ) + ' ';
   EXPECT_EQ( numbers, "10 7 3 5 1 " );
}

}   // namespace
