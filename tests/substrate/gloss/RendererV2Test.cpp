#include "substrate/gloss/RendererV2.h"

#include <cstdint>
#include <cstdio>
#include <locale>
#include <string>
#include <string_view>

#include <gmock/gmock.h>

namespace {

using Gloss::RendererV2;
using Routing::RouteMap::MatchOption;

std::string escaped( std::string_view text ) {
   RendererV2 renderer;
   renderer.writeQuotedString( text );
   return renderer.text();
}

/// What stands for a byte.
std::string expectedFor( unsigned byte ) {
   switch( byte ) {
      case '\b': return "\\b";
      case '\t': return "\\t";
      case '\n': return "\\n";
      case '\f': return "\\f";
      case '\r': return "\\r";
      case '"': return "\\\"";
      case '\\': return "\\\\";
   }
   if( byte >= 0x20 ) return std::string( 1, char( byte ) );
   char text[ 8 ];
   std::snprintf( text, sizeof text, "\\u%04X", byte );
   return text;
}

TEST( RendererV2, escapesEveryByteByTheTable ) {
   std::string all, expected;
   for( unsigned byte = 0; byte < 256; ++byte ) {
      const char c = char( byte );
      const std::string alone( 1, c ), between{ 'a', c, 'b' };
      EXPECT_EQ( escaped( alone ), expectedFor( byte ) ) << byte;
      EXPECT_EQ( escaped( between ), "a" + expectedFor( byte ) + "b" ) << byte;
      EXPECT_EQ( escaped( alone + alone ), expectedFor( byte ) + expectedFor( byte ) ) << byte;
      all += c;
      expected += expectedFor( byte );
   }
   EXPECT_EQ( escaped( all ), expected );
}

TEST( RendererV2, escapesControlBytesInUpperCaseHexadecimal ) {
   EXPECT_EQ( escaped( std::string_view( "\x0B\x1F\x7F\0", 4 ) ), "\\u000B\\u001F\x7F\\u0000" );
}

TEST( RendererV2, copiesWhatNeedsNoEscape ) {
   EXPECT_EQ( escaped( "" ), "" );
   EXPECT_EQ( escaped( "RM1 / permit" ), "RM1 / permit" );
   const std::string longText( 100000, 'x' );
   EXPECT_EQ( escaped( longText ), longText );
   EXPECT_EQ( escaped( longText + "\t" ), longText + "\\t" );
}

TEST( RendererV2, quotedStringsStandWithoutQuotesAndLeaveTheFlag ) {
   for( const bool first : { true, false } ) {
      RendererV2 renderer;
      renderer.firstItemIs( first );
      renderer.writeQuotedString( std::string_view( "a\"" ) );
      renderer.writeQuotedString( MatchOption::matchTag );
      EXPECT_EQ( renderer.text(), "a\\\"matchTag" );
      EXPECT_EQ( renderer.firstItem(), first );
   }
}

TEST( RendererV2, anOptionIsWrittenAsItsText ) {
   for( const unsigned option : { 0, 77, 115, 255 } ) {
      RendererV2 renderer;
      renderer.writeQuotedString( MatchOption( option ) );
      EXPECT_EQ( renderer.text(), stringValue( MatchOption( option ) ) ) << option;
   }
}

TEST( RendererV2, startsStructuredEmptyAndWithTheFirstItem ) {
   const RendererV2 renderer;
   EXPECT_EQ( renderer.mode(), 2 );
   EXPECT_EQ( renderer.text(), "" );
   EXPECT_TRUE( renderer.firstItem() );
   EXPECT_EQ( RendererV2( 7 ).mode(), 7 );
}

const struct {
   const char * name;
   void ( *write )( RendererV2 & );
   const char * text;   // behind another item; the first one lacks the comma, if it has one
   bool firstBehind;    // the flag behind it; as it was where `keepsFlag`
   bool keepsFlag;
} kWrites[] = {
   { "start an object", []( RendererV2 & r ) { r._startJsonObject( "key" ); }, ",\"key\":{", true, false },
   { "start an object, escaped key", []( RendererV2 & r ) { r._startJsonObject( "k\"\v" ); }, ",\"k\\\"\\u000B\":{", true, false },
   { "start an object, empty key", []( RendererV2 & r ) { r._startJsonObject( "" ); }, ",\"\":{", true, false },
   { "end an object", []( RendererV2 & r ) { r.endJsonObject(); }, "}", false, false },
   { "true", []( RendererV2 & r ) { r._addJsonKeyValuePair( "key", true ); }, ",\"key\":true", false, false },
   { "false", []( RendererV2 & r ) { r._addJsonKeyValuePair( "key", false ); }, ",\"key\":false", false, false },
   { "a bool without a key", []( RendererV2 & r ) { r._addJsonKeyValuePair( "", true ); }, ",true", false, false },
   { "a bool with an escaped key", []( RendererV2 & r ) { r._addJsonKeyValuePair( "\\", true ); }, ",\"\\\\\":true", false, false },
   { "zero", []( RendererV2 & r ) { r._addJsonKeyValuePair( "key", uint32_t( 0 ) ); }, ",\"key\":0", false, false },
   { "the greatest number", []( RendererV2 & r ) { r._addJsonKeyValuePair( "key", uint32_t( 4294967295 ) ); }, ",\"key\":4294967295", false,
     false },
   { "a number without a key", []( RendererV2 & r ) { r._addJsonKeyValuePair( "", uint32_t( 1234 ) ); }, ",1234", false, false },
   { "a number with an escaped key", []( RendererV2 & r ) { r._addJsonKeyValuePair( "\n", uint32_t( 7 ) ); }, ",\"\\n\":7", false, false },
   { "a comma", []( RendererV2 & r ) { r.writeComma(); }, ",", false, true },
   { "text as it is", []( RendererV2 & r ) { r.write( "\"\t" ); }, "\"\t", false, true },
};

TEST( RendererV2, itemsHaveACommaInFrontUnlessTheyAreTheFirst ) {
   for( const auto & row : kWrites )
      for( const bool first : { true, false } ) {
         RendererV2 renderer;
         renderer.firstItemIs( first );
         row.write( renderer );
         const bool comma = row.text[ 0 ] == ',';
         EXPECT_EQ( renderer.text(), row.text + ( first && comma ) ) << row.name << ", first " << first;
         EXPECT_EQ( renderer.firstItem(), row.keepsFlag ? first : row.firstBehind ) << row.name << ", first " << first;
      }
}

TEST( RendererV2, nothingIsWrittenInOtherModes ) {
   for( const int mode : { -2147483647, -1, 0, 1, 3, 4, 2147483647 } ) {
      RendererV2 renderer( mode );
      for( const auto & row : kWrites ) row.write( renderer );
      renderer.writeQuotedString( std::string_view( "text" ) );
      renderer.writeQuotedString( std::string_view( "\t" ) );
      renderer.writeQuotedString( MatchOption::matchTag );
      EXPECT_EQ( renderer.text(), "" ) << mode;
   }
}

TEST( RendererV2, oneBufferGrowsThroughout ) {
   RendererV2 renderer;
   renderer._startJsonObject( "a" );
   renderer._addJsonKeyValuePair( "b", uint32_t( 1 ) );
   renderer._startJsonObject( "c" );
   renderer._addJsonKeyValuePair( "d", true );
   renderer.endJsonObject();
   renderer._addJsonKeyValuePair( "e", false );
   renderer.endJsonObject();
   EXPECT_EQ( renderer.text(), R"("a":{"b":1,"c":{"d":true},"e":false})" );
}

TEST( RendererV2, theProcesssLocaleStaysOutOfNumbers ) {
   struct Grouping : std::numpunct<char> {
      std::string do_grouping() const override { return "\1"; }
   };
   const std::locale before = std::locale::global( std::locale( std::locale::classic(), new Grouping ) );
   RendererV2 renderer;
   renderer._addJsonKeyValuePair( "", uint32_t( 1234567 ) );
   std::locale::global( before );
   EXPECT_EQ( renderer.text(), "1234567" );
}

}   // namespace
