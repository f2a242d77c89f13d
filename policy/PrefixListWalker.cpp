#include "policy/PrefixListWalker.h"

namespace Routing::Policy {

namespace {

// Makes the first fitting entry of a chain the best so far, unless a lower or equal number has been seen.
template <class Fits>
void offerFirst( const Routing::PrefixData * data, Fits fits ) {
   auto & best = PrefixListWalkerCbCtx::ofThisThread().entry;
   for( auto * entry = static_cast<const PrefixListEntryData *>( data ); entry; entry = entry->nextEntry() ) {
      if( !fits( *entry ) ) continue;
      if( !best || entry->seqno() < best->seqno() ) best = Quoin::Ptr( entry );
      return;   // those behind do not count, whatever they say
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
