/// @file substrate/zeugma/DedupHandle.h
/// The base of an object that exists once per content. A table, which substrate/zeugma/Dedup.h has, finds the object by its content.
/// Ownership: the table holds the object weakly; the object keeps its table alive.
/// Threading: as the table's. Invariant: while an object is in a table, its content does not change.
#pragma once

#include <cstdint>

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

}   // namespace Zeugma
