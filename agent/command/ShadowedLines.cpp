#include "command/ShadowedLines.h"

#include <algorithm>
#include <tuple>

namespace Agent {

namespace {

/// A line, and the lengths that it speaks of.
struct Range {
   Ferule::IpGenPrefix prefix;
   uint32_t number;
   uint32_t from;
   uint32_t to;
};

Range rangeOf( uint32_t number, const PrefixListLine & line ) {
   const uint32_t length = line.prefix.length();
   const uint32_t to = line.le ? *line.le : line.ge ? Ferule::addressBits( line.prefix.af() ) : length;
   return { line.prefix, number, line.ge.value_or( length ), to };
}

bool contains( const Ferule::IpGenPrefix & a, const Ferule::IpGenPrefix & b ) {
   const auto differing = a.ipGenAddr().bits() ^ b.ipGenAddr().bits();
   return a.length() <= b.length() && ( differing & Ferule::Bits128::leadingOnes( a.length() ) ).none();
}

}   // namespace

// In the order of prefixes, whatever contains a prefix stands before it, and all that stands between the two is in the former too. So
// a stack of the lines whose prefixes contain the present one is enough. Lines that decide nothing stay off it: whatever they take is
// taken by the one that shadows them.
std::vector<ShadowedLine> shadowedLinesOf( const PrefixListText & list ) {
   std::vector<Range> ranges;
   ranges.reserve( list.lines.size() );
   for( const auto & [ number, line ] : list.lines ) ranges.push_back( rangeOf( number, line ) );
   std::sort( ranges.begin(), ranges.end(),
              []( const Range & a, const Range & b ) { return std::tie( a.prefix, a.number ) < std::tie( b.prefix, b.number ); } );

   std::vector<ShadowedLine> shadowed;
   std::vector<Range> above;
   for( const Range & range : ranges ) {
      while( !above.empty() && !contains( above.back().prefix, range.prefix ) ) above.pop_back();
      uint32_t by = range.number;
      for( const Range & other : above )
         if( other.from <= range.from && other.to >= range.to ) by = std::min( by, other.number );
      if( by == range.number )
         above.push_back( range );
      else
         shadowed.push_back( { range.number, by } );
   }
   std::sort( shadowed.begin(), shadowed.end(), []( const auto & a, const auto & b ) { return a.number < b.number; } );
   return shadowed;
}

}   // namespace Agent
