#include "substrate/routemap/TagSetProducer.h"

namespace Routing::RouteMap {

bool TagSetProducer::tagIs( RouteTag tag ) {
   const bool added = tags_.put( tag );
   if( added ) publication_.begin();
   return added;
}

bool TagSetProducer::tagDel( RouteTag tag ) {
   const bool was = tags_.erase( tag );
   if( was ) publication_.begin();
   return was;
}

}   // namespace Routing::RouteMap
