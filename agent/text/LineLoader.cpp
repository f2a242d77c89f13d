#include "text/LineLoader.h"

#include <algorithm>
#include <set>
#include <tuple>
#include <utility>

#include <fmt/format.h>

#include "text/Applications.h"
#include "text/Doubts.h"
#include "text/LineCursor.h"
#include "text/ListLines.h"
#include "text/RouteMapLines.h"

namespace Agent {

namespace {

constexpr std::string_view kByteOrderMark = "\xef\xbb\xbf";   // some editors begin a UTF-8 text with it

auto keyOf( const Application & a ) {
   return std::tuple( a.place.line, a.place.column, a.kind, std::string_view( a.name ) );
}
auto keyOf( const Doubt & d ) {
   return std::tuple( d.place.line, d.place.column, d.kind, std::string_view( d.text ) );
}

// Of a file that is read again: takes off those behind the first `known` that are among these.
template <class Note>
void dropRepeated( std::vector<Note> & notes, size_t known, uint32_t file ) {
   std::set<decltype( keyOf( notes.front() ) )> before;
   for( size_t i = 0; i < known; ++i )
      if( notes[ i ].place.file == file ) before.insert( keyOf( notes[ i ] ) );
   const auto start = notes.begin() + static_cast<std::ptrdiff_t>( known );
   notes.erase( std::remove_if( start, notes.end(), [ & ]( const Note & note ) { return before.contains( keyOf( note ) ); } ),
                notes.end() );
}

}   // namespace

/// Tells the lines of a policy from those of other stanzas. A stanza is a line that begins with no word of a policy, and the indented
/// lines behind it.
class LineLoader::Reader {
 public:
   void load( const std::string & file, std::string_view bytes );

   PolicyText text;
   std::vector<TextError> errors;

 private:
   /// Whether the file is read again.
   bool startFile( const std::string & file );
   void noteStray();
   void readLine( std::string_view bytes );
   void readWords( LineCursor & line );
   bool readPolicy( LineCursor line );
   void passOver( const LineCursor & line, bool endsSequence );

   /// What the files say, in any of their readings.
   struct Says {
      bool something = false;
      bool policy = false;
   };

   Doubts doubts_{ text.doubts };
   ListLines lists_{ text, doubts_ };
   RouteMapLines routeMaps_{ text.routeMaps, doubts_ };
   std::vector<Says> says_;   // as text.files
   uint32_t file_ = 0;
   uint32_t number_ = 0;          // of the line
   bool inOtherStanza_ = false;   // which is counted already
};

void LineLoader::Reader::load( const std::string & file, std::string_view bytes ) {
   const bool again = startFile( file );
   const size_t applications = text.applications.size(), doubts = text.doubts.size();
   if( bytes.starts_with( kByteOrderMark ) ) bytes.remove_prefix( kByteOrderMark.size() );
   while( !bytes.empty() ) {
      const size_t end = std::min( bytes.find( '\n' ), bytes.size() );
      readLine( bytes.substr( 0, end ) );
      bytes.remove_prefix( std::min( end + 1, bytes.size() ) );
   }
   text.lines += number_;
   doubts_.endFile();
   noteStray();
   if( !again ) return;
   dropRepeated( text.applications, applications, file_ );
   dropRepeated( text.doubts, doubts, file_ );
}

bool LineLoader::Reader::startFile( const std::string & file ) {
   const auto at = std::find( text.files.begin(), text.files.end(), file );
   file_ = static_cast<uint32_t>( at - text.files.begin() );
   const bool again = at != text.files.end();
   if( !again ) text.files.push_back( file );
   says_.resize( text.files.size() );
   number_ = 0;
   inOtherStanza_ = false;
   routeMaps_.close();
   return again;
}

void LineLoader::Reader::noteStray() {
   auto & stray = text.strayFiles;
   const auto at = std::lower_bound( stray.begin(), stray.end(), file_ );
   const bool listed = at != stray.end() && *at == file_;
   const bool is = says_[ file_ ].something && !says_[ file_ ].policy;
   if( is && !listed ) stray.insert( at, file_ );
   if( !is && listed ) stray.erase( at );
}

void LineLoader::Reader::readLine( std::string_view bytes ) {
   LineCursor line( bytes, file_, ++number_ );
   if( line.atEnd() || line.peek().text.front() == '!' || line.peek().text.front() == '#' ) return;
   says_[ file_ ].something = true;
   try {
      readWords( line );
   } catch( LineError & error ) {
      inOtherStanza_ = false;
      says_[ file_ ].policy = true;
      errors.push_back( { { file_, number_, error.column }, std::move( error.reason ) } );
   }
}

void LineLoader::Reader::readWords( LineCursor & line ) {
   const bool wasOpen = routeMaps_.isOpen();
   if( wasOpen ) {
      if( routeMaps_.readClause( line ) ) return;
      // A clause that was mistyped, or that there is none for, would change verdicts in silence.
      if( line.indented() ) throwExpected( "a clause of a route map", line.peek() );
      routeMaps_.close();
   }
   if( line.indented() || !readPolicy( line ) ) return passOver( line, wasOpen );
   inOtherStanza_ = false;
   says_[ file_ ].policy = true;
}

bool LineLoader::Reader::readPolicy( LineCursor line ) {
   const bool no = line.takeWords( "no" );
   return lists_.read( line, no ) || routeMaps_.read( line, no );
}

void LineLoader::Reader::passOver( const LineCursor & line, bool endsSequence ) {
   if( !line.indented() || !inOtherStanza_ ) ++text.passedOverStanzas;
   inOtherStanza_ = true;
   if( !addApplications( line, text.applications ) && !line.indented() ) doubts_.passedOver( line, endsSequence );
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
