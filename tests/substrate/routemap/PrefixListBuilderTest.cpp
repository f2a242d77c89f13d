#include "substrate/routemap/PrefixListBuilder.h"

#include <algorithm>
#include <functional>
#include <locale>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "tests/policy/Fixtures.h"
#include "tests/policy/ListFixtures.h"

namespace {

using namespace ListFixtures;
using Routing::RouteMap::PrefixListError;
using Reason = PrefixListError::Reason;

/// All that a list holds, as "seqno permit prefix-length ge le", prefix by prefix and each chain in its order.
std::vector<std::string> held( const PrefixListStatus & list ) {
   std::vector<std::string> texts;
   list.rows()->visitAll( [ & ]( const IpGenPrefix & prefix, const Routing::RouteMap::PrefixRow & row ) {
      texts.push_back( std::to_string( row.seqno() ) + ( row.permit() ? " permit " : " deny " ) + std::to_string( prefix.length() ) + " " +
                       std::to_string( row.ge() ) + " " + std::to_string( row.le() ) );
   } );
   return texts;
}

TEST( PrefixListEntry, isPrintedAsItIsConfigured ) {
   for( const char * text : { "10 permit 10.0.0.0/8", "20 deny 10.0.0.0/8 ge 16", "30 permit 2001:db8::/32 le 48",
                              "0 deny 0.0.0.0/0 ge 0 le 32", "4294967295 permit ::/0 ge 1 le 128" } )
      EXPECT_EQ( prefixListEntry( text ).toStrep(), text );
}

TEST( PrefixListEntry, aNewOneHasNoBounds ) {
   const PrefixListEntry e;
   EXPECT_EQ( e.seqno, 0u );
   EXPECT_EQ( e.action, permit );
   EXPECT_EQ( e.prefix, IpGenPrefix() );
   EXPECT_EQ( e.ge, std::nullopt );
   EXPECT_EQ( e.le, std::nullopt );
}

TEST( PrefixListBuilder, boundsThatAreLeftOutAreFilledIn ) {
   const struct {
      const char * name;
      const char * entry;
      const char * held;
   } rows[] = {
      { "neither", "10 permit 10.0.0.0/8", "10 permit 8 8 8" },
      { "ge alone", "10 permit 10.0.0.0/8 ge 16", "10 permit 8 16 32" },
      { "ge alone, at the length", "10 permit 10.0.0.0/8 ge 8", "10 permit 8 8 32" },
      { "ge alone, at the family's length", "10 permit 10.0.0.0/8 ge 32", "10 permit 8 32 32" },
      { "le alone", "10 deny 10.0.0.0/8 le 24", "10 deny 8 8 24" },
      { "le alone, at the length", "10 deny 10.0.0.0/8 le 8", "10 deny 8 8 8" },
      { "both", "10 permit 10.0.0.0/8 ge 16 le 24", "10 permit 8 16 24" },
      { "both, equal", "10 permit 10.0.0.0/8 ge 24 le 24", "10 permit 8 24 24" },
      { "a default route", "10 permit 0.0.0.0/0", "10 permit 0 0 0" },
      { "a default route and all below", "10 permit 0.0.0.0/0 le 32", "10 permit 0 0 32" },
      { "a default route, ge 0", "10 permit 0.0.0.0/0 ge 0", "10 permit 0 0 32" },
      { "a host", "10 permit 10.1.1.1/32 ge 32 le 32", "10 permit 32 32 32" },
      { "IPv6, neither", "10 permit 2001:db8::/32", "10 permit 32 32 32" },
      { "IPv6, ge alone", "10 permit 2001:db8::/32 ge 48", "10 permit 32 48 128" },
      { "IPv6, le alone", "10 permit 2001:db8::/32 le 128", "10 permit 32 32 128" },
      { "IPv6 host", "10 permit 2001:db8::1/128", "10 permit 128 128 128" },
   };
   for( const auto & row : rows ) EXPECT_THAT( held( *prefixList( { row.entry } ) ), testing::ElementsAre( row.held ) ) << row.name;
}

TEST( PrefixListBuilder, anEntryThatCannotBeIsNamedAndLeavesTheListAsItWas ) {
   const struct {
      const char * name;
      const char * entry;
      Reason reason;
      const char * text;
   } rows[] = {
      { "another family", "10 permit 2001:db8::/32", Reason::wrongFamily,
        "prefix list PL, entry 10 permit 2001:db8::/32: the prefix is not of the list's address family" },
      { "host bits", "10 permit 10.1.2.3/8", Reason::hostBits,
        "prefix list PL, entry 10 permit 10.1.2.3/8: the prefix has host bits set, its network is 10.0.0.0/8" },
      { "host bits of a default route", "10 permit 0.0.0.1/0", Reason::hostBits,
        "prefix list PL, entry 10 permit 0.0.0.1/0: the prefix has host bits set, its network is 0.0.0.0/0" },
      { "ge below the length", "10 permit 10.0.0.0/8 ge 7", Reason::geBelowLength,
        "prefix list PL, entry 10 permit 10.0.0.0/8 ge 7: ge 7 is below the prefix's length 8" },
      { "ge below the length, with le", "10 permit 10.0.0.0/8 ge 0 le 24", Reason::geBelowLength,
        "prefix list PL, entry 10 permit 10.0.0.0/8 ge 0 le 24: ge 0 is below the prefix's length 8" },
      { "le below ge", "10 permit 10.0.0.0/8 ge 24 le 23", Reason::leBelowGe,
        "prefix list PL, entry 10 permit 10.0.0.0/8 ge 24 le 23: le 23 is below ge 24" },
      { "le below the length", "10 permit 10.0.0.0/8 le 7", Reason::leBelowGe,
        "prefix list PL, entry 10 permit 10.0.0.0/8 le 7: le 7 is below the prefix's length 8" },
      { "ge beyond the family", "10 permit 10.0.0.0/8 ge 33", Reason::boundBeyondFamily,
        "prefix list PL, entry 10 permit 10.0.0.0/8 ge 33: ge 33 is beyond the family's 32" },
      { "le beyond the family", "10 permit 10.0.0.0/8 le 33", Reason::boundBeyondFamily,
        "prefix list PL, entry 10 permit 10.0.0.0/8 le 33: le 33 is beyond the family's 32" },
      { "both beyond the family", "10 permit 10.0.0.0/8 ge 33 le 4294967295", Reason::boundBeyondFamily,
        "prefix list PL, entry 10 permit 10.0.0.0/8 ge 33 le 4294967295: ge 33 is beyond the family's 32" },
      { "le beyond what a byte holds", "10 permit 10.0.0.0/8 le 264", Reason::boundBeyondFamily,
        "prefix list PL, entry 10 permit 10.0.0.0/8 le 264: le 264 is beyond the family's 32" },
      { "a number that is there", "5 deny 11.0.0.0/8", Reason::duplicateSeqno,
        "prefix list PL, entry 5 deny 11.0.0.0/8: the list has an entry 5 already" },
      { "the very entry that is there", "5 permit 192.168.0.0/16 le 24", Reason::duplicateSeqno,
        "prefix list PL, entry 5 permit 192.168.0.0/16 le 24: the list has an entry 5 already" },
   };
   PrefixListBuilder builder( "PL", AddressFamily::ipv4 );
   EXPECT_EQ( builder.entryIs( prefixListEntry( "5 permit 192.168.0.0/16 le 24" ) ), std::nullopt );
   const auto before = held( *builder.build() );
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.name );
      const auto error = builder.entryIs( prefixListEntry( row.entry ) );
      ASSERT_TRUE( error );
      EXPECT_EQ( error->reason, row.reason );
      EXPECT_EQ( error->listName, "PL" );
      EXPECT_EQ( error->entry.toStrep(), row.entry );
      EXPECT_EQ( error->toStrep(), row.text );
      EXPECT_EQ( builder.count(), 1u );
      EXPECT_EQ( builder.entries().find( 5 )->toStrep(), "5 permit 192.168.0.0/16 le 24" );
      EXPECT_EQ( held( *builder.build() ), before );
   }
}

TEST( PrefixListBuilder, aPrefixLongerThanItsFamilyIsNamedToo ) {
   const struct {
      IpGenPrefix prefix;
      const char * text;
   } rows[] = {
      { IpGenPrefix( Ferule::IpAddr( "10.0.0.0" ), 33 ),
        "prefix list PL, entry 10 permit 10.0.0.0/33: length 33 is beyond the family's 32" },
      { Ferule::Ip6Prefix{ Ferule::Ip6Addr( "2001:db8::" ), 129 },
        "prefix list PL, entry 10 permit 2001:db8::/129: length 129 is beyond the family's 128" },
   };
   for( const auto & row : rows ) {
      PrefixListBuilder builder( "PL", row.prefix.af() );
      PrefixListEntry entry;
      entry.seqno = 10;
      entry.prefix = row.prefix;
      const auto error = builder.entryIs( entry );
      ASSERT_TRUE( error );
      EXPECT_EQ( error->reason, Reason::prefixTooLong );
      EXPECT_EQ( error->toStrep(), row.text );
      EXPECT_EQ( builder.count(), 0u );
   }
}

TEST( PrefixListBuilder, aPrefixOfNoFamilyIsOfAnother ) {
   PrefixListBuilder builder( "PL", AddressFamily::ipv6 );
   const auto error = builder.entryIs( PrefixListEntry{} );
   ASSERT_TRUE( error );
   EXPECT_EQ( error->reason, Reason::wrongFamily );
   EXPECT_EQ( error->toStrep(), "prefix list PL, entry 0 permit unset: the prefix is not of the list's address family" );
}

TEST( PrefixListBuilder, aListOfNoFamilyTakesNothing ) {
   PrefixListBuilder builder( "PL", AddressFamily( 0 ) );
   std::vector<PrefixListEntry> entries( 1 );   // of no family either
   for( const char * text : { "10 permit 0.0.0.0/0", "10 permit ::/0 le 128" } ) entries.push_back( prefixListEntry( text ) );
   for( const auto & entry : entries ) {
      SCOPED_TRACE( entry.toStrep() );
      const auto error = builder.entryIs( entry );
      ASSERT_TRUE( error );
      EXPECT_EQ( error->reason, Reason::wrongFamily );
      EXPECT_EQ( builder.count(), 0u );
   }
   const auto list = builder.build();
   EXPECT_EQ( list->trie().prefixCount(), 0u );
   EXPECT_EQ( list->af(), AddressFamily( 0 ) );
}

// It names the bounds that an entry without them comes to.
TEST( PrefixListError, oneMadeByHandHasATextToo ) {
   const struct {
      const char * name;
      const char * entry;
      Reason reason;
      const char * text;
   } rows[] = {
      { "another family", "10 permit 10.0.0.0/8", Reason::wrongFamily,
        "prefix list PL, entry 10 permit 10.0.0.0/8: the prefix is not of the list's address family" },
      { "too long", "10 permit 10.0.0.0/8", Reason::prefixTooLong,
        "prefix list PL, entry 10 permit 10.0.0.0/8: length 8 is beyond the family's 32" },
      { "host bits", "10 permit 10.0.0.0/8", Reason::hostBits,
        "prefix list PL, entry 10 permit 10.0.0.0/8: the prefix has host bits set, its network is 10.0.0.0/8" },
      { "ge below the length, without ge", "10 permit 10.0.0.0/8", Reason::geBelowLength,
        "prefix list PL, entry 10 permit 10.0.0.0/8: ge 8 is below the prefix's length 8" },
      { "le below ge, without either", "10 permit 10.0.0.0/8", Reason::leBelowGe,
        "prefix list PL, entry 10 permit 10.0.0.0/8: le 8 is below the prefix's length 8" },
      { "le below ge, without le", "10 permit 10.0.0.0/8 ge 16", Reason::leBelowGe,
        "prefix list PL, entry 10 permit 10.0.0.0/8 ge 16: le 32 is below ge 16" },
      { "a bound beyond the family, without either", "10 permit 10.0.0.0/8", Reason::boundBeyondFamily,
        "prefix list PL, entry 10 permit 10.0.0.0/8: le 8 is beyond the family's 32" },
      { "a bound beyond the family, without le", "10 permit 10.0.0.0/8 ge 16", Reason::boundBeyondFamily,
        "prefix list PL, entry 10 permit 10.0.0.0/8 ge 16: le 32 is beyond the family's 32" },
      { "a number that is there", "10 permit 10.0.0.0/8", Reason::duplicateSeqno,
        "prefix list PL, entry 10 permit 10.0.0.0/8: the list has an entry 10 already" },
   };
   for( const auto & row : rows )
      EXPECT_EQ( ( PrefixListError{ row.reason, "PL", prefixListEntry( row.entry ) }.toStrep() ), row.text ) << row.name;
   EXPECT_EQ( ( PrefixListError{ Reason::geBelowLength, "PL", {} }.toStrep() ),
              "prefix list PL, entry 0 permit unset: ge 0 is below the prefix's length 0" );
}

TEST( PrefixListBuilder, textsDoNotDependOnTheLocale ) {
   struct Grouping : std::numpunct<char> {
      std::string do_grouping() const override { return "\1"; }
   };
   PrefixListBuilder builder( "PL", AddressFamily::ipv4 );
   const auto entry = prefixListEntry( "1234 permit 10.0.0.0/8 le 33" );
   const std::locale before = std::locale::global( std::locale( std::locale(), new Grouping ) );
   const auto text = entry.toStrep();
   const auto error = builder.entryIs( entry )->toStrep();
   std::locale::global( before );
   EXPECT_EQ( text, "1234 permit 10.0.0.0/8 le 33" );
   EXPECT_EQ( error, "prefix list PL, entry 1234 permit 10.0.0.0/8 le 33: le 33 is beyond the family's 32" );
}

TEST( PrefixListBuilder, eachChainAscendsWhateverTheOrderOfInsertion ) {
   std::vector<PrefixListEntry> entries;
   for( const char * text : { "10 permit 10.0.0.0/8", "20 deny 10.0.0.0/8 le 24", "15 permit 10.1.0.0/16", "30 permit 10.0.0.0/8 ge 32",
                              "25 deny 10.1.0.0/16 le 32" } )
      entries.push_back( prefixListEntry( text ) );
   const auto byNumber = []( const PrefixListEntry & a, const PrefixListEntry & b ) { return a.seqno < b.seqno; };
   std::sort( entries.begin(), entries.end(), byNumber );
   do {
      PrefixListBuilder builder( "PL", AddressFamily::ipv4 );
      for( const auto & e : entries ) EXPECT_EQ( builder.entryIs( e ), std::nullopt );
      ASSERT_THAT(
         held( *builder.build() ),
         testing::ElementsAre( "10 permit 8 8 8", "20 deny 8 8 24", "30 permit 8 32 32", "15 permit 16 16 16", "25 deny 16 16 32" ) );
      uint32_t last = 0;
      for( const auto & entry : builder.entries() ) {
         EXPECT_GT( entry.seqno, last );
         last = entry.seqno;
      }
   } while( std::next_permutation( entries.begin(), entries.end(), byNumber ) );
}

TEST( PrefixListBuilder, anEntryCanBeTakenOutAndPutBack ) {
   PrefixListBuilder builder( "PL", AddressFamily::ipv4 );
   EXPECT_FALSE( builder.entryDel( 10 ) );
   EXPECT_EQ( builder.entryIs( prefixListEntry( "10 permit 10.0.0.0/8" ) ), std::nullopt );
   EXPECT_TRUE( builder.entryDel( 10 ) );
   EXPECT_FALSE( builder.entryDel( 10 ) );
   EXPECT_EQ( builder.count(), 0u );
   EXPECT_EQ( builder.entryIs( prefixListEntry( "10 deny 11.0.0.0/8" ) ), std::nullopt );
   EXPECT_EQ( builder.count(), 1u );
   EXPECT_THAT( held( *builder.build() ), testing::ElementsAre( "10 deny 8 8 8" ) );
}

TEST( PrefixListBuilder, whatIsBuiltStaysAsItIsWhenTheBuilderGoesOn ) {
   PrefixListBuilder builder( "PL", AddressFamily::ipv4 );
   const auto empty = builder.build();
   EXPECT_EQ( builder.entryIs( prefixListEntry( "10 permit 10.0.0.0/8" ) ), std::nullopt );
   const auto one = builder.build(), again = builder.build();
   EXPECT_EQ( builder.entryIs( prefixListEntry( "5 deny 10.0.0.0/8" ) ), std::nullopt );
   const auto two = builder.build();
   EXPECT_NE( one, again );
   EXPECT_TRUE( held( *empty ).empty() );
   EXPECT_THAT( held( *one ), testing::ElementsAre( "10 permit 8 8 8" ) );
   EXPECT_THAT( held( *again ), testing::ElementsAre( "10 permit 8 8 8" ) );
   EXPECT_THAT( held( *two ), testing::ElementsAre( "5 deny 8 8 8", "10 permit 8 8 8" ) );
}

TEST( PrefixListBuilder, givesTheListItsNameAndFamily ) {
   for( const auto af : { AddressFamily::ipv4, AddressFamily::ipv6 } ) {
      const auto list = PrefixListBuilder( "PL", af ).build();
      EXPECT_EQ( list->name(), "PL" );
      EXPECT_EQ( list->af(), af );
      EXPECT_EQ( list->trie().prefixCount(), 0u );
      EXPECT_NE( list->rows(), nullptr );
   }
   const auto list = prefixList( { "10 permit 10.0.0.0/8", "20 permit 10.0.0.0/8 le 32", "30 permit 11.0.0.0/8" } );
   EXPECT_EQ( list->trie().prefixCount(), 2u );
   EXPECT_EQ( list->entryCount(), 3u );
}

TEST( PrefixListBuilder, aHundredThousandEntriesOfOnePrefixStandInOrder ) {
   constexpr uint32_t kEntries = 100000;
   PrefixListBuilder builder( "PL", AddressFamily::ipv4 );
   PrefixListEntry e = prefixListEntry( "0 permit 10.0.0.0/8 le 32" );
   for( uint32_t i = 0; i < kEntries; ++i ) {
      e.seqno = 1 + i * 7919 % kEntries;   // each once, in no order
      ASSERT_EQ( builder.entryIs( e ), std::nullopt );
   }
   auto list = builder.build();
   EXPECT_EQ( list->trie().prefixCount(), 1u );
   uint32_t last = 0;
   list->rows()->visitAll( [ & ]( const IpGenPrefix &, const auto & row ) { last += row.seqno() == last + 1; } );
   EXPECT_EQ( last, kEntries );
   Routing::Policy::Fixtures::onSmallStack( [ gone = std::move( list ) ]() mutable { gone = nullptr; } );
}

TEST( PrefixListBuilder, buildsALargeList ) {
   constexpr uint32_t kEntries = 200000;
   PrefixListBuilder builder( "PL", AddressFamily::ipv4 );
   for( uint32_t i = 0; i < kEntries; ++i ) {
      PrefixListEntry e;
      e.seqno = i + 1;
      e.action = i % 3 ? permit : deny;
      e.prefix = IpGenPrefix( Ferule::IpAddr( i << 8 ), 24 );
      ASSERT_EQ( builder.entryIs( e ), std::nullopt );
   }
   const auto list = builder.build();
   ASSERT_EQ( list->trie().prefixCount(), kEntries );
   for( uint32_t i = 0; i < kEntries; ++i ) {
      const auto answer = list->rows()->governing( IpGenPrefix( Ferule::IpAddr( i << 8 ), 24 ) );
      ASSERT_EQ( answer.seqno, i + 1 );
      ASSERT_EQ( answer.permit, i % 3 != 0 );
   }
   EXPECT_FALSE( list->rows()->governing( IpGenPrefix( Ferule::IpAddr( kEntries << 8 ), 24 ) ).found );
}

}   // namespace
