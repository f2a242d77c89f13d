#include "table/AsPath.h"

#include <algorithm>

#include "text/ParseWhole.h"

namespace Agent {

namespace {

constexpr std::string_view kOpening = "{([", kClosing = "})]";

}   // namespace

std::string_view firstAsOf( std::string_view asPath ) noexcept {
   return asPath.substr( 0, asPath.find_first_not_of( "0123456789" ) );
}

std::string asPathWithout( std::string_view asPath, const std::function<bool( uint32_t as )> & isRemoved ) {
   std::string left;
   const auto add = [ & ]( char between, std::string_view text ) {
      if( text.empty() ) return;
      if( !left.empty() && kOpening.find( left.back() ) == kOpening.npos ) left += between;
      left += text;
   };
   char between = ' ';   // of two ASes of a segment
   while( !asPath.empty() ) {
      const auto as = firstAsOf( asPath );
      const char mark = asPath.front();
      asPath.remove_prefix( std::max<size_t>( as.size(), 1 ) );
      if( !as.empty() ) {
         if( const auto number = parseWhole<uint32_t>( as ); !number || !isRemoved( *number ) ) add( between, as );
      } else if( kOpening.find( mark ) != kOpening.npos ) {
         add( ' ', { &mark, 1 } );
         between = mark == '(' ? ' ' : ',';
      } else if( kClosing.find( mark ) != kClosing.npos ) {
         between = ' ';
         const bool isEmpty = kOpening.find( left.back() ) != kOpening.npos;
         if( !isEmpty )
            left += mark;
         else
            left.resize( left.size() - ( left.size() > 1 ? 2 : 1 ) );   // with the blank in front of it
      }
   }
   return left;
}

}   // namespace Agent
