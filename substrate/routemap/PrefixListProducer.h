/// @file substrate/routemap/PrefixListProducer.h
/// One configured prefix list, from its entries to its published status. An agent edits it; route maps that refer to the list use the
/// published status.
#pragma once

#include "substrate/routemap/ListPublication.h"
#include "substrate/routemap/PrefixListBuilder.h"

namespace Routing::RouteMap {

/// Collects the edits of one prefix list and publishes the list.
///
///    PrefixListProducer customers( root->ipv4PrefixListTable(), "CUSTOMERS", Ferule::AddressFamily::ipv4 );
///    if( auto error = customers.entryIs( entry ) ) report( error->toStrep() );
///    customers.publish();      // every route map that refers to CUSTOMERS is compiled again
///
/// Between the first edit and publish(), route maps that refer to the list keep their present state. The name is undefined until the first
/// publish(), and again after the producer is destroyed. A published list without entries is defined.
/// Threading: the activity thread.
class ROUTEPOLICY_API PrefixListProducer {
 public:
   PrefixListProducer( const Quoin::Ptr<const PrefixListSymbolDedupTable> & table, const Quoin::String & name, Ferule::AddressFamily af )
         : builder_( name, af ), publication_( table->symbol( name ) ) {}

   const Quoin::Ptr<PrefixListSymbol> & symbol() const noexcept { return publication_.symbol(); }
   const NumberedEntries & entries() const noexcept { return builder_.entries(); }

   /// Adds an entry and begins a change. If the entry is refused, returns the reason and does nothing else.
   [[nodiscard]] std::optional<PrefixListError> entryIs( const PrefixListEntry & entry );
   /// Removes the entry with that sequence number and begins a change. Returns false, and does nothing, if it does not exist.
   bool entryDel( uint32_t seqno );
   /// Whether edits are pending.
   bool edited() const noexcept { return publication_.underWay(); }
   /// Compiles the present entries and publishes the list. Cost: that of the edits since the last publish(); that of the
   /// whole list at first, or if there were more edits than entries. Errors: as PrefixListBuilder::build(); nothing is published.
   void publish() {
      publication_.publish( [ this ] { return builder_.build(); } );
   }

 private:
   PrefixListBuilder builder_;
   ListPublication<PrefixListStatus> publication_;
};

}   // namespace Routing::RouteMap
