#include "text/Spelling.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <utility>
#include <vector>

namespace Agent {

namespace {

// A bit for each byte of the word; several bytes share a bit.
uint64_t bytesIn( std::string_view word ) noexcept {
   uint64_t bytes = 0;
   for( const char c : word ) bytes |= uint64_t( 1 ) << ( c & 63 );
   return bytes;
}

// A cheap lower bound, as most words are similar to no other: a mistake changes the length by one at most, and adds one byte at most that
// the other word lacks.
size_t leastDistance( std::string_view a, std::string_view b ) noexcept {
   const size_t longer = std::max( a.size(), b.size() ) - std::min( a.size(), b.size() );
   const uint64_t inA = bytesIn( a ), inB = bytesIn( b );
   return std::max( { longer, size_t( std::popcount( inA & ~inB ) ), size_t( std::popcount( inB & ~inA ) ) } );
}

}   // namespace

size_t editDistance( std::string_view a, std::string_view b, size_t limit ) {
   if( leastDistance( a, b ) > limit ) return limit + 1;
   std::vector<size_t> row( b.size() + 1 );   // distances of the part of `a` so far to each beginning of `b`
   for( size_t j = 0; j <= b.size(); ++j ) row[ j ] = j;
   for( size_t i = 0; i < a.size(); ++i ) {
      size_t diagonal = std::exchange( row[ 0 ], i + 1 );
      for( size_t j = 0; j < b.size(); ++j ) {
         const size_t replaced = diagonal + ( a[ i ] != b[ j ] );
         diagonal = row[ j + 1 ];
         row[ j + 1 ] = std::min( { replaced, diagonal + 1, row[ j ] + 1 } );
      }
      if( *std::min_element( row.begin(), row.end() ) > limit ) return limit + 1;
   }
   return row.back();
}

std::string lowerCase( std::string_view text ) {
   std::string lower( text );
   for( char & c : lower )
      if( c >= 'A' && c <= 'Z' ) c = static_cast<char>( c - 'A' + 'a' );
   return lower;
}

}   // namespace Agent
