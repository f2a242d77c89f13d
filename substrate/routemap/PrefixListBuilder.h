/// @file substrate/routemap/PrefixListBuilder.h
/// Turns configured prefix list entries into a PrefixListStatus.
#pragma once

#include <cstdint>
#include <map>
#include <optional>

#include "routepolicy_export.h"
#include "substrate/lists/PrefixListStatus.h"

namespace Routing::RouteMap {

/// One entry as it is configured. Without bounds it speaks of its own prefix alone; with `ge` only, of lengths up to the
/// family's; with `le` only, of lengths from its own.
struct ROUTEPOLICY_API PrefixListEntry {
   uint32_t seqno = 0;
   Acl::MatchPermit action = Acl::MatchPermit::permit;
   Ferule::IpGenPrefix prefix;
   std::optional<uint32_t> ge;
   std::optional<uint32_t> le;

   /// "10 permit 10.0.0.0/8 ge 16 le 24".
   Quoin::String toStrep() const;
};

/// Why an entry cannot be.
struct ROUTEPOLICY_API PrefixListError {
   enum class Reason : uint8_t {
      wrongFamily,         // the prefix is not of the list's family
      prefixTooLong,       // the prefix's length is beyond the family
      hostBits,            // the prefix has bits behind its length
      geBelowLength,       // ge is below the prefix's length
      leBelowGe,           // le is below ge, or below the prefix's length without one
      boundBeyondFamily,   // ge or le is greater than the family's length
      duplicateSeqno       // the list has an entry of this number
   };
   Reason reason;
   Quoin::String listName;
   PrefixListEntry entry;

   /// One line that names the list, the entry and the reason.
   Quoin::String toStrep() const;
};

/// Collects the entries of one list, in any order. Threading: one thread.
class ROUTEPOLICY_API PrefixListBuilder {
 public:
   PrefixListBuilder( const Quoin::String & name, Ferule::AddressFamily af ) : name_( name ), af_( af ) {}

   /// Takes an entry in; or says why it cannot be, and leaves the list as it was.
   [[nodiscard]] std::optional<PrefixListError> entryIs( const PrefixListEntry & entry );
   /// False when there is no entry of that number.
   bool entryDel( uint32_t seqno ) { return entries_.erase( seqno ) != 0; }

   size_t count() const noexcept { return entries_.size(); }
   /// The entries in ascending order of number.
   const std::map<uint32_t, PrefixListEntry> & entries() const noexcept { return entries_; }

   /// A new status of the present entries. The builder can go on.
   Quoin::Ptr<const PrefixListStatus> build() const;

 private:
   std::optional<PrefixListError::Reason> reasonAgainst( const PrefixListEntry & entry ) const;

   Quoin::String name_;
   Ferule::AddressFamily af_;
   std::map<uint32_t, PrefixListEntry> entries_;
};

}   // namespace Routing::RouteMap
