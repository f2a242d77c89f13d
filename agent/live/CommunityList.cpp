#include "live/CommunityList.h"

#include <algorithm>
#include <iterator>
#include <set>
#include <utility>

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

/// Whether a line that has `own`, a community of the route, matches the route. `others` are its other communities.
template <class C>
bool matchesStandard( std::span<const C> route, const C & own, const std::vector<C> & others, ListComparison comparison ) {
   const auto isIn = []( const auto & all ) {
      return [ & ]( const C & community ) { return std::ranges::find( all, community ) != std::ranges::end( all ); };
   };
   if( comparison == ListComparison::any ) return true;
   if( !std::ranges::all_of( others, isIn( route ) ) ) return false;
   return comparison == ListComparison::all ||
      std::ranges::all_of( route, [ & ]( const C & community ) { return community == own || isIn( others )( community ); } );
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
      : CommListStatus( name ), expanded_( text.expanded ), hasNames_( dialect == Dialect::frr ), expressions_( dialect ) {
   for( const auto & [ number, line ] : text.lines ) lineIs( number, line );
}

template <class C>
CommunityListOf<C>::CommunityListOf( const Quoin::String & name, const CommunityListOf & from )
      : CommListStatus( name ),
        expanded_( from.expanded_ ),
        hasNames_( from.hasNames_ ),
        standard_( from.standard_ ),
        further_( from.further_ ),
        expressions_( from.expressions_ ) {}

template <class C>
void CommunityListOf<C>::lineIs( uint32_t number, const CommunityListLineOf<C> & line ) {
   if( expanded_ ) return expressions_.put( number, line.action, line.expression );
   if( line.communities.empty() ) return standard_.putOther( number, { line.action } );
   const auto countUnder = [ & ]( const C & community ) {
      const auto * const lines = standard_.find( community );
      return lines ? lines->count() : 0;
   };
   const C own = *std::ranges::min_element( line.communities, {}, countUnder );
   std::vector<C> others;
   std::ranges::remove_copy( line.communities, std::back_inserter( others ), own );
   for( const C & community : others ) further_.put( community, number, { line.action } );
   standard_.put( own, number, { line.action, std::move( others ) } );
}

template <class C>
void CommunityListOf<C>::lineDel( uint32_t number, const CommunityListLineOf<C> & line ) {
   if( expanded_ ) return expressions_.erase( number, line.expression );
   if( line.communities.empty() ) return standard_.eraseOther( number );
   for( const C & community : line.communities ) {
      standard_.erase( community, number );   // one of the two has it
      further_.erase( community, number );
   }
}

template <class C>
bool CommunityListOf<C>::tellKeys( Routing::Policy::MatchKeys & keys, ListComparison comparison ) const {
   if( expanded_ || !standard_.others().empty() ) return false;
   const bool isAny = comparison == ListComparison::any;
   if( standard_.keys().size() + ( isAny ? further_.keys().size() : 0 ) >= Routing::Policy::MatchKeys::kMost ) return false;
   std::set<uint64_t> told;
   for( const auto & lines : standard_.keys() ) told.insert( communityKey( lines.first ) );
   if( isAny )
      for( const auto & lines : further_.keys() ) told.insert( communityKey( lines.first ) );
   return Agent::tellKeys( keys, told, []( uint64_t key ) { return key; } );
}

template <class C>
bool CommunityListOf<C>::permits( const TableRoute & route, ListComparison comparison ) const {
   return permits( std::span<const C>( communitiesOf( route, C() ) ), comparison );
}

template <class C>
bool CommunityListOf<C>::permits( std::span<const C> communities, ListComparison comparison ) const {
   if( !expanded_ ) return permitsStandard( communities, comparison );
   Text text;
   for( const C & community : communities ) {
      if( text.size() != 0 ) text.push_back( ' ' );
      append( text, community, hasNames_ );
   }
   return expressions_.permits( { text.data(), text.size() } );
}

template <class C>
bool CommunityListOf<C>::permitsStandard( std::span<const C> communities, ListComparison comparison ) const {
   LowestLine lowest;
   lowest.seek( standard_.others(), []( const OpenLine & ) { return true; } );
   for( const C & community : communities ) {
      if( const auto * const lines = standard_.find( community ) )
         lowest.seek( *lines,
                      [ & ]( const StandardLine & line ) { return matchesStandard( communities, community, line.others, comparison ); } );
      if( comparison != ListComparison::any ) continue;
      if( const auto * const lines = further_.find( community ) ) lowest.seek( *lines, []( const OpenLine & ) { return true; } );
   }
   return lowest.permits();
}

template class CommunityListOf<Community>;
template class CommunityListOf<LargeCommunity>;
template class CommunityListOf<ExtCommunity>;

}   // namespace Agent
