#include "text/LineDiff.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace Agent {

namespace {

constexpr size_t kBlock = 4096;     // bytes that are compared at once
constexpr size_t kLookAhead = 32;   // lines of each text in which equal lines are looked for

size_t equalPrefix( std::string_view a, std::string_view b ) noexcept {
   const size_t size = std::min( a.size(), b.size() );
   size_t at = 0;
   while( at + kBlock <= size && std::memcmp( a.data() + at, b.data() + at, kBlock ) == 0 ) at += kBlock;
   while( at < size && a[ at ] == b[ at ] ) ++at;
   return at;
}

size_t equalSuffix( std::string_view a, std::string_view b ) noexcept {
   const size_t size = std::min( a.size(), b.size() );
   const char * const endA = a.data() + a.size();
   const char * const endB = b.data() + b.size();
   size_t length = 0;
   while( length + kBlock <= size && std::memcmp( endA - length - kBlock, endB - length - kBlock, kBlock ) == 0 ) length += kBlock;
   while( length < size && endA[ -1 - std::ptrdiff_t( length ) ] == endB[ -1 - std::ptrdiff_t( length ) ] ) ++length;
   return length;
}

// The first line with its end.
std::string_view firstLine( std::string_view text ) noexcept {
   return text.substr( 0, std::min( text.find( '\n' ), text.size() - 1 ) + 1 );
}

// The length of the equal lines at the start. A line that ends with the text is equal only to such a line.
size_t equalLines( std::string_view a, std::string_view b ) noexcept {
   const size_t same = equalPrefix( a, b );
   if( same == a.size() && same == b.size() ) return same;
   return same == 0 ? 0 : a.rfind( '\n', same - 1 ) + 1;   // npos + 1 == 0
}

// The same at the end; both texts begin at the start of a line.
size_t equalLastLines( std::string_view a, std::string_view b ) noexcept {
   const size_t same = equalSuffix( a, b );
   const size_t startA = a.size() - same, startB = b.size() - same;
   const auto isStart = []( std::string_view text, size_t at ) { return at == 0 || text[ at - 1 ] == '\n'; };
   if( isStart( a, startA ) && isStart( b, startB ) ) return same;
   const size_t end = a.find( '\n', startA );
   return end == a.npos ? 0 : a.size() - end - 1;
}

std::vector<std::string_view> nextLines( std::string_view text ) {
   std::vector<std::string_view> lines;
   while( !text.empty() && lines.size() < kLookAhead ) {
      lines.push_back( firstLine( text ) );
      text.remove_prefix( lines.back().size() );
   }
   return lines;
}

struct Lengths {
   size_t a = 0;
   size_t b = 0;
};

// How much precedes the nearest equal lines; all of both texts if none is near.
Lengths differentStart( std::string_view a, std::string_view b ) {
   const auto linesA = nextLines( a ), linesB = nextLines( b );
   for( size_t distance = 1; distance < linesA.size() + linesB.size(); ++distance )
      for( size_t i = 0; i <= std::min( distance, linesA.size() ); ++i ) {
         const size_t j = distance - i;
         const bool hasA = i < linesA.size(), hasB = j < linesB.size();
         if( hasA && hasB && linesA[ i ] == linesB[ j ] )
            return { static_cast<size_t>( linesA[ i ].data() - a.data() ), static_cast<size_t>( linesB[ j ].data() - b.data() ) };
      }
   return { a.size(), b.size() };
}

}   // namespace

uint32_t countLines( std::string_view text ) noexcept {
   uint32_t count = !text.empty() && text.back() != '\n';
   for( size_t at = 0; ( at = text.find( '\n', at ) ) != text.npos; ++at ) ++count;
   return count;
}

std::string_view lineAbove( std::string_view text, size_t at ) noexcept {
   if( at == 0 ) return {};
   const size_t start = at == 1 ? 0 : text.rfind( '\n', at - 2 ) + 1;
   return text.substr( start, at - start );
}

std::vector<Hunk> differingLines( std::string_view before, std::string_view after ) {
   std::vector<Hunk> hunks;
   uint32_t lineBefore = 1, lineAfter = 1;
   const auto skip = [ & ]( size_t length ) {
      const uint32_t lines = countLines( before.substr( 0, length ) );
      lineBefore += lines;
      lineAfter += lines;
      before.remove_prefix( length );
      after.remove_prefix( length );
   };
   skip( equalLines( before, after ) );
   const size_t end = equalLastLines( before, after );
   before.remove_suffix( end );
   after.remove_suffix( end );
   while( !before.empty() || !after.empty() ) {
      const Lengths lengths = differentStart( before, after );
      hunks.push_back( { before.substr( 0, lengths.a ), after.substr( 0, lengths.b ), lineBefore, lineAfter } );
      lineBefore += countLines( hunks.back().before );
      lineAfter += countLines( hunks.back().after );
      before.remove_prefix( lengths.a );
      after.remove_prefix( lengths.b );
      skip( equalLines( before, after ) );
   }
   return hunks;
}

}   // namespace Agent
