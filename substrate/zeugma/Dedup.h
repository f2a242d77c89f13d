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
#include "substrate/quoin/Ptr.h"

namespace Zeugma {

class DedupHashTable;

/// A reference to the content that is looked for, before there is an object of it. Only the class that supplied the table's
/// objects looks inside.
class DedupContentHandle {
 public:
   template <class Content>
   explicit DedupContentHandle( const Content & content ) noexcept : content_( &content ) {}
   template <class Content>
   const Content & content() const noexcept {
      return *static_cast<const Content *>( content_ );
   }

 private:
   const void * content_;
};

/// A derived class says what its content is: hash(), and comparison with another object and with bare content, all three in
/// agreement. Content never changes while the object is in a table.
class ROUTEPOLICY_API DedupHandleBase : public Quoin::Node {
 public:
   DedupHandleBase() noexcept;
   ~DedupHandleBase() override;
   void lastUserGone() const override;

   virtual uint32_t hash() const = 0;
   virtual bool compare( const DedupHandleBase * other ) const = 0;   // true when the contents are equal
   virtual bool compareByContent( const DedupContentHandle & content ) const = 0;
   /// The order of contents, for classes that have one. The defaults order by identity, and no object below any content.
   virtual bool compareLessThan( const DedupHandleBase * other ) const;
   virtual bool compareLessThanByContent( const DedupContentHandle & content ) const;
   virtual DedupHashTable * getDedupHashTable() const;
   /// For the table that enters the object; the one that it stood in so far loses it.
   virtual void setDedupHashTable( const Quoin::Ptr<DedupHashTable> & table );

   bool isDeduped() const noexcept { return table_ != nullptr; }
   /// Leaves the table; nothing happens outside of one. lastUserGone() calls it.
   void doRemoveFromDedupTable() const;

 private:
   mutable Quoin::Ptr<DedupHashTable> table_;
};

/// Ends the process with "isDeduped()" if `handle` stands in no table. The second form is for use through a counted handle.
ROUTEPOLICY_API void assertIsDeduped( const DedupHandleBase & handle );
ROUTEPOLICY_API void assertIsDeduped( const Quoin::Ptr<const DedupHandleBase> & handle );
/// Turn the check off: everywhere, or only where it is made through a counted handle. For tests that build objects by hand.
ROUTEPOLICY_API extern bool dedupHandleDisableIsDedupedAssert;
ROUTEPOLICY_API extern bool dedupHandleDisableSmartPointerOperations;

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
