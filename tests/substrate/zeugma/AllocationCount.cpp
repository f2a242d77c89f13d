#include "tests/substrate/zeugma/AllocationCount.h"

#include <sys/mman.h>

#include <cstdlib>
#include <new>

namespace {

constinit thread_local size_t count = 0;
constinit thread_local size_t failing = 0;   // calls until one fails, that one included; 0 for none

constexpr size_t kProtectableBytes = size_t( 64 ) << 20;
std::byte * protectable = nullptr;                   // of the process: another thread may free what is in it
constinit thread_local size_t protectableUsed = 0;   // 0: this thread does not allocate there

constexpr size_t kAlignment = alignof( std::max_align_t );

constexpr size_t roundedUp( size_t size, size_t alignment ) noexcept {
   return ( size + alignment - 1 ) / alignment * alignment;
}

void * allocate( size_t size, size_t alignment = kAlignment ) noexcept {
   ++count;
   if( failing != 0 && --failing == 0 ) return nullptr;
   if( protectableUsed != 0 ) {
      const size_t place = roundedUp( protectableUsed, alignment );
      protectableUsed = roundedUp( place + size + 1, kAlignment );
      return protectableUsed <= kProtectableBytes ? protectable + place : nullptr;
   }
   if( size == 0 ) size = 1;
   return alignment <= kAlignment ? std::malloc( size ) : std::aligned_alloc( alignment, roundedUp( size, alignment ) );
}
void * allocateOrThrow( size_t size, size_t alignment = kAlignment ) {
   if( void * p = allocate( size, alignment ) ) return p;
   throw std::bad_alloc();
}

void release( void * p ) noexcept {
   if( protectable && p >= protectable && p < protectable + kProtectableBytes ) return;
   std::free( p );
}

}   // namespace

size_t allocationCount() noexcept {
   return count;
}

AllocationFailure::AllocationFailure( size_t n ) noexcept {
   failing = n + 1;
}
AllocationFailure::~AllocationFailure() {
   failing = 0;
}
bool AllocationFailure::happened() const noexcept {
   return failing == 0;
}

ProtectableMemory::ProtectableMemory() {
   void * const memory = mmap( nullptr, kProtectableBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0 );
   if( memory == MAP_FAILED ) throw std::bad_alloc();
   protectable = static_cast<std::byte *>( memory );
   protectableUsed = kAlignment;
}
ProtectableMemory::~ProtectableMemory() {
   protectableUsed = 0;   // the memory stays, since its objects do
}
void ProtectableMemory::readOnlyIs() {
   protectableUsed = 0;
   if( mprotect( protectable, kProtectableBytes, PROT_READ ) != 0 ) std::abort();
}

// All that come in pairs with each other, so that a sanitizer sees no stranger's memory freed.
void * operator new( size_t size ) {
   return allocateOrThrow( size );
}
void * operator new[]( size_t size ) {
   return allocateOrThrow( size );
}
void * operator new( size_t size, const std::nothrow_t & ) noexcept {
   return allocate( size );
}
void * operator new[]( size_t size, const std::nothrow_t & ) noexcept {
   return allocate( size );
}
void * operator new( size_t size, std::align_val_t alignment ) {
   return allocateOrThrow( size, size_t( alignment ) );
}
void operator delete( void * p, std::align_val_t ) noexcept {
   release( p );
}
void operator delete( void * p, size_t, std::align_val_t ) noexcept {
   release( p );
}
void operator delete( void * p ) noexcept {
   release( p );
}
void operator delete[]( void * p ) noexcept {
   release( p );
}
void operator delete( void * p, size_t ) noexcept {
   release( p );
}
void operator delete[]( void * p, size_t ) noexcept {
   release( p );
}
void operator delete( void * p, const std::nothrow_t & ) noexcept {
   release( p );
}
void operator delete[]( void * p, const std::nothrow_t & ) noexcept {
   release( p );
}
