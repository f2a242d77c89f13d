/// @file substrate/routemap/PrefixListBuilder.h
/// Checks configured prefix list entries and compiles them into a PrefixListStatus. PrefixListProducer uses it and publishes the status.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "routepolicy_export.h"
#include "substrate/lists/PrefixListRowsEditor.h"
#include "substrate/lists/PrefixListStatus.h"
#include "substrate/routemap/NumberedEntries.h"

namespace Routing::RouteMap {

/// The reason why an entry is refused.
struct ROUTEPOLICY_API PrefixListError {
   enum class Reason : uint8_t {
      wrongFamily,         // the prefix is not of the list's family
      prefixTooLong,       // the length of the prefix is greater than the bits of the family
      hostBits,            // the prefix has 1 bits after its length
      geBelowLength,       // `ge` is less than the length of the prefix
      leBelowGe,           // `le` is less than `ge`, or, without `ge`, less than the length of the prefix
      boundBeyondFamily,   // `ge` or `le` is greater than the bits of the family
      duplicateSeqno       // the list has an entry with this sequence number already
   };
   Reason reason;
   Quoin::String listName;
   PrefixListEntry entry;

   /// One line that names the list, the entry and the reason.
   Quoin::String toStrep() const;
};

/// Collects the entries of one list, in any order. An edit changes its own part of the list, and the statuses that were built share the rest:
/// its cost does not depend on the size of the list, and that of build() is small. If there are more edits since the last build() than the
/// list had entries, as when it is filled, build() lays out the whole list, which is cheaper, and makes look-ups faster.
/// Threading: one thread.
class ROUTEPOLICY_API PrefixListBuilder {
 public:
   PrefixListBuilder( const Quoin::String & name, Ferule::AddressFamily af ) : name_( name ), af_( af ), entries_( af ) {}

   /// Adds an entry. If the entry is refused, returns the reason and does not change the list. Errors: std::bad_alloc, and
   /// std::length_error for more than five million entries at one prefix or near it; the list is unchanged.
   [[nodiscard]] std::optional<PrefixListError> entryIs( const PrefixListEntry & entry );
   /// Removes the entry with that sequence number. Returns false if it does not exist. Errors: std::bad_alloc; the list
   /// is unchanged.
   bool entryDel( uint32_t seqno );

   size_t count() const noexcept { return entries_.size(); }
   /// The entries in ascending order of sequence number.
   const NumberedEntries & entries() const noexcept { return entries_; }

   /// Compiles the present entries into a new status. The builder can be used further. Errors: as entryIs().
   Quoin::Ptr<const PrefixListStatus> build();

 private:
   std::optional<PrefixListError::Reason> reasonAgainst( const PrefixListEntry & entry ) const;
   void noteEdit() noexcept;
   void layOut();

   Quoin::String name_;
   Ferule::AddressFamily af_;
   NumberedEntries entries_;
   std::unique_ptr<PrefixListRowsEditor> rows_;   // null: the next build() lays out all entries
   size_t built_ = 0;                             // entries at the last build()
   size_t edits_ = 0;                             // since then
};

}   // namespace Routing::RouteMap
