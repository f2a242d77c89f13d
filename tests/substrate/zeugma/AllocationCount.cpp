#include "tests/substrate/zeugma/AllocationCount.h"

#include <cstdlib>
#include <new>

namespace {

constinit thread_local size_t count = 0;
constinit thread_local size_t failing = 0;   // calls until one fails, that one included; 0 for none

void * allocate( size_t size ) noexcept {
   ++count;
   if( failing != 0 && --failing == 0 ) return nullptr;
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

AllocationFailure::AllocationFailure( size_t n ) noexcept {
   failing = n + 1;
}
AllocationFailure::~AllocationFailure() {
   failing = 0;
}
bool AllocationFailure::happened() const noexcept {
   return failing == 0;
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
