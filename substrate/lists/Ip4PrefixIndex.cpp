#include "substrate/lists/Ip4PrefixIndex.h"

namespace Routing::RouteMap {

// A block for a node with that many elements. It comes from the smallest free block that is large enough, whose rest stays free.
uint32_t Ip4PrefixIndex::allocate( unsigned elements ) {
   const unsigned words = 1 + elements;
   const uint64_t fitting = sizes_ >> words << words;
   if( !fitting ) {
      const size_t block = words_.extend( words );
      QUOIN_ASSERT( block < kNode - kMostWords, "block < kNode" );
      return static_cast<uint32_t>( block );
   }
   const unsigned size = static_cast<unsigned>( std::countr_zero( fitting ) );
   const uint32_t block = free_[ size ];
   free_[ size ] = words_[ block ];
   if( free_[ size ] == kNoWord ) sizes_ &= ~( uint64_t( 1 ) << size );
   if( size > words ) free( block + words, size - words );
   return block;
}

void Ip4PrefixIndex::free( uint32_t block, unsigned words ) noexcept {
   words_[ block ] = free_[ words ];
   free_[ words ] = block;
   sizes_ |= uint64_t( 1 ) << words;
}

// Moves a node to a larger block, with a new element at a place. Returns the index of the block.
uint32_t Ip4PrefixIndex::grow( uint32_t node, unsigned place, uint32_t element ) {
   const unsigned words = 1 + static_cast<unsigned>( std::popcount( words_[ node ] ) );
   const uint32_t to = allocate( words );
   const uint32_t * const old = &words_[ node ];
   uint32_t * const block = &words_[ to ];
   std::copy_n( old, place, block );
   block[ place ] = element;
   std::copy_n( old + place, words - place, block + place + 1 );
   free( node, words );
   return to;
}

}   // namespace Routing::RouteMap
