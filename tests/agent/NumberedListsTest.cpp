// The index of the lines of a list, against a walk over all lines.
#include "text/NumberedLists.h"

#include <gtest/gtest.h>

#include "tests/model/RandomCases.h"

namespace Agent {
namespace {

using Lines = std::map<uint32_t, PrefixListLine>;

std::optional<uint32_t> firstOf( const Lines & lines, const PrefixListLine & said ) {
   for( const auto & [ number, line ] : lines )
      if( isSameLine( line, said ) ) return number;
   return std::nullopt;
}

// So few that many lines are the same, and some differ in the spelling only, which the hash leaves out.
PrefixListLine randomLine( Random & random, uint64_t contents ) {
   PrefixListLine line;
   line.prefix = Ferule::IpGenPrefix( Ferule::IpAddr( static_cast<uint32_t>( below( random, contents ) << 16 ) ), 16 );
   if( oneIn( random, 10 ) ) line.spelling.way = Spelling::oddPrefix;
   return line;
}

TEST( ContentIndexModel, theLowestNumberOfTheSameLineIsFound ) {
   forRandomCases( 3, []( Random & random ) {
      const uint64_t contents = anyOf<uint64_t>( random, { 1, 10, 200 } );
      Lines lines;
      for( auto n = below( random, 50 ); n; --n ) lines[ static_cast<uint32_t>( below( random, 300 ) ) ] = randomLine( random, contents );
      ContentIndex<PrefixListLine> index( lines );
      for( int step = 0; step < 300; ++step ) {
         const auto number = static_cast<uint32_t>( below( random, 300 ) );
         if( const auto at = lines.find( number ); at != lines.end() ) {
            index.removed( number, at->second );
            lines.erase( at );
         } else {
            index.added( number, lines[ number ] = randomLine( random, contents ) );
         }
         const auto said = randomLine( random, contents );
         ASSERT_EQ( index.find( lines, said ), firstOf( lines, said ) );
         if( !lines.empty() ) { ASSERT_EQ( index.find( lines, lines.rbegin()->second ), firstOf( lines, lines.rbegin()->second ) ); }
      }
   } );
}

}   // namespace
}   // namespace Agent
