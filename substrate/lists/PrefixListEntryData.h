/// @file substrate/lists/PrefixListEntryData.h
/// One entry of a prefix list as an object. A walk over the trie of a list hands out these objects, and an agent may derive its own.
#pragma once

#include <cstdint>

#include "routepolicy_export.h"
#include "substrate/acl/MatchPermit.h"
#include "substrate/routing/PatriciaTrieWalkCb.h"

namespace Routing::RouteMap {

/// One entry. It is stored in the trie at its own prefix, and matches contained prefixes whose length is in [ ge, le ].
class ROUTEPOLICY_API PrefixListEntryData : public Routing::PrefixData {
 public:
   /// A bound above 255 is stored as 255, which no prefix length reaches.
   PrefixListEntryData( uint32_t seqno, Acl::MatchPermit permit, uint8_t prefixLength, uint32_t ge, uint32_t le ) noexcept
         : seqno_( seqno ), prefixLength_( prefixLength ), ge_( bound( ge ) ), le_( bound( le ) ), permit_( permit ) {}
   ~PrefixListEntryData() override;

   uint32_t seqno() const noexcept { return seqno_; }
   uint32_t ge() const noexcept { return ge_; }
   uint32_t le() const noexcept { return le_; }
   uint8_t prefixLength() const noexcept { return prefixLength_; }
   /// Virtual: an entry class of an agent may decide this at evaluation time.
   virtual bool isPrefixEntryPermit() const { return permit_ == Acl::MatchPermit::permit; }

   /// The next entry at the same prefix, in ascending order of seqno; null after the last.
   const PrefixListEntryData * nextEntry() const noexcept { return static_cast<const PrefixListEntryData *>( next() ); }

 private:
   static constexpr uint8_t bound( uint32_t length ) noexcept { return uint8_t( length < 255 ? length : 255 ); }

   uint32_t seqno_;
   uint8_t prefixLength_;
   uint8_t ge_;
   uint8_t le_;
   Acl::MatchPermit permit_;
};

}   // namespace Routing::RouteMap
