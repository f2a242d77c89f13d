#include "text/LineLoader.h"

#include <algorithm>
#include <utility>

#include <fmt/format.h>

#include "text/LineCursor.h"
#include "text/ListLines.h"
#include "text/RouteMapLines.h"

namespace Agent {

namespace {

constexpr std::string_view kByteOrderMark = "\xef\xbb\xbf";   // some editors begin a UTF-8 text with it

}   // namespace

/// Tells the lines of a policy from those of other stanzas. A stanza is a line that begins with no word of a policy, and the indented
/// lines behind it.
class LineLoader::Reader {
 public:
   void load( const std::string & file, std::string_view bytes );

   PolicyText text;
   std::vector<TextError> errors;

 private:
   void startFile( const std::string & file );
   void readLine( std::string_view bytes );
   void readWords( LineCursor & line );
   bool readPolicy( LineCursor & line );
   void passOver( const LineCursor & line );

   ListLines lists_{ text };
   RouteMapLines routeMaps_{ text.routeMaps };
   uint32_t file_ = 0;
   uint32_t number_ = 0;          // of the line
   bool inOtherStanza_ = false;   // which is counted already
};

void LineLoader::Reader::load( const std::string & file, std::string_view bytes ) {
   startFile( file );
   if( bytes.starts_with( kByteOrderMark ) ) bytes.remove_prefix( kByteOrderMark.size() );
   while( !bytes.empty() ) {
      const size_t end = std::min( bytes.find( '\n' ), bytes.size() );
      readLine( bytes.substr( 0, end ) );
      bytes.remove_prefix( std::min( end + 1, bytes.size() ) );
   }
   text.lines += number_;
}

void LineLoader::Reader::startFile( const std::string & file ) {
   const auto at = std::find( text.files.begin(), text.files.end(), file );
   file_ = static_cast<uint32_t>( at - text.files.begin() );
   if( at == text.files.end() ) text.files.push_back( file );
   number_ = 0;
   inOtherStanza_ = false;
   routeMaps_.close();
}

void LineLoader::Reader::readLine( std::string_view bytes ) {
   LineCursor line( bytes, file_, ++number_ );
   if( line.atEnd() || line.peek().text.front() == '!' || line.peek().text.front() == '#' ) return;
   try {
      readWords( line );
   } catch( LineError & error ) {
      inOtherStanza_ = false;
      errors.push_back( { { file_, number_, error.column }, std::move( error.reason ) } );
   }
}

void LineLoader::Reader::readWords( LineCursor & line ) {
   if( routeMaps_.isOpen() ) {
      if( routeMaps_.readClause( line ) ) return;
      // A clause that was mistyped, or that there is none for, would change verdicts in silence.
      if( line.indented() ) throwExpected( "a clause of a route map", line.peek() );
      routeMaps_.close();
   }
   if( line.indented() || !readPolicy( line ) )
      passOver( line );
   else
      inOtherStanza_ = false;
}

bool LineLoader::Reader::readPolicy( LineCursor & line ) {
   const bool no = line.takeWords( "no" );
   return lists_.read( line, no ) || routeMaps_.read( line, no );
}

void LineLoader::Reader::passOver( const LineCursor & line ) {
   if( !line.indented() || !inOtherStanza_ ) ++text.passedOverStanzas;
   inOtherStanza_ = true;
}

LineLoader::LineLoader() : reader_( std::make_unique<Reader>() ) {}
LineLoader::~LineLoader() = default;
LineLoader::LineLoader( LineLoader && ) noexcept = default;
LineLoader & LineLoader::operator=( LineLoader && ) noexcept = default;

void LineLoader::load( const std::string & file, std::string_view bytes ) {
   reader_->load( file, bytes );
}

const PolicyText & LineLoader::text() const noexcept {
   return reader_->text;
}

const std::vector<TextError> & LineLoader::errors() const noexcept {
   return reader_->errors;
}

std::string LineLoader::toString( const TextError & error ) const {
   return fmt::format( "{}:{}:{}: {}", text().files[ error.place.file ], error.place.line, error.place.column, error.reason );
}

}   // namespace Agent
