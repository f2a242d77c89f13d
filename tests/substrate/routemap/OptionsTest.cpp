#include "substrate/routemap/Options.h"

#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <set>
#include <sstream>
#include <string>
#include <type_traits>

#include <gmock/gmock.h>

namespace {

using namespace Routing::RouteMap;

static_assert( sizeof( MatchOption ) == 1 && sizeof( SetOption ) == 1 && sizeof( Protocol ) == 1 && sizeof( RouteMapOpModeType ) == 1 );
static_assert( std::is_same_v<std::underlying_type_t<MatchOption>, uint8_t> );
static_assert( std::is_same_v<std::underlying_type_t<SetOption>, uint8_t> );
static_assert( kMatchOptionMax == 132 );

/// Once armed, prints options when the process ends. Made before any text was asked for, it goes behind what was made for them.
struct PrintsAtTheEnd {
   ~PrintsAtTheEnd() {
      if( armed ) std::cerr << MatchOption( 119 ) << ' ' << MatchOption( 77 ) << ' ' << kept << ' ' << SetOption( 12 ) << '.';
   }
   bool armed = false;
   const char * kept = "";
} atTheEnd;

template <class T>
std::string printed( T value ) {
   std::ostringstream os;
   os << std::hex << std::showbase << value;
   EXPECT_EQ( os.flags() & std::ios_base::basefield, std::ios_base::hex );
   return os.str();
}

TEST( MatchOption, thoseUsedByNumberHaveIt ) {
   const struct {
      const char * name;
      MatchOption option;
      unsigned number;
   } rows[] = {
      { "none", MatchOption::none, 0 },
      { "matchIpAccessList", MatchOption::matchIpAccessList, 1 },
      { "matchIpPrefixList", MatchOption::matchIpPrefixList, 2 },
      { "matchIsisInstance", MatchOption::matchIsisInstance, 106 },
      { "matchSourceProtocol", MatchOption::matchSourceProtocol, 113 },
      { "matchTag", MatchOption::matchTag, 115 },
      { "matchIpv6PrefixList", MatchOption::matchIpv6PrefixList, 116 },
      { "matchOspfInstance", MatchOption::matchOspfInstance, 131 },
      { "matchTagSet", MatchOption::matchTagSet, 132 },
   };
   for( const auto & row : rows ) {
      EXPECT_EQ( unsigned( row.option ), row.number ) << row.name;
      EXPECT_STREQ( stringValue( row.option ), row.name );
      EXPECT_EQ( printed( row.option ), row.name );
   }
}

TEST( MatchOption, theKindsOfListsHaveANameEach ) {
   const struct {
      const char * kind;
      std::set<unsigned> numbers;
   } rows[] = { { "PrefixList", { 2, 14, 15, 116, 118, 119, 120, 123, 124 } }, { "Community", { 103, 104, 127 } } };
   for( const auto & row : rows )
      for( unsigned number = 0; number <= kMatchOptionMax; ++number )
         EXPECT_EQ( std::string( stringValue( MatchOption( number ) ) ).find( row.kind ) != std::string::npos,
                    row.numbers.contains( number ) )
            << row.kind << ' ' << number;
}

TEST( MatchOption, everySlotHasATextOfItsOwn ) {
   std::set<std::string> texts;
   for( unsigned number = 0; number <= 255; ++number ) {
      const auto option = MatchOption( number );
      EXPECT_TRUE( texts.insert( stringValue( option ) ).second ) << number;
      EXPECT_EQ( printed( option ), stringValue( option ) );
   }
   EXPECT_STREQ( stringValue( MatchOption( 7 ) ), "matchOption7" );
   EXPECT_STREQ( stringValue( MatchOption( 10 ) ), "matchOption10" );
   EXPECT_STREQ( stringValue( MatchOption( 255 ) ), "matchOption255" );
}

TEST( OptionsDeathTest, theTextsOutliveWhateverGoesAtTheEndOfTheProcess ) {
   EXPECT_EXIT(
      {
         atTheEnd.kept = stringValue( SetOption( 36 ) );
         atTheEnd.armed = true;
         std::exit( 0 );
      },
      testing::ExitedWithCode( 0 ),
      testing::HasSubstr( "matchIpv6ResolvedNexthopPrefixList matchOption77 setLargeCommunityListAdditive setCommunityListAdditive." ) );
}

TEST( SetOption, thoseUsedByNumberHaveIt ) {
   const struct {
      const char * name;
      SetOption option;
      unsigned number;
   } rows[] = {
      { "none", SetOption::none, 0 },
      { "setDistance", SetOption::setDistance, 9 },
      { "setCommunityList", SetOption::setCommunityList, 11 },
      { "setCommunityListAdditive", SetOption::setCommunityListAdditive, 12 },
      { "setCommunityListDelete", SetOption::setCommunityListDelete, 13 },
      { "setExtCommunityList", SetOption::setExtCommunityList, 22 },
      { "setLargeCommunityList", SetOption::setLargeCommunityList, 35 },
      { "setLargeCommunityListAdditive", SetOption::setLargeCommunityListAdditive, 36 },
      { "setLargeCommunityListDelete", SetOption::setLargeCommunityListDelete, 37 },
   };
   for( const auto & row : rows ) {
      EXPECT_EQ( unsigned( row.option ), row.number ) << row.name;
      EXPECT_STREQ( stringValue( row.option ), row.name );
      EXPECT_EQ( printed( row.option ), row.name );
   }
   const std::set<unsigned> communityLists = { 11, 12, 13, 22, 35, 36, 37 };
   for( unsigned number = 0; number <= 255; ++number )
      EXPECT_EQ( std::string( stringValue( SetOption( number ) ) ).find( "CommunityList" ) != std::string::npos,
                 communityLists.contains( number ) )
         << number;
}

TEST( SetOption, everySlotHasATextOfItsOwn ) {
   std::set<std::string> texts;
   for( unsigned number = 0; number <= 255; ++number ) {
      const auto option = SetOption( number );
      EXPECT_TRUE( texts.insert( stringValue( option ) ).second ) << number;
      EXPECT_EQ( printed( option ), stringValue( option ) );
   }
   EXPECT_STREQ( stringValue( SetOption( 10 ) ), "setOption10" );
}

TEST( Protocol, hasTheNumbersOneToNine ) {
   static_assert( sizeof( Protocol ) == 1 );
   const Protocol all[] = { Protocol::protocol1, Protocol::protocol2, Protocol::protocol3, Protocol::protocol4, Protocol::protocol5,
                            Protocol::protocol6, Protocol::protocol7, Protocol::protocol8, Protocol::protocol9 };
   unsigned number = 0;
   for( const Protocol protocol : all ) EXPECT_EQ( unsigned( protocol ), ++number );
}

TEST( RouteMapOpModeType, isPrintedAsItsNumberInDecimal ) {
   for( const unsigned number : { 0, 65, 255 } ) EXPECT_EQ( printed( RouteMapOpModeType( number ) ), std::to_string( number ) );
}

TEST( Protocol, aNumberIsOneOrNot ) {
   for( unsigned number = 1; number <= 9; ++number ) EXPECT_TRUE( isProtocol( number ) ) << number;
   for( const uint64_t number :
        { uint64_t( 0 ), uint64_t( 10 ), uint64_t( 255 ), uint64_t( 257 ), ( uint64_t( 1 ) << 32 ) + 1, UINT64_MAX } )
      EXPECT_FALSE( isProtocol( number ) ) << number;
   static_assert( isProtocol( uint64_t( Protocol::protocol1 ) ) && isProtocol( uint64_t( Protocol::protocol9 ) ) );
}

}   // namespace
