#include "substrate/routing/PatriciaTrieWithNodeData.h"

#include "substrate/plinth/Exception.h"
#include "substrate/quoin/Assert.h"
#include "substrate/quoin/BlockMemory.h"

namespace Routing {

namespace {

using namespace SixBits;

constexpr unsigned kLargeNodes = 1u << 16;   // about the size of a whole IPv4 table
constexpr unsigned kLargeData = 1u << 19;

}   // namespace

PrefixData::~PrefixData() = default;

void * PrefixData::operator new( size_t bytes ) {
   return Quoin::blockMemory( bytes );
}
void PrefixData::operator delete( void * data ) noexcept {
   Quoin::blockMemoryDel( data );
}

PatriciaTrieWalkCb::~PatriciaTrieWalkCb() = default;
PrefixDataSource::~PrefixDataSource() = default;
PatriciaTrieHeir::~PatriciaTrieHeir() = default;

PatriciaTrieWithNodeData::PatriciaTrieWithNodeData( Ferule::AddressFamily af, bool large ) : af_( af ) {
   if( large ) {
      nodes_.reserve( kLargeNodes );
      data_.reserve( kLargeData );
   }
   nodes_.allocate( 1 );
}

PatriciaTrieWithNodeData::PatriciaTrieWithNodeData( Ferule::AddressFamily af, const Quoin::Ptr<const PrefixDataSource> & source )
      : af_( af ), source_( source ) {
   if( !source ) Plinth::throwMutatorArgNullPointerException( "PatriciaTrieWithNodeData" );
   nodes_.allocate( 1 );
}

PatriciaTrieWithNodeData::~PatriciaTrieWithNodeData() = default;

void PatriciaTrieWithNodeData::lastUserGone() const {
   if( const auto heir = std::exchange( heir_, nullptr ) )
      heir->take( Quoin::Ptr<PatriciaTrieWithNodeData>( const_cast<PatriciaTrieWithNodeData *>( this ) ) );
}

bool PatriciaTrieWithNodeData::letGo( size_t atMost ) noexcept {
   for( ; atMost != 0 && data_.size() != 0; --atMost ) {
      auto & head = data_[ data_.size() - 1 ];
      if( head )
         head = Quoin::Ptr<const PrefixData>( head->next_ );
      else
         data_.popBack();
   }
   return data_.size() == 0;
}

void PatriciaTrieWithNodeData::routeIs( const Ferule::IpGenPrefix & prefix, const Quoin::Ptr<PrefixData> & data ) {
   if( !data ) Plinth::throwMutatorArgNullPointerException( "PatriciaTrieWithNodeData::routeIs" );
   QUOIN_ASSERT( prefix.af() == af_ && prefix.length() <= Ferule::addressBits( af_ ), "prefix.af() == af_" );
   QUOIN_ASSERT( !data->inChain(), "!data->inChain()" );
   QUOIN_ASSERT( !source_, "!source_" );
   const Bits128 bits = prefix.ipGenAddr().bits() & Bits128::leadingOnes( prefix.length() );
   ++version_;
   auto & head = data_[ slotIs( bits, prefix.length() ) ];
   if( !head ) ++prefixCount_;
   ++entryCount_;
   data->nodeFlagSet( PrefixData::kInChain );
   data->next_ = std::move( head );
   head = data;
}

// The slot of a prefix; created if it does not exist.
PatriciaTrieWithNodeData::Slot PatriciaTrieWithNodeData::slotIs( Bits128 bits, unsigned length ) {
   uint32_t at = 0;
   for( unsigned depth = 0;; depth += kStride ) {
      if( nodes_[ at ].lone() ) {
         const TrieNode lone = nodes_[ at ];
         if( lone.loneLength() == length && samePrefix( lone.loneBits(), bits, length ) ) return lone.dataBase;
         nodes_[ at ] = TrieNode{};
         try {
            place( nodes_[ at ], depth, lone.loneBits(), lone.loneLength(), lone.dataBase );
         } catch( ... ) {
            nodes_[ at ] = lone;
            throw;
         }
      }
      const unsigned v = SixBits::at( bits, depth );
      const TrieNode & node = nodes_[ at ];
      if( length <= depth + kStride || !( node.child >> v & 1 ) ) return place( nodes_[ at ], depth, bits, length, kNoSlot );
      at = node.childBase + rank( node.child, v );
   }
}

// Puts a prefix into a node: into the bitmaps if the prefix ends here; otherwise as a lone child, and the node must not have a child for
// these six bits yet. `loneSlot` is the present slot of the prefix, or kNoSlot for a new prefix. Returns the slot. Nodes may move.
PatriciaTrieWithNodeData::Slot PatriciaTrieWithNodeData::place( TrieNode & node, unsigned depth, Bits128 bits, unsigned length,
                                                                Slot loneSlot ) {
   const unsigned v = SixBits::at( bits, depth );
   const unsigned r = length - depth;
   if( r > kStride ) {
      const Slot slot = loneSlot != kNoSlot ? loneSlot : data_.allocate( 1 );
      const size_t self = static_cast<size_t>( &node - nodes_.data() );
      const uint32_t base =
         nodes_.grow( node.childBase, node.childCount(), rank( node.child, v ), TrieNode::makeLone( bits, length, slot ) );
      nodes_[ self ].childBase = base;
      nodes_[ self ].child |= uint64_t( 1 ) << v;
      return slot;
   }
   const bool isFull = r == kStride;
   const unsigned bit = isFull ? v : innerBit( r, v );
   uint64_t & bitmap = isFull ? node.full : node.inner;
   const Slot slot = isFull ? node.fullSlot( bit ) : node.innerSlot( bit );
   if( bitmap >> bit & 1 ) return slot;
   const unsigned at = slot - node.dataBase;
   if( loneSlot != kNoSlot ) {
      node.dataBase = loneSlot;   // the block of the former lone node, with one element, becomes the block of this node
   } else {
      node.dataBase = data_.grow( node.dataBase, node.dataCount(), at, nullptr );
   }
   bitmap |= uint64_t( 1 ) << bit;
   return node.dataBase + at;
}

// Goes down the path of a prefix. Calls `onNode( node, innerHits, fullHit, v, depth )` for each ordinary node, with the bits of the
// containing prefixes; false ends the descent. Calls `onLone( node )` for a lone node that contains the prefix; this is the last call.
template <class OnNode, class OnLone>
void PatriciaTrieWithNodeData::descend( Bits128 bits, unsigned length, OnNode && onNode, OnLone && onLone ) const {
   const TrieNode * node = nodes_.data();
   Bits128 rest = bits;   // the bits from `depth` on
   for( unsigned depth = 0;; depth += kStride ) {
      if( node->lone() ) {
         if( node->loneLength() <= length && samePrefix( node->loneBits(), bits, node->loneLength() ) ) onLone( *node );
         return;
      }
      const unsigned v = static_cast<unsigned>( rest.high >> ( 64 - kStride ) );
      const unsigned left = length - depth;
      const uint64_t hits = node->inner & kInnerPath[ v ];
      if( left < kStride ) {
         onNode( *node, hits & innerUpTo( left ), false, v, depth );
         return;
      }
      if( !onNode( *node, hits, node->full >> v & 1, v, depth ) || left == kStride ) return;
      const uint64_t upToV = node->child << ( 63 - v );   // the highest bit is v's
      if( !( upToV >> 63 ) ) return;
      node = nodes_.data() + ( node->childBase + static_cast<unsigned>( std::popcount( upToV ) ) - 1 );
      rest = after( rest );
   }
}

void PatriciaTrieWithNodeData::ancestorWalk( const Ferule::IpGenPrefix & prefix, PatriciaTrieWalkCb * walker ) const {
   if( prefix.af() != af_ ) return;
   if( source_ ) return source_->ancestorWalk( prefix, walker );
   auto handle = [ & ]( Slot slot, unsigned length ) {
      return walker->handlePrefixData( Ferule::IpGenPrefix( prefix.ipGenAddr(), uint8_t( length ) ).subnet(), data_[ slot ].get() );
   };
   descend(
      prefix.ipGenAddr().bits(), prefix.length(),
      [ & ]( const TrieNode & node, uint64_t hits, bool fullHit, unsigned v, unsigned depth ) {
         for( ; hits; hits &= hits - 1 ) {
            const unsigned bit = static_cast<unsigned>( std::countr_zero( hits ) );
            if( !handle( node.innerSlot( bit ), depth + innerLength( bit ) ) ) return false;
         }
         return !fullHit || handle( node.fullSlot( v ), depth + kStride );
      },
      [ & ]( const TrieNode & lone ) { handle( lone.dataBase, lone.loneLength() ); } );
}

// A table of random prefixes needs two nodes per IPv4 prefix and up to eight per IPv6 prefix; an internet table needs far fewer.
void PatriciaTrieWithNodeData::reserve( size_t prefixes ) {
   nodes_.reserve( ( af_ == Ferule::AddressFamily::ipv6 ? 8 : 2 ) * prefixes + 1 );
   data_.reserve( prefixes + prefixes / 8 );   // free blocks take some of the space
}

void PatriciaTrieWithNodeData::trim() {
   nodes_.trim();
   data_.trim();
}

void PatriciaTrieWithNodeData::compact() {
   PatriciaTrieWithNodeData fresh( af_, false );
   fresh.nodes_.reserve( nodes_.size() + 1 );   // no move below allocates, so none can fail
   fresh.data_.reserve( data_.size() );
   const TrieNode root = fresh.takeFrom( *this, nodes_[ 0 ] );
   fresh.nodes_[ 0 ] = root;
   std::swap( nodes_, fresh.nodes_ );
   std::swap( data_, fresh.data_ );
   nodes_.shrinkToFit();
   data_.shrinkToFit();
   ++version_;
}

// Moves the subtree of a node of another trie into this trie. Returns the node with the indices of this trie.
PatriciaTrieWithNodeData::TrieNode PatriciaTrieWithNodeData::takeFrom( PatriciaTrieWithNodeData & from, const TrieNode & node ) noexcept {
   TrieNode taken = node;
   const unsigned dataCount = node.lone() ? 1 : node.dataCount();
   taken.dataBase = dataCount ? data_.allocate( dataCount ) : 0;
   for( unsigned i = 0; i < dataCount; ++i ) data_[ taken.dataBase + i ] = std::move( from.data_[ node.dataBase + i ] );
   if( node.lone() ) return taken;
   const unsigned childCount = node.childCount();
   taken.childBase = childCount ? nodes_.allocate( childCount ) : 0;
   for( unsigned i = 0; i < childCount; ++i ) nodes_[ taken.childBase + i ] = takeFrom( from, from.nodes_[ node.childBase + i ] );
   return taken;
}

}   // namespace Routing
