/// @file substrate/zeugma/Dedup.h
/// Objects that exist once per content.
/// Ownership: a table holds its objects weakly; each leaves when its last user goes. The object keeps its table alive.
/// Threading: one thread, but for the last release of an object where its table is made for that.
/// Invariant: no two objects of a table compare equal.
#pragma once

#include <cstdint>
#include <functional>
#include <mutex>
#include <unordered_map>

#include "routepolicy_export.h"
#include "substrate/zeugma/DedupHandle.h"

namespace Zeugma {

class ROUTEPOLICY_API DedupHashTable : public Quoin::Node {
 public:
   using Allocator = std::function<Quoin::Ptr<DedupHandleBase>()>;
   ~DedupHashTable() override;

   /// The object of equal content if there is one, else `handle`, which stands in the table from then on. An object of another
   /// table must not come here.
   virtual Quoin::Ptr<DedupHandleBase> dedup( const Quoin::Ptr<DedupHandleBase> & handle ) = 0;
   /// The object of that content if there is one, else what `allocator` makes, entered. A hit allocates nothing. What the
   /// allocator itself has entered under that content comes first.
   /// `hash` is what the object's hash() gives.
   virtual Quoin::Ptr<DedupHandleBase> findOrDedup( const DedupContentHandle & content, uint32_t hash, const Allocator & allocator ) = 0;
   virtual size_t count() const = 0;

 private:
   friend class DedupHandleBase;
   virtual void remove( const DedupHandleBase * handle ) = 0;
};

/// The table over a hash set.
class ROUTEPOLICY_API DedupHashTableUnorderedSet final : public DedupHashTable {
 public:
   /// `shared`: the last user of an object may go on any thread; look-ups and leaving then take a lock. Otherwise all of it
   /// happens on one thread.
   explicit DedupHashTableUnorderedSet( bool shared );
   ~DedupHashTableUnorderedSet() override;

   Quoin::Ptr<DedupHandleBase> dedup( const Quoin::Ptr<DedupHandleBase> & handle ) override;
   Quoin::Ptr<DedupHandleBase> findOrDedup( const DedupContentHandle & content, uint32_t hash, const Allocator & allocator ) override;
   size_t count() const override;

 private:
   void remove( const DedupHandleBase * handle ) override;
   template <class IsEq>
   Quoin::Ptr<DedupHandleBase> find( uint32_t hash, IsEq isEq );
   void enter( uint32_t hash, const Quoin::Ptr<DedupHandleBase> & handle );
   std::unique_lock<std::recursive_mutex> lock() const;

   std::unordered_multimap<uint32_t, DedupHandleBase *> byHash_;
   mutable std::recursive_mutex mutex_;   // recursive: an allocator may drop an object of this very table
   bool shared_;
};

}   // namespace Zeugma
