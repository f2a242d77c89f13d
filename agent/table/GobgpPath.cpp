#include "table/GobgpPath.h"

#include "table/BgpAttribute.h"

namespace Agent {

using namespace BgpAttribute;

void GobgpPath::Attribute::clear() {
   type.reset();
   value.reset();
   metric.reset();
   nextHop.clear();
   asPath.clear();
   communities.clear();
   largeCommunities.clear();
   fault.clear();
}

void GobgpPath::clear() {
   attribute_.clear();
   segmentType_.reset();
   segment_.clear();
   asPath_.clear();
   nextHop_.clear();
   peer_.clear();
   communities_.clear();
   largeCommunities_.clear();
   metric_.reset();
   localPreference_.reset();
   origin_.reset();
   hasMpNextHop_ = isGiven_ = false;
   fault_.clear();
}

void GobgpPath::valueIs( std::string_view at, const JsonValue & value ) {
   if( at == "nlri.prefix" ) isGiven_ = true;
   if( at == "neighbor-ip" && value.isText() ) peer_ = value.text;
   constexpr std::string_view kAttribute = "attrs[].";
   if( !at.starts_with( kAttribute ) ) return;
   at.remove_prefix( kAttribute.size() );
   isGiven_ = true;
   if( at == "type" ) {
      attribute_.type = value.number32();
   } else if( at == "value" ) {
      attribute_.value = value.number32();
   } else if( at == "metric" ) {
      attribute_.metric = value.number32();
   } else if( at == "nexthop" ) {
      attribute_.nextHop = value.text;
      if( !value.isText() ) attribute_.fault = "a next hop is not a string";
   } else if( at == "communities[]" ) {
      const auto community = value.number32();
      if( community )
         attribute_.communities.push_back( *community );
      else
         attribute_.fault = "a community is not a number of 32 bits";
   } else if( at == "value[].ASN" ) {
      attribute_.largeCommunities.emplace_back();
      takePart( &LargeCommunity::globalAdministrator, value );
   } else if( at == "value[].LocalData1" ) {
      takePart( &LargeCommunity::localData1, value );
   } else if( at == "value[].LocalData2" ) {
      takePart( &LargeCommunity::localData2, value );
   } else if( at == "as_paths[].segment_type" ) {
      segmentType_ = value.number32();
   } else if( at == "as_paths[].asns[]" ) {
      const auto as = value.number32();
      if( as )
         segment_.push_back( *as );
      else
         attribute_.fault = "an AS is not a number of 32 bits";
   }
}

void GobgpPath::elementEnds( std::string_view at ) {
   if( at == "attrs[].as_paths[]" ) finishSegment();
   if( at == "attrs[]" ) finishAttribute();
}

// Of the last large community, which begins with its AS.
void GobgpPath::takePart( uint32_t LargeCommunity::*part, const JsonValue & value ) {
   const auto number = value.number32();
   if( number && !attribute_.largeCommunities.empty() )
      attribute_.largeCommunities.back().*part = *number;
   else
      attribute_.fault = "a large community is not three numbers of 32 bits";
}

void GobgpPath::finishSegment() {
   const SegmentStyle * const style = segmentType_ ? segmentStyle( *segmentType_ ) : nullptr;
   if( !style )
      attribute_.fault = "a segment of the AS path has no type from 1 to 4";
   else if( !segment_.empty() )
      appendSegment( attribute_.asPath, *style, segment_ );
   segmentType_.reset();
   segment_.clear();
}

void GobgpPath::finishAttribute() {
   const auto takeNumber = [ this ]( std::optional<uint32_t> & to, const std::optional<uint32_t> & number, const char * name ) {
      to = number;
      if( !number ) faultIs( std::string( name ) + " is not a number of 32 bits" );
   };
   switch( attribute_.type.value_or( 0 ) ) {
      case kOrigin:
         if( attribute_.value && *attribute_.value <= uint32_t( Origin::incomplete ) )
            origin_ = Origin( *attribute_.value );
         else
            faultIs( "an origin is not a number from 0 to 2" );
         break;
      case kAsPath:
         asPath_ = attribute_.asPath;
         faultIs( attribute_.fault );
         break;
      case kNextHop:
         if( !hasMpNextHop_ ) nextHop_ = attribute_.nextHop;
         faultIs( attribute_.fault );
         break;
      case kMpReach:
         nextHop_ = attribute_.nextHop;
         hasMpNextHop_ = true;
         faultIs( attribute_.fault );
         break;
      case kMed: takeNumber( metric_, attribute_.metric, "MED" ); break;
      case kLocalPreference: takeNumber( localPreference_, attribute_.value, "local preference" ); break;
      case kCommunities:
         communities_ = attribute_.communities;
         faultIs( attribute_.fault );
         break;
      case kLargeCommunities:
         largeCommunities_ = attribute_.largeCommunities;
         faultIs( attribute_.fault );
         break;
      default: break;
   }
   attribute_.clear();
}

LineResult GobgpPath::route( TableRoute & route ) const {
   if( !fault_.empty() ) return LineResult::broken( fault_ );
   route.protocol = SourceProtocol::bgp;
   if( !nextHop_.empty() ) {
      std::string reason;
      const auto nextHop = parseAddress( nextHop_, reason );
      if( !nextHop ) return LineResult::broken( "next hop: " + reason );
      route.nextHop = *nextHop;
   }
   if( !peer_.empty() ) {
      std::string ignored;
      if( const auto peer = parseAddress( peer_, ignored ) ) route.peer = *peer;
   }
   if( metric_ ) route.metric = *metric_;
   route.localPreference = localPreference_;
   route.origin = origin_;
   route.asPath = asPath_;
   route.tag = originAsOf( asPath_ );
   route.communities = communities_;
   sortCommunities( route.communities );
   route.largeCommunities = largeCommunities_;
   sortCommunities( route.largeCommunities );
   return LineResult::route();
}

void GobgpPath::faultIs( std::string text ) {
   if( fault_.empty() ) fault_ = std::move( text );
}

}   // namespace Agent
