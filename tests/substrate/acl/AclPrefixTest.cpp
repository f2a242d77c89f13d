#include "substrate/acl/AclPrefix.h"

#include <algorithm>
#include <bit>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <rapidcheck/gtest.h>

#include "substrate/plinth/Trace.h"
#include "tests/substrate/acl/PrefixesOfRange.h"

namespace {

using Acl::IpRuleConfig;
using Acl::RuleAction;
using AclPrefix::AclToPrefix;
using AclPrefix::ip4RangeToPrefixes;
using Ferule::IpAddr;
using Ferule::IpGenAddr;
using Ferule::IpGenPrefixSet;
using Range = AclToPrefix::Range;

constexpr uint64_t kEnd = uint64_t( 1 ) << 32;
constexpr RuleAction kActions[] = { RuleAction::permit, RuleAction::deny };

std::string prefixes( uint64_t low, uint64_t last ) {
   const auto pset = Quoin::makeNode<IpGenPrefixSet>();
   ip4RangeToPrefixes( low, last, pset );
   return std::string( pset->toStrep() );
}

IpRuleConfig makeRule( RuleAction action, IpAddr address, IpAddr mask ) {
   return { action, { { address, mask } } };
}

IpRuleConfig makeRule( RuleAction action, const char * address, const char * mask ) {
   return makeRule( action, IpAddr( address ), IpAddr( mask ) );
}

bool matches( const IpRuleConfig & rule, uint64_t address ) {
   const auto & source = rule.filter.source;
   return ( ( uint32_t( address ) ^ source.address.value() ) & source.mask.value() ) == 0;
}

std::string prefixes( const AclToPrefix & conversion ) {
   const auto pset = Quoin::makeNode<IpGenPrefixSet>();
   for( const auto & interval : conversion.permitted() ) ip4RangeToPrefixes( interval.lower(), interval.upper() - 1, pset );
   return std::string( pset->toStrep() );
}

uint64_t countOf( const AclToPrefix & conversion ) {
   uint64_t count = 0;
   for( const auto & interval : conversion.permitted() ) count += interval.upper() - interval.lower();
   return count;
}

// Ends of the space, and the border between two halves.
constexpr uint64_t kWindows[] = { 0, kEnd - 64, kEnd / 2 - 32, 0x0a0000e0 };

TEST( Ip4RangeToPrefixes, givesTheFewest ) {
   for( uint64_t window : kWindows )
      for( uint64_t low = window; low < window + 64; ++low )
         for( uint64_t last = low; last < window + 64; ++last )
            ASSERT_EQ( prefixes( low, last ), prefixesOfRange( IpAddr( uint32_t( low ) ), IpAddr( uint32_t( last ) ) ) );
}

TEST( Ip4RangeToPrefixes, knowsTheEndsOfTheSpace ) {
   const struct {
      const char * name;
      uint64_t low;
      uint64_t last;
      const char * expected;
   } rows[] = {
      { "everything", 0, kEnd - 1, "{0.0.0.0/0}" },
      { "the first address", 0, 0, "{0.0.0.0/32}" },
      { "the last address", kEnd - 1, kEnd - 1, "{255.255.255.255/32}" },
      { "the last two", kEnd - 2, kEnd - 1, "{255.255.255.254/31}" },
      { "the upper half", kEnd / 2, kEnd - 1, "{128.0.0.0/1}" },
      { "two that are no pair", 1, 2, "{0.0.0.1/32, 0.0.0.2/32}" },
      { "none", 2, 1, "{}" },
      { "none, by the wrap of an empty interval's end", 1, 0, "{}" },
      { "to behind the end", kEnd - 1, kEnd, "{255.255.255.255/32}" },
      { "to far behind the end", 0, ~uint64_t( 0 ), "{0.0.0.0/0}" },
      { "behind the end", kEnd, kEnd, "{}" },
      { "far behind the end", kEnd + 1, 2 * kEnd, "{}" },
   };
   for( const auto & row : rows ) EXPECT_EQ( prefixes( row.low, row.last ), row.expected ) << row.name;
}

TEST( Ip4RangeToPrefixes, addsToWhatIsThere ) {
   const auto pset = Quoin::makeNode<IpGenPrefixSet>();
   ip4RangeToPrefixes( 0, 0, pset );
   ip4RangeToPrefixes( 2, 3, pset );
   EXPECT_EQ( pset->toStrep().view(), "{0.0.0.0/32, 0.0.0.2/31}" );
}

TEST( Ip4RangeToPrefixesDeathTest, endsTheProcessWithoutASet ) {
   EXPECT_DEATH( ip4RangeToPrefixes( 0, 1, nullptr ), "pset" );
}

TEST( RangeToPrefixesDeathTest, endsTheProcessWithoutOneFamily ) {
   const auto pset = Quoin::makeNode<IpGenPrefixSet>();
   EXPECT_DEATH( AclPrefix::rangeToPrefixes( IpGenAddr( "::" ), IpGenAddr( "1.2.3.4" ), pset ), "low.af\\(\\) == last.af\\(\\)" );
   EXPECT_DEATH( AclPrefix::rangeToPrefixes( IpGenAddr(), IpGenAddr(), pset ), "low.af\\(\\) == last.af\\(\\)" );
}

TEST( AclToPrefix, holdsTheWholeSpaceAtFirst ) {
   const AclToPrefix conversion;
   EXPECT_EQ( prefixes( conversion ), "{0.0.0.0/0}" );
   EXPECT_TRUE( conversion.exact() );
}

TEST( AclToPrefix, permitsWhatASourceSays ) {
   const struct {
      const char * name;
      const char * address;
      const char * mask;
      const char * permit;
      const char * deny;
   } rows[] = {
      { "any", "0.0.0.0", "0.0.0.0", "{0.0.0.0/0}", "{}" },
      { "an address without a mask", "1.2.3.4", "0.0.0.0", "{0.0.0.0/0}", "{}" },
      { "one half", "128.0.0.0", "128.0.0.0", "{128.0.0.0/1}", "{0.0.0.0/1}" },
      { "a network", "64.0.0.0", "224.0.0.0", "{64.0.0.0/3}", "{0.0.0.0/2, 96.0.0.0/3, 128.0.0.0/1}" },
      { "bits outside of the mask", "64.1.2.3", "224.0.0.0", "{64.0.0.0/3}", "{0.0.0.0/2, 96.0.0.0/3, 128.0.0.0/1}" },
      { "a gap", "0.0.0.0", "160.0.0.0", "{0.0.0.0/3, 64.0.0.0/3}", "{32.0.0.0/3, 96.0.0.0/3, 128.0.0.0/1}" },
      { "not from the first bit", "64.0.0.0", "64.0.0.0", "{64.0.0.0/2, 192.0.0.0/2}", "{0.0.0.0/2, 128.0.0.0/2}" },
      { "every second of a few", "10.0.0.1", "255.255.255.249", "{10.0.0.1/32, 10.0.0.3/32, 10.0.0.5/32, 10.0.0.7/32}", nullptr },
      { "a host", "10.0.0.1", "255.255.255.255", "{10.0.0.1/32}", nullptr },
      { "the last host", "255.255.255.255", "255.255.255.255", "{255.255.255.255/32}", nullptr },
      { "across the multicast ones", "192.0.0.0", "192.0.0.0", "{192.0.0.0/2}", "{0.0.0.0/1, 128.0.0.0/2}" },
      { "the multicast ones", "224.0.0.0", "240.0.0.0", "{224.0.0.0/4}", "{0.0.0.0/1, 128.0.0.0/2, 192.0.0.0/3, 240.0.0.0/4}" },
      { "among the multicast ones", "224.0.0.5", "255.255.255.255", "{224.0.0.5/32}", nullptr },
   };
   for( const auto & row : rows ) {
      AclToPrefix conversion;
      conversion.handleRule( makeRule( RuleAction::permit, row.address, row.mask ), false );
      EXPECT_EQ( prefixes( conversion ), row.permit ) << row.name;
      EXPECT_TRUE( conversion.exact() ) << row.name;
      if( !row.deny ) continue;
      conversion.handleRule( makeRule( RuleAction::deny, row.address, row.mask ), false );
      EXPECT_EQ( prefixes( conversion ), row.deny ) << row.name;
      EXPECT_TRUE( conversion.exact() ) << row.name;
   }
}

TEST( AclToPrefix, leavesTheMulticastOnesOutIfAskedTo ) {
   const struct {
      const char * name;
      const char * address;
      const char * mask;
      const char * permit;
      const char * deny;
   } rows[] = {
      { "any", "0.0.0.0", "0.0.0.0", "{0.0.0.0/1, 128.0.0.0/2, 192.0.0.0/3, 240.0.0.0/4}", "{}" },
      { "before them", "64.0.0.0", "192.0.0.0", "{64.0.0.0/2}", "{0.0.0.0/2, 128.0.0.0/2, 192.0.0.0/3, 240.0.0.0/4}" },
      { "across them", "192.0.0.0", "192.0.0.0", "{192.0.0.0/3, 240.0.0.0/4}", "{0.0.0.0/1, 128.0.0.0/2}" },
      { "they and those behind", "224.0.0.0", "224.0.0.0", "{240.0.0.0/4}", "{0.0.0.0/1, 128.0.0.0/2, 192.0.0.0/3}" },
      { "they and others, by a gap", "96.0.0.0", "112.0.0.0", "{96.0.0.0/4}", nullptr },
      { "they themselves", "224.0.0.0", "240.0.0.0", "{224.0.0.0/4}", "{0.0.0.0/1, 128.0.0.0/2, 192.0.0.0/3, 240.0.0.0/4}" },
      { "a half of them", "224.0.0.0", "248.0.0.0", "{224.0.0.0/5}", "{0.0.0.0/1, 128.0.0.0/2, 192.0.0.0/3, 232.0.0.0/5, 240.0.0.0/4}" },
      { "the last of them", "239.255.255.255", "255.255.255.255", "{239.255.255.255/32}", nullptr },
      { "the first behind them", "240.0.0.0", "255.255.255.255", "{240.0.0.0/32}", nullptr },
   };
   for( const auto & row : rows ) {
      AclToPrefix conversion;
      conversion.handleRule( makeRule( RuleAction::permit, row.address, row.mask ), true );
      EXPECT_EQ( prefixes( conversion ), row.permit ) << row.name;
      if( !row.deny ) continue;
      conversion.handleRule( makeRule( RuleAction::deny, row.address, row.mask ), true );
      EXPECT_EQ( prefixes( conversion ), row.deny ) << row.name;
   }
}

TEST( AclToPrefix, forgetsTheRuleBefore ) {
   AclToPrefix conversion;
   conversion.handleRule( makeRule( RuleAction::permit, "0.0.0.0", "0.0.0.1" ), true );
   ASSERT_FALSE( conversion.exact() );
   conversion.handleRule( makeRule( RuleAction::permit, "10.0.0.0", "255.0.0.0" ), false );
   EXPECT_EQ( prefixes( conversion ), "{10.0.0.0/8}" );
   EXPECT_TRUE( conversion.exact() );
   conversion.handleRule( makeRule( RuleAction::permit, "11.0.0.0", "255.0.0.0" ), false );
   EXPECT_EQ( prefixes( conversion ), "{11.0.0.0/8}" );
}

TEST( AclToPrefix, deniesWithAnyActionOtherThanPermit ) {
   AclToPrefix conversion;
   conversion.handleRule( makeRule( RuleAction( 2 ), "128.0.0.0", "128.0.0.0" ), false );
   EXPECT_EQ( prefixes( conversion ), "{0.0.0.0/1}" );
}

TEST( AclToPrefix, takesASpaceWithEndsOfAnyKind ) {
   const IpRuleConfig any;
   const struct {
      const char * name;
      Range space;
      Range special;
      bool exceptSpecial;
      const char * expected;
   } rows[] = {
      { "closed", Range::closed( 1, 4 ), Range(), true, "{0.0.0.1/32, 0.0.0.2/31, 0.0.0.4/32}" },
      { "open above", Range::right_open( 1, 4 ), Range(), true, "{0.0.0.1/32, 0.0.0.2/31}" },
      { "open below", Range::left_open( 1, 4 ), Range(), true, "{0.0.0.2/31, 0.0.0.4/32}" },
      { "open", Range::open( 1, 4 ), Range(), true, "{0.0.0.2/31}" },
      { "nothing", Range(), Range(), true, "{}" },
      { "special, closed", Range::closed( 0, 7 ), Range::closed( 2, 3 ), true, "{0.0.0.0/31, 0.0.0.4/30}" },
      { "special, open", Range::closed( 0, 7 ), Range::open( 1, 4 ), true, "{0.0.0.0/31, 0.0.0.4/30}" },
      { "special and not asked for", Range::closed( 0, 7 ), Range::closed( 2, 3 ), false, "{0.0.0.0/29}" },
   };
   for( const auto & row : rows ) {
      AclToPrefix conversion( row.space, row.special );
      conversion.handleRule( any, row.exceptSpecial );
      EXPECT_EQ( prefixes( conversion ), row.expected ) << row.name;
   }
}

// Full ones with a few bits taken out, and the last ones gone: a mask of any shape whose gaps are few.
rc::Gen<uint32_t> anyMask() {
   return rc::gen::map(
      rc::gen::tuple( rc::gen::inRange( 0u, 33u ), rc::gen::container<std::vector<unsigned>>( rc::gen::inRange( 0u, 32u ) ) ),
      []( const auto & t ) {
         const auto & [ zeros, gaps ] = t;
         uint32_t mask = uint32_t( ~uint64_t( 0 ) << zeros );
         for( size_t i = 0; i < std::min<size_t>( gaps.size(), 10 ); ++i ) mask &= ~( uint32_t( 1 ) << gaps[ i ] );
         return mask;
      } );
}

// Every address of a window of 4,096: all of the space that the conversion knows.
RC_GTEST_PROP( AclToPrefix, permitsEachAddressAsTheRuleSays, () ) {
   const uint64_t window = *rc::gen::element<uint64_t>( 0, kEnd - 4096, kEnd / 2 - 2048, 0x0a0b0800, 0xDFFFF800, 0xEFFFF800 );
   for( int round = 0; round < 5; ++round ) {
      const uint32_t mask = *rc::gen::oneOf( anyMask(), rc::gen::map( anyMask(), []( uint32_t m ) { return m | 0xFFFFF000; } ) );
      const uint32_t inside = uint32_t( window ) + *rc::gen::inRange( 0u, 4096u );
      const uint32_t address = inside ^ *rc::gen::element<uint32_t>( 0, 0, 0, 1, 0x80000000 );
      const uint64_t specialLow = window + *rc::gen::inRange( 0u, 4096u ), specialHigh = specialLow + *rc::gen::inRange( 0u, 2048u );
      const IpRuleConfig rule = makeRule( *rc::gen::element( RuleAction::permit, RuleAction::deny ), IpAddr( address ), IpAddr( mask ) );
      const bool exceptSpecial = *rc::gen::arbitrary<bool>();
      const bool liesInSpecial = ( address & mask ) >= specialLow && ( address | ~mask ) < specialHigh;

      AclToPrefix conversion( Range::right_open( window, window + 4096 ), Range::right_open( specialLow, specialHigh ) );
      conversion.handleRule( rule, exceptSpecial );
      RC_ASSERT( conversion.exact() );
      auto interval = conversion.permitted().begin();
      const auto end = conversion.permitted().end();
      for( uint64_t a = window; a < window + 4096; ++a ) {
         if( interval != end && interval->upper() == a ) ++interval;
         const bool permitted = interval != end && interval->lower() <= a;
         const bool left = exceptSpecial && !liesInSpecial && a >= specialLow && a < specialHigh;
         RC_ASSERT( permitted == ( !left && matches( rule, a ) == ( rule.action == RuleAction::permit ) ) );
      }
      if( interval != end ) {
         RC_ASSERT( interval->upper() == window + 4096 );
         RC_ASSERT( ++interval == end );
      }
   }
}

// In the whole space: as many addresses as the mask has room for, each end of an interval inside and its neighbour outside.
RC_GTEST_PROP( AclToPrefix, permitsAsManyAsTheRuleSays, () ) {
   const uint32_t mask = *anyMask();
   const auto address = *rc::gen::resize( 100, rc::gen::arbitrary<uint32_t>() );
   const uint64_t matched = uint64_t( 1 ) << std::popcount( ~mask );
   for( RuleAction action : kActions ) {
      const bool permit = action == RuleAction::permit;
      const IpRuleConfig rule = makeRule( action, IpAddr( address ), IpAddr( mask ) );
      AclToPrefix conversion;
      conversion.handleRule( rule, false );
      RC_ASSERT( countOf( conversion ) == ( permit ? matched : kEnd - matched ) );
      for( const auto & interval : conversion.permitted() ) {
         RC_ASSERT( matches( rule, interval.lower() ) == permit );
         RC_ASSERT( matches( rule, interval.upper() - 1 ) == permit );
         RC_ASSERT( interval.lower() == 0 || matches( rule, interval.lower() - 1 ) != permit );
         RC_ASSERT( interval.upper() == kEnd || matches( rule, interval.upper() ) != permit );
      }
   }
}

/// What is told while one of these is alive.
class Told {
 public:
   Told() {
      Plinth::TraceHandle::levelIs( "AclToPrefix", Plinth::TraceFacility::level8 );
      Plinth::TraceHandle::sinkIs( [ this ]( const Plinth::TraceRecord & r ) { texts.emplace_back( r.text ); } );
   }
   ~Told() {
      Plinth::TraceHandle::sinkIs( nullptr );
      Plinth::TraceHandle::levelIs( "AclToPrefix", Plinth::TraceFacility::kOff );
   }
   Told( const Told & ) = delete;
   std::vector<std::string> texts;
};

TEST( AclToPrefix, isExactUpToItsLimitOfGaps ) {
   const struct {
      const char * name;
      const char * mask;
      size_t intervals;
   } rows[] = {
      { "16 in one", "255.0.0.255", 65536 },
      { "16 before the first one", "0.0.255.255", 65536 },
      { "16 before the first one, and zeros behind the last", "0.0.128.0", 65536 },
      { "16, each alone", "85.85.85.85", 65536 },
      { "15, each alone, as the last zero is no gap", "170.170.170.170", 32768 },
      { "12", "255.240.0.255", 4096 },
   };
   for( const auto & row : rows ) {
      const Told told;
      AclToPrefix conversion;
      const IpRuleConfig rule = makeRule( RuleAction::permit, "10.1.2.3", row.mask );
      conversion.handleRule( rule, false );
      EXPECT_TRUE( conversion.exact() ) << row.name;
      EXPECT_EQ( conversion.permitted().iterative_size(), row.intervals ) << row.name;
      EXPECT_EQ( countOf( conversion ), uint64_t( 1 ) << std::popcount( ~IpAddr( row.mask ).value() ) ) << row.name;
      for( const auto & interval : conversion.permitted() ) ASSERT_TRUE( matches( rule, interval.lower() ) ) << row.name;
      EXPECT_THAT( told.texts, testing::IsEmpty() ) << row.name;
   }
}

TEST( AclToPrefix, matchesMoreWithMoreGapsAndTellsSo ) {
   const struct {
      const char * name;
      const char * mask;
      const char * used;
   } rows[] = {
      { "17, and a one behind", "255.0.0.127", "255.0.0.0" },
      { "26 in two runs, of which one stays", "192.0.96.3", "192.0.96.0" },
      { "all but the last", "0.0.0.1", "0.0.0.0" },
      { "all between the first and the last", "128.0.0.1", "128.0.0.0" },
      { "17 before the first one", "0.0.64.0", "0.0.0.0" },
      { "17, until two ones are gone", "10.170.170.171", "10.170.170.168" },
      { "many of which some can stay", "240.15.0.1", "240.15.0.0" },
   };
   for( const auto & row : rows )
      for( RuleAction action : kActions ) {
         AclToPrefix cut, expected;
         expected.handleRule( makeRule( action, "10.1.96.3", row.used ), false );
         ASSERT_TRUE( expected.exact() ) << row.name;
         const Told told;
         cut.handleRule( makeRule( action, "10.1.96.3", row.mask ), false );
         EXPECT_FALSE( cut.exact() ) << row.name;
         EXPECT_TRUE( cut.permitted() == expected.permitted() ) << row.name;
         EXPECT_THAT(
            told.texts,
            testing::ElementsAre( std::string( "too many gaps in the mask of 10.1.96.3/" ) + row.mask + ", using mask " + row.used ) );
      }
}

}   // namespace
