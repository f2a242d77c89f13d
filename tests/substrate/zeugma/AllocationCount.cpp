#include "tests/substrate/zeugma/AllocationCount.h"

#include <cstdlib>
#include <new>

namespace {

constinit thread_local size_t count = 0;

void * allocate( size_t size ) noexcept {
   ++count;
   return std::malloc( size ? size : 1 );
}
void * allocateOrThrow( size_t size ) {
   if( void * p = allocate( size ) ) return p;
   throw std::bad_alloc();
}

}   // namespace

size_t allocationCount() noexcept {
   return count;
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
void operator delete( void * p ) noexcept {
   std::free( p );
}
void operator delete[]( void * p ) noexcept {
   std::free( p );
}
void operator delete( void * p, size_t ) noexcept {
   std::free( p );
}
void operator delete[]( void * p, size_t ) noexcept {
   std::free( p );
}
void operator delete( void * p, const std::nothrow_t & ) noexcept {
   std::free( p );
}
void operator delete[]( void * p, const std::nothrow_t & ) noexcept {
   std::free( p );
}
