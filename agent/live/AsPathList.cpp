#include "live/AsPathList.h"

#include <algorithm>

namespace Agent {

AsPathList::AsPathList( const Quoin::String & name, const AsPathListText & text ) : AsPathListStatus( name ) {
   lines_.reserve( text.lines.size() );
   for( const auto & [ number, line ] : text.lines ) lines_.push_back( { line.action, CompiledExpression( line.expression ) } );
}

bool AsPathList::permits( const TableRoute & route ) const {
   const auto line = std::find_if( lines_.begin(), lines_.end(), [ & ]( const Line & l ) { return l.expression.matches( route.asPath ); } );
   return line != lines_.end() && line->action == MatchPermit::permit;
}

}   // namespace Agent
