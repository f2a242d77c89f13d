#include "substrate/routemap/Options.h"

#include <array>
#include <ostream>
#include <string>

namespace Routing::RouteMap {

namespace {

using Names = std::array<std::string, 256>;

Names numbered( const char * stem ) {
   Names names;
   for( size_t i = 0; i < names.size(); ++i ) names[ i ] = stem + std::to_string( i );
   return names;
}

#define NAME( option, number ) names[ number ] = #option;

// Never deleted: static destructors may still print an option.

const Names & matchNames() {
   static const Names & kNames = *[] {
      auto * all = new Names( numbered( "matchOption" ) );
      Names & names = *all;
      ROUTEMAP_MATCH_OPTIONS( NAME )
      return all;
   }();
   return kNames;
}

const Names & setNames() {
   static const Names & kNames = *[] {
      auto * all = new Names( numbered( "setOption" ) );
      Names & names = *all;
      ROUTEMAP_SET_OPTIONS( NAME )
      return all;
   }();
   return kNames;
}

#undef NAME

}   // namespace

const char * stringValue( MatchOption option ) {
   return matchNames()[ size_t( option ) ].c_str();
}
const char * stringValue( SetOption option ) {
   return setNames()[ size_t( option ) ].c_str();
}
std::ostream & operator<<( std::ostream & os, MatchOption option ) {
   return os << stringValue( option );
}
std::ostream & operator<<( std::ostream & os, SetOption option ) {
   return os << stringValue( option );
}
std::ostream & operator<<( std::ostream & os, RouteMapOpModeType mode ) {
   return os << std::to_string( unsigned( mode ) );
}

}   // namespace Routing::RouteMap
