#include "live/AsPathList.h"

#include <algorithm>

namespace Agent {

AsPathList::AsPathList( const Quoin::String & name, const AsPathListText & text, Dialect dialect ) : AsPathListStatus( name ) {
   lines_.reserve( text.lines.size() );
   for( const auto & [ number, line ] : text.lines ) lines_.push_back( { line.action, CompiledExpression( line.expression, dialect ) } );
}

bool AsPathList::permits( std::string_view asPath ) const {
   const auto line = std::find_if( lines_.begin(), lines_.end(), [ & ]( const Line & l ) { return l.expression.matches( asPath ); } );
   return line != lines_.end() && line->action == MatchPermit::permit;
}

}   // namespace Agent
