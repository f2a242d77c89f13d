#include "table/JsonEntries.h"

#include <string_view>

namespace Agent {

bool JsonDocument::parse_error( size_t, const std::string &, const Json::exception & e ) {
   std::string_view text = e.what();   // "[json.exception.parse_error.101] parse error at line 1, column 5: syntax error ..."
   if( const auto id = text.find( "] " ); text.starts_with( '[' ) && id != text.npos ) text.remove_prefix( id + 2 );
   if( const auto place = text.find( ": " ); text.starts_with( "parse error at " ) && place != text.npos ) text.remove_prefix( place + 2 );
   if( bytes_.exhausted() )
      faultIs( "entry " + std::to_string( index_ ) + " is longer than " + std::to_string( bytes_.maxEntry ) + " bytes" );
   else
      faultIs( printable( text, 200 ) );
   return false;
}

void JsonDocument::faultIs( const std::string & text ) {
   fault_ = "line " + std::to_string( bytes_.text.lineNumber() ) + ", column " + std::to_string( bytes_.text.column() ) + ": " + text;
}

}   // namespace Agent
