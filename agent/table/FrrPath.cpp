#include "table/FrrPath.h"

#include <algorithm>

#include "text/Community.h"
#include "text/Printable.h"

namespace Agent {

namespace {

// The daemon prints this name, too, which a policy gives another meaning.
std::optional<uint32_t> namedCommunity( std::string_view word ) {
   return word == "internet" ? 0 : communityOf( word );
}

// Calls `take( word )` for each word.
template <class Take>
void forEachWord( std::string_view text, Take take ) {
   while( !text.empty() ) {
      const auto word = text.substr( 0, text.find( ' ' ) );
      text.remove_prefix( std::min( word.size() + 1, text.size() ) );
      if( !word.empty() ) take( word );
   }
}

// Why the text is not a list of communities; empty if it is.
template <class C, class Parse>
std::string readCommunities( std::string_view text, std::vector<C> & communities, Parse parse ) {
   std::string fault;
   forEachWord( text, [ & ]( std::string_view word ) {
      if( const auto community = parse( word ) )
         communities.push_back( *community );
      else if( fault.empty() )
         fault = "\"" + printable( word, 24 ) + "\": not a community";
   } );
   sortCommunities( communities );
   return fault;
}

}   // namespace

void FrrPath::clear() {
   asPath_.clear();
   communities_.clear();
   largeCommunities_.clear();
   extCommunities_.clear();
   origin_.reset();
   nextHop_.clear();
   peer_.clear();
   metric_.reset();
   localPreference_.reset();
   tag_.reset();
   hasNextHop_ = isPath_ = isRemoved_ = isShort_ = false;
   fault_.clear();
}

void FrrPath::valueIs( std::string_view at, const JsonValue & value ) {
   if( at == "path" || at == "aspath.string" ) {
      isPath_ = true;
      isShort_ = at == "path";
      textIs( asPath_, at, value );
   } else if( at == "nexthops[].ip" || at == "nextHop" || at == "nextHopGlobal" ) {
      isPath_ = true;
      if( !hasNextHop_ ) textIs( nextHop_, at, value );
      hasNextHop_ = true;
   } else if( at == "origin" ) {
      isPath_ = true;
      origin_ = originOf( value.text );
   } else if( at == "valid" ) {
      isPath_ = true;
   } else if( at == "removed" ) {
      isPath_ = true;
      isRemoved_ = value.isTrue();
   } else if( at == "peerId" || at == "peer.peerId" ) {
      if( value.isText() ) peer_ = value.text;
   } else if( at == "metric" ) {
      numberIs( metric_, at, value );
   } else if( at == "locPrf" ) {
      numberIs( localPreference_, at, value );
   } else if( at == "tag" ) {
      numberIs( tag_, at, value );
   } else if( at == "community.string" ) {
      textIs( communities_, at, value );
   } else if( at == "largeCommunity.string" ) {
      textIs( largeCommunities_, at, value );
   } else if( at == "extendedCommunity.string" ) {
      textIs( extCommunities_, at, value );
   }
}

LineResult FrrPath::route( TableRoute & route ) const {
   if( !isPath_ ) return LineResult::nothing();
   if( isRemoved_ ) return LineResult::skipped();
   if( !fault_.empty() ) return LineResult::broken( fault_ );
   std::string reason;
   route.protocol = SourceProtocol::bgp;
   if( metric_ ) route.metric = *metric_;
   route.localPreference = localPreference_;
   route.tag = tag_.value_or( 0 );
   if( hasNextHop_ ) {
      const auto nextHop = parseAddress( nextHop_, reason );
      if( !nextHop ) return LineResult::broken( "next hop: " + reason );
      route.nextHop = *nextHop;
   }
   if( peer_ == "(unspec)" )   // the daemon's word for itself
      route.peer = Ferule::IpAddr();
   else if( const auto peer = peer_.empty() ? std::nullopt : parseAddress( peer_, reason ) )
      route.peer = *peer;
   if( asPath_ != "Local" ) route.asPath = asPath_;   // the daemon's word for an empty path
   if( route.asPath.find_first_not_of( "0123456789 ,{}()[]" ) != std::string::npos )
      return LineResult::broken( "\"" + printable( asPath_, 64 ) + "\": not an AS path" );
   route.origin = origin_;
   forEachWord( extCommunities_, [ & ]( std::string_view word ) {
      if( const auto community = extCommunityOf( word ) ) route.extCommunities.push_back( *community );
   } );
   reason = readCommunities( communities_, route.communities, namedCommunity );
   if( reason.empty() ) reason = readCommunities( largeCommunities_, route.largeCommunities, largeCommunityOf );
   return reason.empty() ? LineResult::route() : LineResult::broken( std::move( reason ) );
}

void FrrPath::textIs( std::string & text, std::string_view at, const JsonValue & value ) {
   if( !value.isText() ) return faultIs( at, "not a string" );
   text = value.text;
}

void FrrPath::numberIs( std::optional<uint32_t> & number, std::string_view at, const JsonValue & value ) {
   number = value.number32();
   if( !number ) faultIs( at, "not a number of 32 bits" );
}

void FrrPath::faultIs( std::string_view at, const char * what ) {
   if( fault_.empty() ) fault_ = "\"" + std::string( at ) + "\": " + what;
}

}   // namespace Agent
