#include "analysis/ShadowedLines.h"

#include <gtest/gtest.h>
#include <rapidcheck.h>
#include <rapidcheck/gtest.h>

#include <set>
#include <string>

#include "tests/agent/CommandFixture.h"

namespace Agent {

std::ostream & operator<<( std::ostream & os, const ShadowedLine & line ) {
   return os << line.number << " by " << line.by;
}

namespace {

std::vector<ShadowedLine> shadowedIn( const std::string & lines ) {
   const auto text = textOf( lines );
   if( !text.ipv6PrefixLists.empty() ) return shadowedLinesOf( text.ipv6PrefixLists.at( "X" ) );
   return shadowedLinesOf( text.ipv4PrefixLists.at( "X" ) );
}

TEST( ShadowedLines, rows ) {
   struct Row {
      const char * name;
      std::vector<const char *> lines;   // numbered in fives
      std::vector<ShadowedLine> shadowed;
   };
   const Row rows[] = {
      { "another prefix", { "permit 10.0.0.0/8", "permit 11.0.0.0/8" }, {} },
      { "the same prefix", { "permit 10.0.0.0/8", "deny 10.0.0.0/8" }, { { 10, 5 } } },
      { "below, of the same length only", { "permit 10.0.0.0/8", "permit 10.1.0.0/16" }, {} },
      { "below, up to that length", { "permit 10.0.0.0/8 le 16", "permit 10.1.0.0/16" }, { { 10, 5 } } },
      { "below, one bit too long", { "permit 10.0.0.0/8 le 15", "permit 10.1.0.0/16" }, {} },
      { "ge alone goes to the end", { "permit 10.0.0.0/8 ge 9", "permit 10.1.0.0/16 le 32" }, { { 10, 5 } } },
      { "ge above the length", { "permit 10.0.0.0/8 ge 17", "permit 10.1.0.0/16 le 32" }, {} },
      { "ge of both", { "permit 10.0.0.0/8 ge 17", "permit 10.1.0.0/16 ge 18 le 20" }, { { 10, 5 } } },
      { "the wider line later", { "permit 10.1.0.0/16", "permit 10.0.0.0/8 le 32" }, {} },
      { "any", { "deny any", "permit 0.0.0.0/0", "permit 192.0.2.0/24 ge 25" }, { { 10, 5 }, { 15, 5 } } },
      { "the lowest of several", { "permit 10.0.0.0/8 le 32", "permit 0.0.0.0/0 le 32", "permit 10.1.0.0/16" }, { { 15, 5 } } },
      { "two halves together are not found", { "permit 10.0.0.0/9 le 32", "permit 10.128.0.0/9 le 32", "permit 10.0.0.0/8 ge 9" }, {} },
   };
   for( const auto & row : rows ) {
      std::string lines;
      for( const char * line : row.lines ) lines += std::string( "ip prefix-list X " ) + line + "\n";
      EXPECT_EQ( shadowedIn( lines ), row.shadowed ) << row.name;
   }
   EXPECT_EQ( shadowedIn( "ipv6 prefix-list X permit 2001:db8::/32 ge 48\nipv6 prefix-list X permit 2001:db8:0:1::/64\n" ),
              ( std::vector<ShadowedLine>{ { 10, 5 } } ) );
}

// ---- against sets of all prefixes of up to four bits

constexpr unsigned kBits = 4;

struct SmallLine {
   uint32_t value;   // of `length` bits
   unsigned length;
   std::optional<uint32_t> ge;
   std::optional<uint32_t> le;
};

Ferule::IpGenPrefix prefixOf( uint32_t value, unsigned length ) {
   return { Ferule::IpAddr( length ? value << ( 32 - length ) : 0 ), static_cast<uint8_t>( length ) };
}

std::set<std::pair<uint32_t, unsigned>> allThatItSpeaksOf( const SmallLine & line ) {
   std::set<std::pair<uint32_t, unsigned>> all;
   for( unsigned length = line.length; length <= kBits + 1; ++length ) {   // the last stands for all lengths above
      const bool speaks =
         !line.ge && !line.le ? length == line.length : length >= line.ge.value_or( line.length ) && length <= line.le.value_or( 32 );
      for( uint32_t low = 0; speaks && low < 1u << ( length - line.length ); ++low )
         all.emplace( ( line.value << ( length - line.length ) ) + low, length );
   }
   return all;
}

SmallLine randomLine() {
   const unsigned length = *rc::gen::inRange( 0u, kBits + 1 );
   SmallLine line{ *rc::gen::inRange( 0u, 1u << length ), length, {}, {} };
   if( *rc::gen::arbitrary<bool>() ) line.ge = *rc::gen::inRange( length, kBits + 1 );
   if( *rc::gen::arbitrary<bool>() ) line.le = *rc::gen::inRange( line.ge.value_or( length ), kBits + 1 );
   return line;
}

RC_GTEST_PROP( ShadowedLines, areThoseWhosePrefixesAreAllInOneEarlierLine, () ) {
   const auto count = *rc::gen::inRange( 0, 30 );
   PrefixListText list;
   std::vector<std::set<std::pair<uint32_t, unsigned>>> sets;
   std::vector<ShadowedLine> expected;
   for( uint32_t number = 1; number <= static_cast<uint32_t>( count ); ++number ) {
      const SmallLine small = randomLine();
      list.lines[ number ] = { MatchPermit::permit, prefixOf( small.value, small.length ), small.ge, small.le, {} };
      const auto set = allThatItSpeaksOf( small );
      for( uint32_t earlier = 1; earlier < number; ++earlier )
         if( std::includes( sets[ earlier - 1 ].begin(), sets[ earlier - 1 ].end(), set.begin(), set.end() ) ) {
            expected.push_back( { number, earlier } );
            break;
         }
      sets.push_back( set );
   }
   RC_ASSERT( shadowedLinesOf( list ) == expected );
}

// ---- against every pair of lines, of many lengths on few prefixes that contain each other

std::vector<ShadowedLine> shadowedByPairs( const PrefixListText & list ) {
   const auto lengths = []( const PrefixListLine & line ) {
      const uint32_t length = line.prefix.length();
      return std::pair( line.ge.value_or( length ), line.le.value_or( line.ge ? 128 : length ) );
   };
   const auto contains = []( const Ferule::IpGenPrefix & a, const Ferule::IpGenPrefix & b ) {
      return a.length() <= b.length() && a.v6Prefix().contains( b.v6Prefix().address );
   };
   std::vector<ShadowedLine> shadowed;
   for( const auto & [ number, line ] : list.lines ) {
      const auto [ from, to ] = lengths( line );
      for( auto at = list.lines.begin(); at->first < number; ++at ) {
         const auto [ otherFrom, otherTo ] = lengths( at->second );
         if( !contains( at->second.prefix, line.prefix ) || otherFrom > from || otherTo < to ) continue;
         shadowed.push_back( { number, at->first } );
         break;
      }
   }
   return shadowed;
}

RC_GTEST_PROP( ShadowedLines, areTheSameAsByPairs, () ) {
   const auto count = *rc::gen::inRange( 0u, 300u );
   const auto widest = *rc::gen::inRange( 1u, 129u );   // the shorter the ranges, the fewer lines are shadowed
   PrefixListText list;
   for( uint32_t number = 0; number < count; ++number ) {
      PrefixListLine line;
      const auto length = *rc::gen::inRange<uint8_t>( 0, 13 );
      const Ferule::Bits128 bits{ *rc::gen::inRange<uint64_t>( 0, 8 ) << 61, 0 };
      line.prefix = Ferule::IpGenPrefix( Ferule::Ip6Prefix{ Ferule::Ip6Addr( bits ), length } ).subnet();
      if( *rc::gen::arbitrary<bool>() ) line.ge = *rc::gen::inRange<uint32_t>( length, 129 );
      const uint32_t from = line.ge.value_or( length );
      if( *rc::gen::inRange( 0, 4 ) != 0 ) line.le = *rc::gen::inRange( from, std::min( 128u, from + widest ) + 1 );
      list.lines[ number * 7 ] = line;
   }
   RC_ASSERT( shadowedLinesOf( list ) == shadowedByPairs( list ) );
}

}   // namespace
}   // namespace Agent
