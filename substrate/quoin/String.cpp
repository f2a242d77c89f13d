#include "substrate/quoin/String.h"

#include <algorithm>
#include <limits>
#include <ostream>
#include <stdexcept>

namespace Quoin {

String::String( const char * text ) : String( text ? std::string_view( text ) : throw std::logic_error( "Quoin::String: null" ) ) {}

String::String( std::string_view text ) {
   if( text.empty() ) return;
   if( text.size() > std::numeric_limits<uint32_t>::max() ) throw std::length_error( "Quoin::String: the text is too long" );
   text_ = new( ::operator new( sizeof( Text ) + text.size() + 1 ) ) Text{ {}, static_cast<uint32_t>( text.size() ) };
   *std::ranges::copy( text, reinterpret_cast<char *>( text_ + 1 ) ).out = '\0';
}

String operator+( const String & a, const String & b ) {
   return String( std::string( a.view() ).append( b.view() ) );
}

std::ostream & operator<<( std::ostream & os, const String & s ) {
   return os << s.view();
}

}   // namespace Quoin
