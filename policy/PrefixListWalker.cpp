#include "policy/PrefixListWalker.h"

namespace Routing::Policy {

namespace {

// Takes the first matching entry of a chain, unless the walk has found an entry with the same or a lower number.
template <class Fits>
void offerFirst( const Routing::PrefixData * data, Fits fits ) {
   auto & best = PrefixListWalkerCbCtx::ofThisThread().entry;
   for( auto * entry = static_cast<const PrefixListEntryData *>( data ); entry; entry = entry->nextEntry() ) {
      if( !fits( *entry ) ) continue;
      if( !best || entry->seqno() < best->seqno() ) best = Quoin::Ptr( entry );
      return;   // the rest of the chain does not count
   }
}

unsigned lengthLookedUp() {
   return PrefixListWalkerCbCtx::ofThisThread().prefix->length();
}

}   // namespace

PrefixListWalkerCbCtx & PrefixListWalkerCbCtx::ofThisThread() {
   static thread_local PrefixListWalkerCbCtx ctx;
   return ctx;
}

PrefixListMatchWalkerCb::~PrefixListMatchWalkerCb() = default;
PrefixListCoveredByWalkerCb::~PrefixListCoveredByWalkerCb() = default;

bool PrefixListMatchWalkerCb::handlePrefixData( const Ferule::IpGenPrefix &, const Routing::PrefixData * data ) {
   if( !data ) return true;
   const unsigned length = lengthLookedUp();
   offerFirst( data, [ length ]( const PrefixListEntryData & e ) { return e.ge() <= length && length <= e.le(); } );
   return true;
}

bool PrefixListCoveredByWalkerCb::handlePrefixData( const Ferule::IpGenPrefix &, const Routing::PrefixData * data ) {
   if( !data ) return true;
   const unsigned length = lengthLookedUp();
   offerFirst( data, [ length ]( const PrefixListEntryData & e ) { return e.prefixLength() <= length; } );
   return true;
}

}   // namespace Routing::Policy
