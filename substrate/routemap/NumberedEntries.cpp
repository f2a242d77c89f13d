#include "substrate/routemap/NumberedEntries.h"

#include <algorithm>

namespace Routing::RouteMap {

namespace {

constexpr size_t kIpv4Width = 3, kIpv6Width = 6;   // words of an entry
// The second word of an entry: length, `ge`, `le`, and these flags.
constexpr uint32_t kPermit = 1, kHasGe = 2, kHasLe = 4;

}   // namespace

NumberedEntries::NumberedEntries( Ferule::AddressFamily af )
      : af_( af ), width_( af == Ferule::AddressFamily::ipv6 ? kIpv6Width : kIpv4Width ) {}

// The last piece that begins at or below the number; the first one if none does.
size_t NumberedEntries::pieceOf( uint32_t seqno ) const noexcept {
   const auto above = std::ranges::upper_bound( pieces_, seqno, {}, []( const Piece & piece ) { return piece.front(); } );
   return above == pieces_.begin() ? 0 : static_cast<size_t>( above - pieces_.begin() ) - 1;
}

// The index of the first entry that is not below the number.
size_t NumberedEntries::indexIn( const Piece & piece, uint32_t seqno ) const noexcept {
   size_t low = 0, high = piece.size() / width_;
   while( low < high ) {
      const size_t middle = ( low + high ) / 2;
      if( piece[ middle * width_ ] < seqno )
         low = middle + 1;
      else
         high = middle;
   }
   return low;
}

std::optional<PrefixListEntry> NumberedEntries::find( uint32_t seqno ) const noexcept {
   if( pieces_.empty() ) return std::nullopt;
   const Piece & piece = pieces_[ pieceOf( seqno ) ];
   const size_t word = indexIn( piece, seqno ) * width_;
   if( word == piece.size() || piece[ word ] != seqno ) return std::nullopt;
   return entry( piece.data() + word );
}

void NumberedEntries::insert( const PrefixListEntry & entry ) {
   size_t at = pieces_.empty() ? 0 : pieceOf( entry.seqno );
   if( pieces_.empty() ||
       ( at + 1 == pieces_.size() && pieces_[ at ].size() == kMost * width_ && pieces_[ at ][ ( kMost - 1 ) * width_ ] < entry.seqno ) ) {
      Piece piece( width_ );   // behind a full last piece: lists are often written in the order of their numbers
      write( entry, piece.data() );
      pieces_.push_back( std::move( piece ) );
      ++size_;
      return;
   }
   if( pieces_[ at ].size() == kMost * width_ ) {
      const size_t half = kMost / 2 * width_;
      pieces_.insert( pieces_.begin() + long( at ) + 1, Piece( pieces_[ at ].begin() + long( half ), pieces_[ at ].end() ) );
      pieces_[ at ].resize( half );
      if( pieces_[ at + 1 ].front() < entry.seqno ) ++at;
   }
   Piece & piece = pieces_[ at ];
   const size_t word = indexIn( piece, entry.seqno ) * width_;
   piece.insert( piece.begin() + long( word ), width_, 0 );
   write( entry, piece.data() + word );
   ++size_;
}

bool NumberedEntries::erase( uint32_t seqno ) noexcept {
   if( pieces_.empty() ) return false;
   const size_t at = pieceOf( seqno );
   Piece & piece = pieces_[ at ];
   const size_t word = indexIn( piece, seqno ) * width_;
   if( word == piece.size() || piece[ word ] != seqno ) return false;
   piece.erase( piece.begin() + long( word ), piece.begin() + long( word + width_ ) );
   --size_;
   if( piece.empty() )
      pieces_.erase( pieces_.begin() + long( at ) );
   else if( !join( at ) && at != 0 )
      join( at - 1 );
   return true;
}

// Joins a piece and the next one if both together are sparse: sparse pieces would keep their memory.
bool NumberedEntries::join( size_t at ) noexcept {
   if( at + 1 >= pieces_.size() ) return false;
   Piece & piece = pieces_[ at ];
   const Piece & next = pieces_[ at + 1 ];
   const size_t both = piece.size() + next.size();
   if( both > kMost / 2 * width_ || both > piece.capacity() ) return false;
   piece.insert( piece.end(), next.begin(), next.end() );
   pieces_.erase( pieces_.begin() + long( at ) + 1 );
   return true;
}

std::vector<NumberedEntries::Position> NumberedEntries::inOrderOfPrefixes() const {
   std::vector<Position> order;
   order.reserve( size_ );
   for( const Piece & piece : pieces_ )
      for( size_t word = 0; word != piece.size(); word += width_ ) order.push_back( piece.data() + word );
   const auto isBefore = [ width = width_ ]( Position a, Position b ) {
      for( size_t i = 2; i != width; ++i )
         if( a[ i ] != b[ i ] ) return a[ i ] < b[ i ];
      const uint32_t aLength = a[ 1 ] >> 24, bLength = b[ 1 ] >> 24;
      return aLength != bLength ? aLength < bLength : a[ 0 ] < b[ 0 ];
   };
   if( !std::ranges::is_sorted( order, isBefore ) ) std::ranges::sort( order, isBefore );
   return order;
}

PrefixListEntry NumberedEntries::entry( Position words ) const noexcept {
   const uint32_t lengths = words[ 1 ];
   PrefixListEntry entry;
   entry.seqno = words[ 0 ];
   entry.action = lengths & kPermit ? Acl::MatchPermit::permit : Acl::MatchPermit::deny;
   if( lengths & kHasGe ) entry.ge = lengths >> 16 & 255;
   if( lengths & kHasLe ) entry.le = lengths >> 8 & 255;
   Ferule::Bits128 bits{ uint64_t( words[ 2 ] ) << 32, 0 };
   if( width_ == kIpv6Width ) bits = { bits.high | words[ 3 ], uint64_t( words[ 4 ] ) << 32 | words[ 5 ] };
   entry.prefix = Ferule::IpGenPrefix::of( af_, bits, lengths >> 24 );
   return entry;
}

void NumberedEntries::write( const PrefixListEntry & entry, uint32_t * words ) const noexcept {
   const auto bits = entry.prefix.ipGenAddr().bits();
   words[ 0 ] = entry.seqno;
   words[ 1 ] = uint32_t( entry.prefix.length() ) << 24 | entry.ge.value_or( 0 ) << 16 | entry.le.value_or( 0 ) << 8 |
      ( entry.action == Acl::MatchPermit::permit ? kPermit : 0 ) | ( entry.ge ? kHasGe : 0 ) | ( entry.le ? kHasLe : 0 );
   words[ 2 ] = uint32_t( bits.high >> 32 );
   if( width_ != kIpv6Width ) return;
   words[ 3 ] = uint32_t( bits.high );
   words[ 4 ] = uint32_t( bits.low >> 32 );
   words[ 5 ] = uint32_t( bits.low );
}

}   // namespace Routing::RouteMap
