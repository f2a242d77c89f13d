/// @file substrate/routemap/PrefixListProducer.h
#pragma once

#include "substrate/routemap/ListPublication.h"
#include "substrate/routemap/PrefixListBuilder.h"

namespace Routing::RouteMap {

/// One configured prefix list.
///
///    PrefixListProducer customers( root->ipv4PrefixListTable(), "CUSTOMERS", Ferule::AddressFamily::ipv4 );
///    if( auto error = customers.entryIs( entry ) ) report( error->toStrep() );
///    customers.publish();      // every route map that refers to CUSTOMERS follows
///
/// Between the first edit and publish(), route maps that refer to the list keep what they have. The name is undefined until the
/// first publish(), and again when the producer goes; a list without entries is not undefined.
/// Threading: the activity thread.
class ROUTEPOLICY_API PrefixListProducer {
 public:
   PrefixListProducer( const Quoin::Ptr<const PrefixListSymbolDedupTable> & table, const Quoin::String & name, Ferule::AddressFamily af )
         : builder_( name, af ), publication_( table->symbol( name ) ) {}

   const Quoin::Ptr<PrefixListSymbol> & symbol() const noexcept { return publication_.symbol(); }
   const std::map<uint32_t, PrefixListEntry> & entries() const noexcept { return builder_.entries(); }

   /// Takes an entry in; or says why it cannot be, and then nothing has begun.
   [[nodiscard]] std::optional<PrefixListError> entryIs( const PrefixListEntry & entry );
   /// False when there is no entry of that number, and then nothing has begun.
   bool entryDel( uint32_t seqno );
   /// Whether there are edits that have not been published.
   bool edited() const noexcept { return publication_.underWay(); }
   /// Compiles the entries as they stand, and publishes the list. Cost: of the whole list.
   void publish() {
      publication_.publish( [ this ] { return builder_.build(); } );
   }

 private:
   PrefixListBuilder builder_;
   ListPublication<PrefixListStatus> publication_;
};

}   // namespace Routing::RouteMap
