#include "live/CommunityList.h"

#include <algorithm>
#include <iterator>

#include <fmt/format.h>

#include "text/Community.h"

namespace Agent {

CommunityList::CommunityList( const Quoin::String & name, const CommunityListText & text, Dialect dialect )
      : StandardCommListStatus( name ), expanded_( text.expanded ), hasNames_( dialect == Dialect::frr ) {
   lines_.reserve( text.lines.size() );
   for( const auto & [ number, line ] : text.lines ) {
      lines_.push_back( { line.action, line.communities, std::nullopt } );
      if( expanded_ ) lines_.back().expression.emplace( line.expression );
   }
}

bool CommunityList::permits( const TableRoute & route ) const {
   fmt::basic_memory_buffer<char, 1024> text;   // on the stack up to about eighty communities
   if( expanded_ )
      for( const Community c : route.communities ) {
         const auto to = std::back_inserter( text );
         const std::string_view blank = text.size() == 0 ? "" : " ", name = hasNames_ ? wellKnownName( c ) : std::string_view();
         if( name.empty() )
            fmt::format_to( to, "{}{}:{}", blank, c >> 16, c & 0xffff );
         else
            fmt::format_to( to, "{}{}", blank, name );
      }
   const auto matches = [ & ]( const Line & line ) {
      if( expanded_ ) return line.expression->matches( { text.data(), text.size() } );
      return std::includes( route.communities.begin(), route.communities.end(), line.communities.begin(), line.communities.end() );
   };
   const auto line = std::find_if( lines_.begin(), lines_.end(), matches );
   return line != lines_.end() && line->action == MatchPermit::permit;
}

}   // namespace Agent
