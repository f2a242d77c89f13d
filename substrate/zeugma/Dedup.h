/// @file substrate/zeugma/Dedup.h
/// A table of objects that exist once per content. Two requests for the same content return the same object; symbol tables are such
/// tables.
/// Ownership: a table holds its objects weakly; an object leaves the table with its last use. The object keeps its table alive.
/// Threading: one thread; in a `shared` table, the last use of an object may be dropped on any thread.
/// Invariant: no two objects of a table compare equal.
#pragma once

#include <cstdint>
#include <functional>
#include <mutex>
#include <unordered_map>

#include "routepolicy_export.h"
#include "substrate/zeugma/DedupHandle.h"

namespace Zeugma {

/// The interface of a table.
class ROUTEPOLICY_API DedupHashTable : public Quoin::Node {
 public:
   /// Creates an object with the content of the look-up. Must not return null, unless it has entered such an object itself.
   using Allocator = std::function<Quoin::Ptr<DedupHandleBase>()>;
   ~DedupHashTable() override;

   /// Returns the table's object with the same content as `handle`; if it does not exist, enters `handle` and returns it. An object of
   /// another table is not allowed.
   virtual Quoin::Ptr<DedupHandleBase> dedup( const Quoin::Ptr<DedupHandleBase> & handle ) = 0;
   /// Returns the table's object with that content; if it does not exist, calls `allocator`, enters the new object and returns it. A hit
   /// allocates nothing. If the allocator itself enters an object with that content, this object is returned.
   /// `hash` must equal the hash() of an object with that content.
   virtual Quoin::Ptr<DedupHandleBase> findOrDedup( const DedupContentHandle & content, uint32_t hash, const Allocator & allocator ) = 0;
   /// The number of objects in the table.
   virtual size_t count() const = 0;

 private:
   friend class DedupHandleBase;
   virtual void remove( const DedupHandleBase * handle ) = 0;
};

/// A table on top of a hash table.
class ROUTEPOLICY_API DedupHashTableUnorderedSet final : public DedupHashTable {
 public:
   /// `shared`: the last use of an object may be dropped on any thread; look-up and removal then take a lock. Otherwise one thread does
   /// everything.
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
   mutable std::recursive_mutex mutex_;   // recursive: an allocator may drop an object of this table
   bool shared_;
};

}   // namespace Zeugma
