#include "substrate/routemap/TagSetProducer.h"

namespace Routing::RouteMap {

bool TagSetProducer::tagIs( RouteTag tag ) {
   const bool added = tags_.insert( tag ).second;
   if( added ) publication_.begin();
   return added;
}

bool TagSetProducer::tagDel( RouteTag tag ) {
   const bool was = tags_.erase( tag ) != 0;
   if( was ) publication_.begin();
   return was;
}

void TagSetProducer::publish() {
   publication_.publish( [ this ] {
      auto status = Quoin::makeNode<TagSetStatus>( symbol()->name() );
      for( const RouteTag tag : tags_ ) status->tagIs( tag );
      return status;
   } );
}

}   // namespace Routing::RouteMap
