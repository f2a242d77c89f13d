/// @file substrate/routemap/NumberedEntries.h
/// The configured entries of a prefix list, by sequence number. PrefixListBuilder holds them beside the trie, which knows prefixes only.
/// Memory: 12 bytes for an IPv4 entry and 24 for an IPv6 entry that are added in the order of their numbers, up to twice as
/// much in another order, and up to four times after removals.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "routepolicy_export.h"
#include "substrate/routemap/PrefixListEntry.h"

namespace Routing::RouteMap {

/// A sorted sequence in pieces of at most 512 entries. An insertion or removal moves entries of one piece; one in some hundreds also moves the
/// row of pieces. Iterators give entries by value. Threading: one writer, or any number of readers.
class ROUTEPOLICY_API NumberedEntries {
 public:
   explicit NumberedEntries( Ferule::AddressFamily af );

   size_t size() const noexcept { return size_; }
   bool empty() const noexcept { return size_ == 0; }
   bool contains( uint32_t seqno ) const noexcept { return find( seqno ).has_value(); }
   /// The entry with that number; nothing if it does not exist.
   std::optional<PrefixListEntry> find( uint32_t seqno ) const noexcept;
   /// Adds an entry whose number is not there yet. Its bounds are at most 255. Errors: std::bad_alloc, and nothing has changed.
   void insert( const PrefixListEntry & entry );
   /// Removes an entry; false if no entry has that number.
   bool erase( uint32_t seqno ) noexcept;

   /// The positions of all entries, in ascending order of their prefixes, then of their numbers; for entry(). Valid until the next change.
   /// Errors: std::bad_alloc.
   using Position = const uint32_t *;
   std::vector<Position> inOrderOfPrefixes() const;
   PrefixListEntry entry( Position position ) const noexcept;

   class Iterator;
   Iterator begin() const noexcept;
   Iterator end() const noexcept;

 private:
   using Piece = std::vector<uint32_t>;   // entries of width_ words each: the number, the lengths and flags, the address
   static constexpr size_t kMost = 512;   // entries of a piece

   size_t pieceOf( uint32_t seqno ) const noexcept;
   size_t indexIn( const Piece & piece, uint32_t seqno ) const noexcept;
   bool join( size_t at ) noexcept;
   void write( const PrefixListEntry & entry, uint32_t * words ) const noexcept;

   const Ferule::AddressFamily af_;
   const size_t width_;
   size_t size_ = 0;
   std::vector<Piece> pieces_;   // none is empty
};

/// Goes through the entries in ascending order of their numbers.
class NumberedEntries::Iterator {
 public:
   Iterator( const NumberedEntries & entries, size_t piece ) noexcept : entries_( &entries ), piece_( piece ) {}
   PrefixListEntry operator*() const noexcept { return entries_->entry( entries_->pieces_[ piece_ ].data() + word_ ); }
   Iterator & operator++() noexcept {
      word_ += entries_->width_;
      if( word_ == entries_->pieces_[ piece_ ].size() ) {
         ++piece_;
         word_ = 0;
      }
      return *this;
   }
   friend bool operator==( const Iterator & a, const Iterator & b ) noexcept { return a.piece_ == b.piece_ && a.word_ == b.word_; }

 private:
   const NumberedEntries * entries_;
   size_t piece_;
   size_t word_ = 0;
};

inline NumberedEntries::Iterator NumberedEntries::begin() const noexcept {
   return { *this, 0 };
}
inline NumberedEntries::Iterator NumberedEntries::end() const noexcept {
   return { *this, pieces_.size() };
}

}   // namespace Routing::RouteMap
