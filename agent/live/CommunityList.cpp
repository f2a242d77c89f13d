#include "live/CommunityList.h"

#include <algorithm>
#include <iterator>

#include <fmt/format.h>

namespace Agent {

CommunityList::CommunityList( const Quoin::String & name, const CommunityListText & text )
      : StandardCommListStatus( name ), expanded_( text.expanded ) {
   lines_.reserve( text.lines.size() );
   for( const auto & [ number, line ] : text.lines ) {
      lines_.push_back( { line.action, line.communities, std::nullopt } );
      if( expanded_ ) lines_.back().expression.emplace( line.expression );
   }
}

bool CommunityList::permits( const TableRoute & route ) const {
   fmt::basic_memory_buffer<char, 1024> text;   // on the stack up to about eighty communities
   if( expanded_ )
      for( const Community c : route.communities )
         fmt::format_to( std::back_inserter( text ), "{}{}:{}", text.size() == 0 ? "" : " ", c >> 16, c & 0xffff );
   const auto matches = [ & ]( const Line & line ) {
      if( expanded_ ) return line.expression->matches( { text.data(), text.size() } );
      return std::includes( route.communities.begin(), route.communities.end(), line.communities.begin(), line.communities.end() );
   };
   const auto line = std::find_if( lines_.begin(), lines_.end(), matches );
   return line != lines_.end() && line->action == MatchPermit::permit;
}

}   // namespace Agent
