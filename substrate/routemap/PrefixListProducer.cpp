#include "substrate/routemap/PrefixListProducer.h"

namespace Routing::RouteMap {

std::optional<PrefixListError> PrefixListProducer::entryIs( const PrefixListEntry & entry ) {
   auto error = builder_.entryIs( entry );
   if( !error ) publication_.begin();
   return error;
}

bool PrefixListProducer::entryDel( uint32_t seqno ) {
   const bool was = builder_.entryDel( seqno );
   if( was ) publication_.begin();
   return was;
}

}   // namespace Routing::RouteMap
