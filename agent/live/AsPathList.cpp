#include "live/AsPathList.h"

namespace Agent {

AsPathList::AsPathList( const Quoin::String & name, const AsPathListText & text, Dialect dialect )
      : AsPathListStatus( name ), lines_( dialect ) {
   for( const auto & [ number, line ] : text.lines ) lineIs( number, line );
}

}   // namespace Agent
