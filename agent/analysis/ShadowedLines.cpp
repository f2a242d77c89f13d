#include "analysis/ShadowedLines.h"

#include <algorithm>
#include <array>
#include <limits>
#include <tuple>
#include <utility>

namespace Agent {

namespace {

constexpr uint32_t kLongest = 128;   // length of any prefix

/// A line, and the lengths that it matches.
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

// Replaces lengths by their ranks, so that few different lengths make a small table. Returns the number of ranks.
size_t rankLengths( std::vector<Range> & ranges ) {
   std::array<uint32_t, kLongest + 1> ranks{};
   for( const Range & range : ranges ) ranks[ range.from ] = ranks[ range.to ] = 1;
   uint32_t count = 0;
   for( uint32_t & rank : ranks )
      if( rank != 0 ) rank = count++;
   for( Range & range : ranges ) {
      range.from = ranks[ range.from ];
      range.to = ranks[ range.to ];
   }
   return count;
}

/// The lowest number of any range that contains given lengths. A table in which each cell holds the lowest number of a block of cells, so
/// that a look-up and an insertion touch few cells. The latest insertions can be undone.
class LowestNumbers {
 public:
   explicit LowestNumbers( size_t lengths ) : size_( lengths + 1 ), cells_( size_ * size_, kNone ) {}

   /// The lowest number of a range that contains all lengths of this one; kNone if no range does.
   uint32_t containing( const Range & range ) const {
      uint32_t lowest = kNone;
      for( size_t i = rowOf( range ); i > 0; i &= i - 1 )
         for( size_t j = columnOf( range ); j > 0; j &= j - 1 ) lowest = std::min( lowest, cells_[ i * size_ + j ] );
      return lowest;
   }
   void add( const Range & range ) {
      for( size_t i = rowOf( range ); i < size_; i += i & -i )
         for( size_t j = columnOf( range ); j < size_; j += j & -j ) {
            uint32_t & cell = cells_[ i * size_ + j ];
            if( cell <= range.number ) continue;
            changes_.emplace_back( &cell, cell );
            cell = range.number;
         }
   }
   /// The number of changes so far; takeBack() undoes all later ones.
   size_t changes() const noexcept { return changes_.size(); }
   void takeBack( size_t changes ) {
      for( ; changes_.size() > changes; changes_.pop_back() ) *changes_.back().first = changes_.back().second;
   }

 private:
   static constexpr uint32_t kNone = std::numeric_limits<uint32_t>::max();

   // From 1; a wider range has a lower row and column.
   size_t rowOf( const Range & range ) const noexcept { return range.from + 1; }
   size_t columnOf( const Range & range ) const noexcept { return size_ - 1 - range.to; }

   const size_t size_;
   std::vector<uint32_t> cells_;
   std::vector<std::pair<uint32_t *, uint32_t>> changes_;   // what a cell held before
};

/// A line whose prefix contains the present one, and the number of changes before its insertion.
struct Above {
   Ferule::IpGenPrefix prefix;
   size_t changes;
};

}   // namespace

// Sorted by prefix, a prefix comes after every prefix that contains it, and all prefixes between the two are contained as well. A
// stack of the lines whose prefixes contain the present prefix is therefore enough. Shadowed lines are not pushed: the line that shadows
// them matches all that they match.
std::vector<ShadowedLine> shadowedLinesOf( const PrefixListText & list ) {
   std::vector<Range> ranges;
   ranges.reserve( list.lines.size() );
   for( const auto & [ number, line ] : list.lines ) ranges.push_back( rangeOf( number, line ) );
   std::sort( ranges.begin(), ranges.end(),
              []( const Range & a, const Range & b ) { return std::tie( a.prefix, a.number ) < std::tie( b.prefix, b.number ); } );
   LowestNumbers numbers( rankLengths( ranges ) );

   std::vector<ShadowedLine> shadowed;
   std::vector<Above> above;
   for( const Range & range : ranges ) {
      for( ; !above.empty() && !contains( above.back().prefix, range.prefix ); above.pop_back() ) numbers.takeBack( above.back().changes );
      if( const uint32_t by = numbers.containing( range ); by < range.number ) {
         shadowed.push_back( { range.number, by } );
         continue;
      }
      above.push_back( { range.prefix, numbers.changes() } );
      numbers.add( range );
   }
   std::sort( shadowed.begin(), shadowed.end(), []( const auto & a, const auto & b ) { return a.number < b.number; } );
   return shadowed;
}

}   // namespace Agent
