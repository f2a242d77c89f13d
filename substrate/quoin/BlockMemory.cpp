#include "substrate/quoin/BlockMemory.h"

#include <atomic>
#include <cstdint>
#include <new>
#include <utility>

// The address sanitizer must know each piece by itself.
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
constexpr size_t kBlockBytes = 4096 - kAlignment;   // a page, less the heap's own header

// The header of a block. The pieces follow it; each piece has the address of its block in front.
struct Block {
   std::atomic<uint32_t> uses{ 1 };   // one per piece, and one of the thread that cuts the block
   uint32_t cut = sizeof( Block );    // bytes in use, this header included

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

// The block that a thread cuts its pieces from.
struct Current {
   Block * block = nullptr;
   ~Current();
   void blockIs( Block * next ) noexcept {
      if( Block * last = std::exchange( block, next ) ) last->decUse();
   }
};
thread_local Current current;
constinit thread_local bool currentIsGone = false;   // true at a thread's end, when other destructors may still allocate

Current::~Current() {
   blockIs( nullptr );
   currentIsGone = true;
}

}   // namespace

void * blockMemory( size_t bytes ) {
   if( bytes > PTRDIFF_MAX ) throw std::bad_alloc();
   const size_t piece = ( bytes + sizeof( Block * ) + kAlignment - 1 ) / kAlignment * kAlignment;
   if( piece > kBlockBytes / 8 || currentIsGone ) {   // the piece has a block of its own
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
