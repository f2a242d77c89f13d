/// @file substrate/lists/PrefixListRowsEditor.h
/// The trie of a prefix list while it is edited. PrefixListBuilder edits it; publish() creates the generation (PrefixListRows) that readers
/// use.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "substrate/lists/PrefixListRows.h"

namespace Routing::RouteMap {

/// A trie under construction. What a published generation has is copied before it is changed: the blocks on the path to the prefix.
/// Cost of an edit: that of the path, and of the entries at the prefixes of one node, whatever the size of the list.
/// Threading: one thread; other threads may use the published generations.
class ROUTEPOLICY_API PrefixListRowsEditor {
 public:
   using Bits128 = Ferule::Bits128;
   /// A row and its prefix.
   struct Item {
      Bits128 bits;   // no bit after the length is set
      unsigned length;
      PrefixRow row;
      friend bool operator==( const Item &, const Item & ) = default;
   };

   explicit PrefixListRowsEditor( Ferule::AddressFamily af );
   ~PrefixListRowsEditor();
   PrefixListRowsEditor( const PrefixListRowsEditor & ) = delete;
   PrefixListRowsEditor & operator=( const PrefixListRowsEditor & ) = delete;

   /// Adds a row. Rows of one prefix may have the same number. Errors: std::bad_alloc, and std::length_error if the rows in one node need more
   /// than 2^24 words, which is at least 5.5 million rows; the rows are unchanged.
   void rowIs( const Item & item );
   /// Removes a row that is equal to this one; false if it does not exist. Errors: std::bad_alloc, and the rows are unchanged.
   bool rowDel( const Item & item );
   /// Fills an editor without rows, and lays out the trie in the order of a walk. `item( i )` for 0 to count - 1 is in ascending order of
   /// prefixes, and gives the rows of a prefix in ascending order of their numbers. Errors: as rowIs(), and there are no rows.
   void rowsAre( size_t count, const std::function<Item( size_t )> & item );

   /// The present rows as a generation. Errors: std::bad_alloc.
   Quoin::Ptr<const PrefixListRows> publish();

 private:
   using Node = PrefixRowNode;
   using Items = std::vector<Item>;
   // Elements of a block to leave out and to make room for, at an index.
   struct Splice {
      unsigned at = 0;
      unsigned out = 0;
      unsigned in = 0;
   };
   void freeBlock( void * memory ) noexcept;
   uint64_t * allocate( unsigned children, unsigned slots, unsigned runWords );
   void retire( const Node & node ) noexcept;
   void replace( Node & node, const Node & next ) noexcept;
   void makeWritable( Node & node );
   void splice( Node & node, const Node & bitmaps, Splice children, Splice slots, Splice runs );
   void slotIs( Node & node, const Node & bitmaps, Splice children, unsigned place, unsigned depth, const Items & items );

   static Items itemsOf( const Node & node, unsigned place, unsigned depth, Bits128 bits );
   void placeIs( Node & node, unsigned place, unsigned depth, const Items & items );
   void widen( Node & node, unsigned v, unsigned depth, const Items & items );
   bool narrow( Node & node, unsigned v, unsigned depth, Bits128 bits );
   size_t build( Node & node, size_t from, size_t to, unsigned depth, const std::function<Item( size_t )> & item );
   void deleteTrie( Node & node ) noexcept;

   const Ferule::AddressFamily af_;
   Quoin::Ptr<PrefixRowLineage> lineage_;
   Node root_;
   PrefixListRows::Counts counts_;
   uint64_t generation_ = 1;   // the one that publish() makes next
   static constexpr unsigned kFreedTogether = 1024;
   unsigned freedBlocks_ = 0;   // of the present generation
   RetiredBlocks retired_;      // blocks of published generations that the present rows do not have
};

}   // namespace Routing::RouteMap
