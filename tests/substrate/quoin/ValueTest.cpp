#include "substrate/quoin/Value.h"

#include <concepts>
#include <cstdint>
#include <ios>
#include <list>
#include <locale>
#include <set>
#include <sstream>
#include <string>

#include <gmock/gmock.h>

#include "substrate/ferule/FullMask.h"
#include "substrate/ferule/IntfId.h"
#include "substrate/ferule/IpAddr.h"
#include "substrate/ferule/IpGenPrefixSet.h"
#include "substrate/ferule/IpPrefix.h"
#include "substrate/quoin/String.h"
#include "substrate/routemap/MatchRule.h"
#include "substrate/routemap/RmPrecedence.h"
#include "substrate/routemap/RouteMapFeatures.h"
#include "substrate/zeugma/MaybeU63.h"

namespace {

using namespace Ferule;
using namespace Routing::RouteMap;
using Quoin::bitsText;
using Zeugma::MaybeU63;

/// Values of a type, no two of them equal, anew with every call; those of an ordered type ascend.
template <class T>
std::list<T> values();

template <>
std::list<Quoin::String> values() {
   return { "", "RM", std::string( "RM\0", 3 ), "RM2", "a text that is too long to stand inside of the object" };
}
template <>
std::list<MaybeU63> values() {
   return { MaybeU63( ~uint64_t( 0 ) ), 0, 7, 1234567, MaybeU63::kAbsent - 1 };
}
template <>
std::list<IpAddr> values() {
   return { IpAddr(), IpAddr( 1 ), IpAddr( "10.0.0.0" ), IpAddr( "255.255.255.255" ) };
}
template <>
std::list<Ip6Addr> values() {
   return { Ip6Addr(), Ip6Addr( "::1" ), Ip6Addr( "::a00:0" ), Ip6Addr( "0:0:0:1::" ), Ip6Addr( "a00::" ) };
}
template <>
std::list<IpGenAddr> values() {
   return { IpGenAddr(), IpGenAddr( "0.0.0.0" ), IpGenAddr( "10.0.0.0" ), IpGenAddr( "::" ), IpGenAddr( "a00::" ) };
}
template <>
std::list<IpPrefix> values() {
   return { {}, { IpAddr(), 32 }, { IpAddr( "10.0.0.0" ), 8 }, { IpAddr( "10.0.0.0" ), 255 }, { IpAddr( "10.0.0.1" ), 8 } };
}
template <>
std::list<Ip6Prefix> values() {
   return { {}, { Ip6Addr(), 128 }, { Ip6Addr(), 200 }, { Ip6Addr( "::1" ), 0 }, { Ip6Addr( "a00::" ), 8 } };
}
template <>
std::list<IpGenPrefix> values() {
   return { IpGenPrefix(), IpGenPrefix( "0.0.0.0/0" ), IpGenPrefix( "10.0.0.0/8" ), IpGenPrefix( "::/0" ), IpGenPrefix( "a00::/8" ) };
}
template <>
std::list<IpAddrWithFullMask> values() {
   return { {},
            { IpAddr(), IpAddr( "0.0.0.255" ) },
            { IpAddr( "10.0.0.0" ), IpAddr( "255.0.0.0" ) },
            { IpAddr( "10.0.0.0" ), IpAddr( "255.0.255.0" ) },
            { IpAddr( "10.0.0.1" ), IpAddr( "255.0.0.0" ) } };
}
template <>
std::list<Ip6AddrWithMask> values() {
   return { {}, { Ip6Addr(), 128 }, { Ip6Addr(), 129 }, { Ip6Addr( "::1" ), 0 }, { Ip6Addr( "a00::" ), 8 } };
}
template <>
std::list<IpGenAddrWithFullMask> values() {
   std::list<IpGenAddrWithFullMask> all{ IpGenAddrWithFullMask() };
   for( const auto & v4 : values<IpAddrWithFullMask>() ) all.emplace_back( v4 );
   all.emplace_back( Ip6AddrWithMask() );
   all.emplace_back( IpGenAddr( "::" ), Bits128{ 0, 1 } );
   all.emplace_back( IpGenAddr( "::" ), Bits128{ 1, 0 } );
   all.emplace_back( Ip6AddrWithMask{ Ip6Addr( "a00::" ), 8 } );
   return all;
}
template <>
std::list<IpGenPrefixSet> values() {
   std::list<IpGenPrefixSet> all( 5 );
   auto set = all.begin();
   ( ++set )->insert( IpGenPrefix( "10.0.0.0/8" ) );
   ( ++set )->insert( IpGenPrefix( "10.0.0.0/9" ) );
   ( ++set )->insert( IpGenPrefix( "10.0.0.0/8" ) );
   set->insert( IpGenPrefix( "10.0.0.0/9" ) );
   ( ++set )->insert( IpGenPrefix( "a00::/8" ) );
   return all;
}
template <>
std::list<IntfId> values() {
   return { IntfId(), IntfId( 1 ), IntfId( 1234567 ), IntfId( ~0u ) };
}
template <>
std::list<CommListSet> values() {
   return { {} };
}
template <>
std::list<MatchRule> values() {
   return { {},
            { "PL", 0, MatchOption::matchIpPrefixList, false, {} },
            { "PL", 0, MatchOption::matchIpPrefixList, true, {} },
            { "PL", 0, MatchOption::matchIpv6PrefixList, false, {} },
            { "", 0, MatchOption::matchTag, false, {} },
            { "", 1234567, MatchOption::matchTag, false, {} },
            { "1234567", 0, MatchOption::matchTag, false, {} },
            { "", uint64_t( 1 ) << 32, MatchOption::matchTag, false, {} } };
}
template <>
std::list<SubRouteMap> values() {
   return { {}, { "", true }, { "RM", false }, { "RM", true }, { "RM2", false } };
}
template <>
std::list<RmPrecedence> values() {
   return { RmPrecedence(), RmPrecedence( uint8_t( 1 ) ), RmPrecedence::routeMapPrecedence, RmPrecedence( uint8_t( 255 ) ) };
}
template <>
std::list<RouteMapFeatures> values() {
   return { 0, 1, 2, 3, 4, 1u << 13, 1u << 14, 1u << 31, ~0u };
}

template <class T>
std::string textOf( const T & value ) {
   std::ostringstream os;
   os << value;
   return os.str();
}

template <class T>
struct Value : testing::Test {};

using ValueTypes = testing::Types<Quoin::String, MaybeU63, IpAddr, Ip6Addr, IpGenAddr, IpPrefix, Ip6Prefix, IpGenPrefix, IpAddrWithFullMask,
                                  Ip6AddrWithMask, IpGenAddrWithFullMask, IpGenPrefixSet, IntfId, CommListSet, MatchRule, SubRouteMap,
                                  RmPrecedence, RouteMapFeatures>;
TYPED_TEST_SUITE( Value, ValueTypes );

TYPED_TEST( Value, isComparedHashedAndPrintedByWhatItHolds ) {
   const auto all = values<TypeParam>(), again = values<TypeParam>();
   bool ( *const isEq )( const void *, const void * ) = TypeParam::isEq;
   std::set<uint32_t> hashes;
   size_t i = 0;
   for( const auto & a : all ) {
      hashes.insert( a.hash() );
      size_t k = 0;
      for( const auto & b : again ) {
         SCOPED_TRACE( textOf( a ) + " and " + textOf( b ) );
         EXPECT_EQ( isEq( &a, &b ), i == k );
         EXPECT_EQ( a == b, i == k );
         EXPECT_EQ( textOf( a ) == textOf( b ), i == k );
         if( i == k ) { EXPECT_EQ( a.hash(), b.hash() ); }
         static_assert( std::same_as<decltype( a.hash() ), uint32_t> );
         if constexpr( requires { a < b; } ) { EXPECT_EQ( a < b, i < k ); }
         ++k;
      }
      ++i;
   }
   EXPECT_GE( hashes.size() + 1, all.size() );   // two may meet
}

/// Groups digits one by one.
struct Grouping : std::numpunct<char> {
   char do_thousands_sep() const override { return '\''; }
   std::string do_grouping() const override { return "\1"; }
};

/// Puts the process under such a locale, and with it every stream made from now on.
struct GlobalLocale {
   std::locale before = std::locale::global( std::locale( std::locale::classic(), new Grouping ) );
   ~GlobalLocale() { std::locale::global( before ); }
};

TYPED_TEST( Value, readsAlikeInEveryLocaleAndUnderEveryFlag ) {
   for( const auto & value : values<TypeParam>() ) {
      const std::string text = textOf( value );
      std::ostringstream flags;
      flags << std::hex << std::showbase << std::showpos << std::uppercase << value;
      EXPECT_EQ( flags.str(), text );
      const GlobalLocale grouping;
      ASSERT_EQ( textOf( 1234 ), "1'2'3'4" );
      EXPECT_EQ( textOf( value ), text );
      if constexpr( requires { value.toStrep(); } ) { EXPECT_EQ( value.toStrep().view(), text ); }
      std::ostringstream width;
      width.fill( '*' );
      width.width( int( text.size() ) + 2 );
      width << value;
      EXPECT_EQ( width.str(), "**" + text );   // of the whole text, not of its first part
   }
}

enum class Colour : uint32_t { red = 1, green = 1u << 4, blue = 1u << 31 };

const char * nameOf( Colour bit ) {
   switch( bit ) {
      case Colour::red: return "red";
      case Colour::green: return "green";
      case Colour::blue: return "blue";
   }
   return nullptr;
}

TEST( BitsText, namesTheLowestFirstAndGivesTheNumberOfOneWithoutAName ) {
   const struct {
      uint32_t bits;
      const char * text;
   } rows[] = {
      { 0, "" },
      { 1, "red" },
      { 0x11, "red|green" },
      { 0x80000001, "red|blue" },
      { 2, "1" },
      { 0x0c, "2|3" },
      { 0x13, "red|1|green" },
      { 0x80000002, "1|blue" },
      { 0x00030020, "5|16|17" },
   };
   for( const auto & row : rows ) EXPECT_EQ( bitsText( row.bits, nameOf ), row.text ) << row.bits;
}

}   // namespace
