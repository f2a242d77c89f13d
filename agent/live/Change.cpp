#include "live/Change.h"

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include <fmt/format.h>

#include "table/AsPath.h"
#include "text/Constants.h"
#include "text/SetForms.h"
#include "text/TextWriter.h"

namespace Agent {

namespace {

template <class List, class Text>
Quoin::Ptr<const List> compiled( const SharedList<Text> & list ) {
   if( !list.text ) return nullptr;
   return Quoin::makeNode<List>( Quoin::String(), *list.text, Dialect::frr );
}

// Of 32 bits; it stops at both ends.
uint64_t changed( const SetClause & clause, uint64_t value ) noexcept {
   switch( clause.mode ) {
      case SetClause::Mode::adds: return std::min( value + clause.number, kMax32 );
      case SetClause::Mode::subtracts: return value - std::min( value, clause.number );
      case SetClause::Mode::replaces: break;
   }
   return clause.number;
}

void carry( TableRoute & route, const SetClause & clause ) {
   const SetForm & form = setForm( clause.kind );
   const std::string operand = form.text( clause );
   route.otherIs( form.words, operand.empty() ? "true" : operand );
}

// If only the daemon knows the value behind `words`, tells with them how the clause changes it.
bool changesUnknown( TableRoute & route, std::string_view words, const SetClause & clause ) {
   const std::string * const told = route.other( words );
   if( told ) route.otherIs( words, fmt::format( "{}, then {}", *told, writeSet( clause ) ) );
   return told;
}

void setMetric( TableRoute & route, const SetClause & clause ) {
   const auto & words = setForm( SetKind::metric ).words;
   if( !clause.word.empty() ) return carry( route, clause );
   if( clause.kind == SetKind::metric && clause.mode == SetClause::Mode::replaces )
      route.otherDel( words );
   else if( changesUnknown( route, words, clause ) )
      return;
   const uint64_t metric = route.metric.value();
   if( clause.kind == SetKind::metric ) route.metric = changed( clause, metric );
   if( clause.kind == SetKind::minMetric ) route.metric = std::max( metric, clause.number );
   if( clause.kind == SetKind::maxMetric ) route.metric = std::min( metric, clause.number );
}

// `communities`: ascending, each once.
template <class C>
void setCommunities( std::vector<C> & communities, const std::vector<C> & set, bool additive ) {
   if( !additive ) communities.clear();
   for( const C & community : set ) {
      const auto place = std::ranges::lower_bound( communities, community );
      if( place == communities.end() || *place != community ) communities.insert( place, community );
   }
}

template <class C, class List>
void deleteCommunities( std::vector<C> & communities, const Quoin::Ptr<const List> & list ) {
   if( list ) std::erase_if( communities, [ & ]( const C & community ) { return list->deletes( community ); } );
}

void addExtCommunities( TableRoute & route, const SetClause & clause ) {
   route.extCommunities.insert( route.extCommunities.end(), clause.extCommunities.begin(), clause.extCommunities.end() );
}

void deleteExtCommunities( TableRoute & route ) {
   route.extCommunities.clear();
   route.otherDel( setForm( SetKind::extBandwidth ).words );
}

void prepend( std::string & path, const SetClause & clause ) {
   std::string front;
   const auto add = [ & ]( std::string_view as ) { front.append( as ).append( " " ); };
   for( const uint32_t as : clause.ases ) add( std::to_string( as ) );
   const std::string_view first = firstAsOf( path );
   for( uint64_t times = first.empty() ? 0 : clause.number; times; --times ) add( first );
   path.insert( 0, front );
   if( path.ends_with( ' ' ) ) path.pop_back();
}

void exclude( std::string & path, const SetClause & clause, const Quoin::Ptr<const AsPathList> & list ) {
   if( !clause.word.empty() && !list ) return;
   path = asPathWithout( path, [ & ]( uint32_t as ) {
      return list ? list->permits( std::to_string( as ) ) : std::ranges::find( clause.ases, as ) != clause.ases.end();
   } );
}

// "as-path prepend", "exclude" and "replace".
void setAsPath( TableRoute & route, const SetClause & clause, const Quoin::Ptr<const AsPathList> & list ) {
   const auto & replaced = setForm( SetKind::asPathReplace ).words;
   if( clause.kind == SetKind::asPathExclude && clause.word.empty() && clause.ases.empty() ) {
      route.asPath.clear();
      route.otherDel( replaced );
   } else if( !changesUnknown( route, replaced, clause ) ) {
      if( clause.kind == SetKind::asPathPrepend ) prepend( route.asPath, clause );
      if( clause.kind == SetKind::asPathExclude ) exclude( route.asPath, clause, list );
      if( clause.kind == SetKind::asPathReplace ) carry( route, clause );
   }
}

// A route has a next hop of each family. The one that tables show stands in front. "set ip next-hop" does not change an IPv6 route.
void setNextHop( TableRoute & route, const SetClause & clause ) {
   if( !clause.address ) return carry( route, clause );
   if( clause.kind == SetKind::ipNextHop && route.prefix.af() == AddressFamily::ipv6 ) return;
   route.otherDel( setForm( clause.kind ).words );
   const auto isUnset = route.nextHop.af() == AddressFamily::unset;
   const auto shown = isUnset ? route.prefix.af() : route.nextHop.af();
   ( shown == clause.address->af() ? route.nextHop : route.otherNextHop ) = *clause.address;
}

}   // namespace

CompiledSetLists::CompiledSetLists( const SetLists & lists )
      : communities( compiled<CommunityList>( lists.communities ) ),
        largeCommunities( compiled<LargeCommunityList>( lists.largeCommunities ) ),
        extCommunities( compiled<ExtCommunityList>( lists.extCommunities ) ),
        ases( compiled<AsPathList>( lists.ases ) ) {}

void change( TableRoute & route, const SetClause & clause, const CompiledSetLists & lists ) {
   const auto number = static_cast<uint32_t>( clause.number );
   switch( clause.kind ) {
      case SetKind::distance: return;
      case SetKind::metric:
      case SetKind::minMetric:
      case SetKind::maxMetric: return setMetric( route, clause );
      case SetKind::tag: route.tag = number; return;
      case SetKind::localPreference:
         route.localPreference = static_cast<uint32_t>( changed( clause, route.localPreference.value_or( kDefaultLocalPreference ) ) );
         return;
      case SetKind::origin: route.origin = Origin( clause.number ); return;
      case SetKind::community: return setCommunities( route.communities, clause.communities, clause.additive );
      case SetKind::largeCommunity: return setCommunities( route.largeCommunities, clause.largeCommunities, clause.additive );
      case SetKind::commListDelete: return deleteCommunities( route.communities, lists.communities );
      case SetKind::largeCommListDelete: return deleteCommunities( route.largeCommunities, lists.largeCommunities );
      case SetKind::extCommListDelete: return deleteCommunities( route.extCommunities, lists.extCommunities );
      case SetKind::extRouteTarget:
      case SetKind::extSiteOfOrigin:
      case SetKind::extNodeTarget:
      case SetKind::extColor: return addExtCommunities( route, clause );
      case SetKind::extNone: return deleteExtCommunities( route );
      case SetKind::asPathPrepend:
      case SetKind::asPathExclude:
      case SetKind::asPathReplace: return setAsPath( route, clause, lists.ases );
      case SetKind::ipNextHop:
      case SetKind::ipv6NextHopGlobal: return setNextHop( route, clause );
      default: return carry( route, clause );
   }
}

}   // namespace Agent
