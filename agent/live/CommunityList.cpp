#include "live/CommunityList.h"

#include <algorithm>
#include <iterator>

#include <fmt/format.h>

#include "text/Community.h"

namespace Agent {

namespace {

// On the stack up to about eighty communities.
using Text = fmt::basic_memory_buffer<char, 1024>;

// The name of a well-known community in the text that FRR matches; empty for none.
std::string_view nameIn( Community community ) {
   return community == 0 ? "internet" : wellKnownName( community );
}

void append( Text & text, Community community, bool hasNames ) {
   const std::string_view name = hasNames ? nameIn( community ) : std::string_view();
   if( name.empty() )
      fmt::format_to( std::back_inserter( text ), "{}:{}", community >> 16, community & 0xffff );
   else
      text.append( name );
}

template <class C>
void append( Text & text, const C & community, bool ) {
   text.append( communityText( community ) );
}

template <class C>
bool matchesStandard( std::span<const C> route, const std::vector<C> & line, ListComparison comparison ) {
   const auto isIn = []( const auto & all ) {
      return [ & ]( const C & community ) { return std::ranges::find( all, community ) != std::ranges::end( all ); };
   };
   if( line.empty() ) return true;
   if( comparison == ListComparison::any ) return std::ranges::any_of( line, isIn( route ) );
   return std::ranges::all_of( line, isIn( route ) ) && ( comparison == ListComparison::all || std::ranges::all_of( route, isIn( line ) ) );
}

const std::vector<Community> & communitiesOf( const TableRoute & route, Community ) noexcept {
   return route.communities;
}
const std::vector<LargeCommunity> & communitiesOf( const TableRoute & route, LargeCommunity ) noexcept {
   return route.largeCommunities;
}
const std::vector<ExtCommunity> & communitiesOf( const TableRoute & route, ExtCommunity ) noexcept {
   return route.extCommunities;
}

}   // namespace

template <class C>
CommunityListOf<C>::CommunityListOf( const Quoin::String & name, const CommunityListTextOf<C> & text, Dialect dialect )
      : CommListStatus( name ), expanded_( text.expanded ), hasNames_( dialect == Dialect::frr ) {
   lines_.reserve( text.lines.size() );
   for( const auto & [ number, line ] : text.lines ) {
      lines_.push_back( { line.action, line.communities, std::nullopt } );
      if( expanded_ ) lines_.back().expression.emplace( line.expression, dialect );
   }
}

template <class C>
bool CommunityListOf<C>::permits( const TableRoute & route, ListComparison comparison ) const {
   return permits( std::span<const C>( communitiesOf( route, C() ) ), comparison );
}

template <class C>
bool CommunityListOf<C>::permits( std::span<const C> communities, ListComparison comparison ) const {
   Text text;
   if( expanded_ )
      for( const C & community : communities ) {
         if( text.size() != 0 ) text.push_back( ' ' );
         append( text, community, hasNames_ );
      }
   const auto line = std::ranges::find_if( lines_, [ & ]( const Line & l ) {
      return expanded_ ? l.expression->matches( { text.data(), text.size() } ) : matchesStandard( communities, l.communities, comparison );
   } );
   return line != lines_.end() && line->action == MatchPermit::permit;
}

template class CommunityListOf<Community>;
template class CommunityListOf<LargeCommunity>;
template class CommunityListOf<ExtCommunity>;

}   // namespace Agent
