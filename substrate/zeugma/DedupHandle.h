/// @file substrate/zeugma/DedupHandle.h
/// The base of an object that exists once per content. A table (substrate/zeugma/Dedup.h) finds the object by its content.
/// Ownership: the table holds the object weakly; the object keeps its table alive.
/// Threading: that of the table. Invariant: while an object is in a table, its content does not change.
#pragma once

#include <cstdint>

#include "routepolicy_export.h"
#include "substrate/quoin/Ptr.h"

namespace Zeugma {

class DedupHashTable;

/// A reference to the content of a look-up, for which an object may not exist yet. Only the class of the table's objects reads the
/// content.
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

/// A derived class defines its content by three functions that must agree: hash(), compare() and compareByContent().
class ROUTEPOLICY_API DedupHandleBase : public Quoin::Node {
 public:
   DedupHandleBase() noexcept;
   ~DedupHandleBase() override;
   void lastUserGone() const override;

   virtual uint32_t hash() const = 0;
   /// Whether the contents of the two objects are equal.
   virtual bool compare( const DedupHandleBase * other ) const = 0;
   /// Whether the object has that content.
   virtual bool compareByContent( const DedupContentHandle & content ) const = 0;
   /// The order of contents, for classes that have one. By default, objects are ordered by identity, and no object is less than a content.
   virtual bool compareLessThan( const DedupHandleBase * other ) const;
   virtual bool compareLessThanByContent( const DedupContentHandle & content ) const;
   /// The table that holds the object, or null.
   virtual DedupHashTable * getDedupHashTable() const;
   /// Called by the table that enters the object. The object leaves its previous table.
   virtual void setDedupHashTable( const Quoin::Ptr<DedupHashTable> & table );

   /// Whether the object is in a table.
   bool isDeduped() const noexcept { return table_ != nullptr; }
   /// Removes the object from its table, if it is in one. lastUserGone() calls it.
   void doRemoveFromDedupTable() const;

 private:
   mutable Quoin::Ptr<DedupHashTable> table_;
};

/// Ends the process with "isDeduped()" if the object is in no table. The second form takes a counted handle; null is allowed.
ROUTEPOLICY_API void assertIsDeduped( const DedupHandleBase & handle );
ROUTEPOLICY_API void assertIsDeduped( const Quoin::Ptr<const DedupHandleBase> & handle );
/// Switches that turn the check off, for tests that build objects by hand: the first everywhere, the second only for counted handles.
ROUTEPOLICY_API extern bool dedupHandleDisableIsDedupedAssert;
ROUTEPOLICY_API extern bool dedupHandleDisableSmartPointerOperations;

}   // namespace Zeugma
