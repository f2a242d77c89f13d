/// @file substrate/routemap/PrefixListBuilder.h
/// Checks configured prefix list entries and compiles them into a PrefixListStatus. PrefixListProducer uses it and publishes the status.
#pragma once

#include <cstdint>
#include <map>
#include <optional>

#include "routepolicy_export.h"
#include "substrate/lists/PrefixListStatus.h"

namespace Routing::RouteMap {

/// One entry as configured. Without bounds, it matches only its own prefix. With `ge` alone, it matches contained prefixes of length `ge`
/// up to the bits of the family. With `le` alone, it matches contained prefixes from its own length up to `le`. With both, it matches
/// contained prefixes of length `ge` to `le`.
struct ROUTEPOLICY_API PrefixListEntry {
   uint32_t seqno = 0;
   Acl::MatchPermit action = Acl::MatchPermit::permit;
   Ferule::IpGenPrefix prefix;
   std::optional<uint32_t> ge;
   std::optional<uint32_t> le;

   /// The entry as text, such as "10 permit 10.0.0.0/8 ge 16 le 24".
   Quoin::String toStrep() const;
};

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

/// Collects the entries of one list, in any order. Threading: one thread.
class ROUTEPOLICY_API PrefixListBuilder {
 public:
   PrefixListBuilder( const Quoin::String & name, Ferule::AddressFamily af ) : name_( name ), af_( af ) {}

   /// Adds an entry. If the entry is refused, returns the reason and does not change the list.
   [[nodiscard]] std::optional<PrefixListError> entryIs( const PrefixListEntry & entry );
   /// Removes the entry with that sequence number. Returns false if it does not exist.
   bool entryDel( uint32_t seqno ) { return entries_.erase( seqno ) != 0; }

   size_t count() const noexcept { return entries_.size(); }
   /// The entries in ascending order of sequence number.
   const std::map<uint32_t, PrefixListEntry> & entries() const noexcept { return entries_; }

   /// Compiles the present entries into a new status. The builder can be used further.
   Quoin::Ptr<const PrefixListStatus> build() const;

 private:
   std::optional<PrefixListError::Reason> reasonAgainst( const PrefixListEntry & entry ) const;

   Quoin::String name_;
   Ferule::AddressFamily af_;
   std::map<uint32_t, PrefixListEntry> entries_;
};

}   // namespace Routing::RouteMap
