#include "substrate/quoin/BlockMemory.h"

#include <atomic>
#include <cstdint>
#include <new>
#include <utility>

// Where addresses are checked, each piece is to be known by itself.
#if defined( __SANITIZE_ADDRESS__ )
#define QUOIN_PIECES_FROM_HEAP 1
#elif defined( __has_feature )
#if __has_feature( address_sanitizer )
#define QUOIN_PIECES_FROM_HEAP 1
#endif
#endif

namespace Quoin {

#ifdef QUOIN_PIECES_FROM_HEAP

void * blockMemory( size_t bytes ) {
   if( bytes > PTRDIFF_MAX ) throw std::bad_alloc();
   return ::operator new( bytes );
}
void blockMemoryDel( void * memory ) noexcept {
   ::operator delete( memory );
}

#else

namespace {

constexpr size_t kAlignment = alignof( std::max_align_t );
constexpr size_t kBlockBytes = 4096 - kAlignment;   // a page, with what the heap keeps of its own

// What stands at the front of a block. Behind it come the pieces, each with the address of its block in front.
struct Block {
   std::atomic<uint32_t> uses{ 1 };   // the pieces, and whoever cuts them
   uint32_t cut = sizeof( Block );    // bytes, this one included

   void decUse() noexcept {
      if( uses.fetch_sub( 1, std::memory_order_acq_rel ) == 1 ) ::operator delete( this );
   }
   void * piece( size_t bytes ) noexcept {
      auto * const front = new( reinterpret_cast<std::byte *>( this ) + cut ) Block *( this );
      cut += static_cast<uint32_t>( bytes );
      uses.fetch_add( 1, std::memory_order_relaxed );
      return front + 1;
   }
};
static_assert( ( sizeof( Block ) + sizeof( Block * ) ) % kAlignment == 0 );   // so that each piece is aligned

Block * newBlock( size_t bytes ) {
   return new( ::operator new( bytes ) ) Block;
}

// What a thread cuts from.
struct Current {
   Block * block = nullptr;
   ~Current();
   void blockIs( Block * next ) noexcept {
      if( Block * last = std::exchange( block, next ) ) last->decUse();
   }
};
thread_local Current current;
constinit thread_local bool currentIsGone = false;   // at a thread's end, where others' destructors still run

Current::~Current() {
   blockIs( nullptr );
   currentIsGone = true;
}

}   // namespace

void * blockMemory( size_t bytes ) {
   if( bytes > PTRDIFF_MAX ) throw std::bad_alloc();
   const size_t piece = ( bytes + sizeof( Block * ) + kAlignment - 1 ) / kAlignment * kAlignment;
   if( piece > kBlockBytes / 8 || currentIsGone ) {   // has a block to itself
      Block * const own = newBlock( sizeof( Block ) + piece );
      void * const memory = own->piece( piece );
      own->decUse();
      return memory;
   }
   if( !current.block || current.block->cut + piece > kBlockBytes ) current.blockIs( newBlock( kBlockBytes ) );
   return current.block->piece( piece );
}

void blockMemoryDel( void * memory ) noexcept {
   if( memory ) ( *( static_cast<Block **>( memory ) - 1 ) )->decUse();
}

#endif

}   // namespace Quoin
