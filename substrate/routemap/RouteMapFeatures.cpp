#include "substrate/routemap/RouteMapFeatures.h"

#include <bit>
#include <string>

namespace Routing::RouteMap {

namespace {

std::string bitName( unsigned number ) {
   switch( RouteMapFeatures::Bit( 1u << number ) ) {
      case RouteMapFeatures::matchPrefixDependent: return "matchPrefixDependent";
      case RouteMapFeatures::matchInterface: return "matchInterface";
      case RouteMapFeatures::matchResolvedNexthop: return "matchResolvedNexthop";
      case RouteMapFeatures::matchRouterId: return "matchRouterId";
      case RouteMapFeatures::matchBestpath: return "matchBestpath";
   }
   return std::to_string( number );
}

}   // namespace

Quoin::String RouteMapFeatures::toStrep() const {
   std::string text;
   for( uint32_t rest = bits_; rest; rest &= rest - 1 ) {
      if( !text.empty() ) text += '|';
      text += bitName( static_cast<unsigned>( std::countr_zero( rest ) ) );
   }
   return Quoin::String( std::move( text ) );
}

std::ostream & operator<<( std::ostream & os, const RouteMapFeatures & features ) {
   return os << features.toStrep();
}

}   // namespace Routing::RouteMap
