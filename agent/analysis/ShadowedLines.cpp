#include "analysis/ShadowedLines.h"

#include <algorithm>
#include <array>
#include <limits>
#include <tuple>
#include <utility>

namespace Agent {

namespace {

constexpr uint32_t kLongest = 128;   // of all prefixes

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

// Of lengths only the order counts: as ranks of those that there are, few make a small table. How many there are.
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

/// The lowest number of any range that takes such lengths: a table of which each cell holds the lowest of a block of cells, so that a
/// look-up and an entry touch a few of them only. The latest entries can be taken back.
class LowestNumbers {
 public:
   explicit LowestNumbers( size_t lengths ) : size_( lengths + 1 ), cells_( size_ * size_, kNone ) {}

   /// Of the ranges that take all lengths of this one; kNone for no such range.
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
   /// How many changes there were; and back to where there were as many.
   size_t changes() const noexcept { return changes_.size(); }
   void takeBack( size_t changes ) {
      for( ; changes_.size() > changes; changes_.pop_back() ) *changes_.back().first = changes_.back().second;
   }

 private:
   static constexpr uint32_t kNone = std::numeric_limits<uint32_t>::max();

   // From 1; the further a range goes to either side, the lower.
   size_t rowOf( const Range & range ) const noexcept { return range.from + 1; }
   size_t columnOf( const Range & range ) const noexcept { return size_ - 1 - range.to; }

   const size_t size_;
   std::vector<uint32_t> cells_;
   std::vector<std::pair<uint32_t *, uint32_t>> changes_;   // what a cell held before
};

/// A line whose prefix contains the present one, and where the table stood before it.
struct Above {
   Ferule::IpGenPrefix prefix;
   size_t changes;
};

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
