#include "substrate/gloss/RendererV2.h"

#include <charconv>

namespace Gloss {

namespace {

// The character after the backslash for each control character; u: the form with `u` and four hexadecimal digits.
constexpr char kControl[] = "uuuuuuuubtnufruuuuuuuuuuuuuuuuuu";
static_assert( sizeof kControl == 32 + 1 );

constexpr size_t escapedSize( unsigned char c ) {
   if( c == '"' || c == '\\' ) return 2;
   return c >= 0x20 ? 1 : kControl[ c ] == 'u' ? 6 : 2;
}

void appendEscaped( std::string & out, unsigned char c ) {
   constexpr char kHex[] = "0123456789ABCDEF";
   switch( escapedSize( c ) ) {
      case 1: out += static_cast<char>( c ); break;
      case 2:
         out += '\\';
         out += c < 0x20 ? kControl[ c ] : static_cast<char>( c );
         break;
      default:
         out += "\\u00";
         out += kHex[ c >> 4 ];
         out += kHex[ c & 15 ];
   }
}

}   // namespace

void RendererV2::writeQuotedString( std::string_view text ) {
   if( mode_ != kStructured ) return;
   size_t size = 0;
   for( unsigned char c : text ) size += escapedSize( c );
   if( size == text.size() ) {
      buffer_ += text;
      return;
   }
   buffer_.reserve( buffer_.size() + size );
   for( unsigned char c : text ) appendEscaped( buffer_, c );
}

void RendererV2::writeQuotedString( const Routing::RouteMap::MatchOption & option ) {
   writeQuotedString( std::string_view( stringValue( option ) ) );
}

void RendererV2::_startJsonObject( std::string_view key ) {
   writeComma();
   firstItem_ = true;
   write( "\"" );
   writeQuotedString( key );
   write( "\":{" );
}

void RendererV2::endJsonObject() {
   write( "}" );
   firstItem_ = false;
}

void RendererV2::_addJsonKeyValuePair( std::string_view key, bool value ) {
   addPair( key, value ? "true" : "false" );
}

void RendererV2::_addJsonKeyValuePair( std::string_view key, uint32_t value ) {
   char digits[ 10 ];
   const auto end = std::to_chars( digits, digits + sizeof digits, value ).ptr;
   addPair( key, std::string_view( digits, static_cast<size_t>( end - digits ) ) );
}

void RendererV2::addPair( std::string_view key, std::string_view value ) {
   writeComma();
   firstItem_ = false;
   if( !key.empty() ) {
      write( "\"" );
      writeQuotedString( key );
      write( "\":" );
   }
   write( value );
}

}   // namespace Gloss
