#include "substrate/zeugma/Dedup.h"

#include <functional>

#include "substrate/plinth/Exception.h"
#include "substrate/quoin/Assert.h"

namespace Zeugma {

bool dedupHandleDisableIsDedupedAssert = false;
bool dedupHandleDisableSmartPointerOperations = false;

void assertIsDeduped( const DedupHandleBase & handle ) {
   QUOIN_ASSERT( dedupHandleDisableIsDedupedAssert || handle.isDeduped(), "isDeduped()" );
}

void assertIsDeduped( const Quoin::Ptr<const DedupHandleBase> & handle ) {
   if( handle && !dedupHandleDisableSmartPointerOperations ) assertIsDeduped( *handle );
}

DedupHandleBase::DedupHandleBase() noexcept = default;
DedupHandleBase::~DedupHandleBase() = default;

void DedupHandleBase::lastUserGone() const {
   doRemoveFromDedupTable();
}

bool DedupHandleBase::compareLessThan( const DedupHandleBase * other ) const {
   return std::less<const DedupHandleBase *>()( this, other );
}

bool DedupHandleBase::compareLessThanByContent( const DedupContentHandle & ) const {
   return false;
}

DedupHashTable * DedupHandleBase::getDedupHashTable() const {
   return table_.get();
}

void DedupHandleBase::setDedupHashTable( const Quoin::Ptr<DedupHashTable> & table ) {
   if( table == table_ ) return;
   doRemoveFromDedupTable();
   table_ = table;
}

void DedupHandleBase::doRemoveFromDedupTable() const {
   if( auto table = std::move( table_ ) ) table->remove( this );
}

DedupHashTable::~DedupHashTable() = default;

DedupHashTableUnorderedSet::DedupHashTableUnorderedSet( bool shared ) : shared_( shared ) {}
DedupHashTableUnorderedSet::~DedupHashTableUnorderedSet() = default;   // the table is empty: every object in it holds a use of it

std::unique_lock<std::recursive_mutex> DedupHashTableUnorderedSet::lock() const {
   return shared_ ? std::unique_lock( mutex_ ) : std::unique_lock( mutex_, std::defer_lock );
}

template <class IsEq>
Quoin::Ptr<DedupHandleBase> DedupHashTableUnorderedSet::find( uint32_t hash, IsEq isEq ) {
   auto [ i, end ] = byHash_.equal_range( hash );
   for( ; i != end; ++i )   // skips an object whose last use is just being dropped on another thread
      if( isEq( i->second ) && i->second->incUseUnlessGone() ) return Quoin::Ptr<DedupHandleBase>::adopt( i->second );
   return nullptr;
}

void DedupHashTableUnorderedSet::enter( uint32_t hash, const Quoin::Ptr<DedupHandleBase> & handle ) {
   QUOIN_ASSERT( !handle->isDeduped(), "!isDeduped()" );
   byHash_.emplace( hash, handle.get() );
   handle->setDedupHashTable( Quoin::Ptr<DedupHashTable>( this ) );
}

Quoin::Ptr<DedupHandleBase> DedupHashTableUnorderedSet::dedup( const Quoin::Ptr<DedupHandleBase> & handle ) {
   if( !handle ) Plinth::throwMutatorArgNullPointerException( "DedupHashTableUnorderedSet::dedup" );
   auto guard = lock();
   const uint32_t hash = handle->hash();
   if( auto found = find( hash, [ & ]( const DedupHandleBase * other ) { return handle->compare( other ); } ) ) return found;
   enter( hash, handle );
   return handle;
}

Quoin::Ptr<DedupHandleBase> DedupHashTableUnorderedSet::findOrDedup( const DedupContentHandle & content, uint32_t hash,
                                                                     const Allocator & allocator ) {
   auto guard = lock();
   const auto isContent = [ & ]( const DedupHandleBase * other ) { return other->compareByContent( content ); };
   if( auto found = find( hash, isContent ) ) return found;
   auto made = allocator();
   if( auto found = find( hash, isContent ) ) return found;   // the allocator itself has entered an object
   if( !made ) Plinth::throwMutatorArgNullPointerException( "DedupHashTableUnorderedSet::findOrDedup" );
   enter( hash, made );
   return made;
}

size_t DedupHashTableUnorderedSet::count() const {
   auto guard = lock();
   return byHash_.size();
}

void DedupHashTableUnorderedSet::remove( const DedupHandleBase * handle ) {
   auto guard = lock();
   auto [ i, end ] = byHash_.equal_range( handle->hash() );
   for( ; i != end; ++i ) {
      if( i->second != handle ) continue;
      byHash_.erase( i );
      return;
   }
}

}   // namespace Zeugma
