#include "substrate/lists/TagSetStatus.h"

namespace Routing::RouteMap {

TagSetStatus::TagSetStatus( const Quoin::String & name, std::initializer_list<RouteTag> tags ) : name_( name ) {
   for( RouteTag tag : tags ) tag_.put( tag );
}

TagSetStatus::TagSetStatus( const Quoin::String & name, const Tags & tags ) : name_( name ), tag_( tags ) {}

TagSetStatus::~TagSetStatus() = default;

}   // namespace Routing::RouteMap
