#include "text/LineLoader.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <set>
#include <tuple>
#include <utility>

#include <fmt/format.h>

#include "text/Applications.h"
#include "text/Constants.h"
#include "text/Doubts.h"
#include "text/LineCursor.h"
#include "text/ListLines.h"
#include "text/NeighborLines.h"
#include "text/RouteMapLines.h"

namespace Agent {

namespace {

// Independent of the standard library's hash.
uint64_t secondHash( std::string_view bytes ) noexcept {
   uint64_t hash = 0x9e3779b97f4a7c15u;
   while( !bytes.empty() ) {
      uint64_t word = 0;
      const size_t size = std::min( bytes.size(), sizeof word );
      std::memcpy( &word, bytes.data(), size );
      bytes.remove_prefix( size );
      hash = ( hash ^ word ) * 0xff51afd7ed558ccdu;
      hash ^= hash >> 32;
   }
   return hash;
}

}   // namespace

/// Separates the lines of a policy from other stanzas. A stanza is a line that begins with no word of a policy, and the indented lines
/// after it. An indented line outside of any stanza is read like any other.
class LineLoader::Reader {
 public:
   Reader( Dialect dialect, bool lenient ) : lenient_( lenient ) { text.dialect = dialect; }
   void load( const std::string & file, std::string_view bytes );
   void loadWithout( const std::string & file, std::string_view bytes, const std::vector<FileLines> & unread );

   PolicyText text;
   std::vector<TextError> errors;

 private:
   void startFile( const std::string & file );
   void readLine( std::string_view bytes );
   void readComment( LineCursor & line );
   void readWords( LineCursor & line );
   bool readPolicy( LineCursor line );
   void readOrLeaveOut( LineCursor & line );
   void leaveOut( LineCursor line, TextError error, std::string_view openBefore );
   void skip( const LineCursor & line, bool endsSequence );
   void doubt( const LineCursor & line, bool endsSequence );
   void noteEnd( LineCursor line );
   void policyIs( const LineCursor & line );

   const bool lenient_;
   Doubts doubts_{ text.doubts, text.files };
   ListLines lists_{ text, doubts_ };
   RouteMapLines routeMaps_{ text.routeMaps, doubts_ };
   NeighborLines neighbors_{ text.routers, doubts_ };
   std::set<std::tuple<std::string, size_t, size_t, uint64_t>> loaded_;   // name; size and two hashes of the bytes
   // The file and line being read.
   uint32_t file_ = 0;
   uint32_t number_ = 0;
   std::vector<IgnoreComment> ignores_;   // of the comments above the next line
   bool hasLines_ = false;                // other than blanks and comments
   bool hasPolicy_ = false;
   bool inOtherStanza_ = false;   // a stanza that has been counted
   bool endedSequence_ = false;   // that stanza ended a sequence
   uint32_t endLine_ = 0;         // "end"; 0 for none, or if a line behind it has been reported
};

void LineLoader::Reader::load( const std::string & file, std::string_view bytes ) {
   if( loaded_.emplace( file, bytes.size(), std::hash<std::string_view>()( bytes ), secondHash( bytes ) ).second )
      loadWithout( file, bytes, {} );
}

void LineLoader::Reader::loadWithout( const std::string & file, std::string_view bytes, const std::vector<FileLines> & unread ) {
   startFile( file );
   if( bytes.starts_with( kByteOrderMark ) ) bytes.remove_prefix( kByteOrderMark.size() );
   auto next = unread.begin();
   while( !bytes.empty() ) {
      if( next != unread.end() && next->bytes.data() == bytes.data() ) {
         number_ += next->count;
         bytes.remove_prefix( next++->bytes.size() );
         continue;
      }
      const size_t end = std::min( bytes.find( '\n' ), bytes.size() );
      readLine( bytes.substr( 0, end ) );
      bytes.remove_prefix( std::min( end + 1, bytes.size() ) );
   }
   text.lines += number_;
   doubts_.endFile();
   std::ranges::move( std::exchange( ignores_, {} ), std::back_inserter( text.ignores ) );
   if( hasLines_ && !hasPolicy_ ) text.strayFiles.push_back( file_ );
}

void LineLoader::Reader::startFile( const std::string & file ) {
   file_ = static_cast<uint32_t>( text.files.size() );
   text.files.push_back( file );
   number_ = 0;
   hasLines_ = hasPolicy_ = inOtherStanza_ = endedSequence_ = false;
   endLine_ = 0;
   routeMaps_.close();
   neighbors_.startFile();
}

void LineLoader::Reader::readLine( std::string_view bytes ) {
   LineCursor line( bytes, file_, ++number_, text.dialect );
   if( line.atEnd() ) return;
   if( line.peek().text.front() == '!' || line.peek().text.front() == '#' ) return readComment( line );
   for( auto & ignore : std::exchange( ignores_, {} ) ) {
      ignore.below = number_;
      text.ignores.push_back( std::move( ignore ) );
   }
   hasLines_ = true;
   noteEnd( line );
   readOrLeaveOut( line );
}

void LineLoader::Reader::readOrLeaveOut( LineCursor & line ) {
   const LineCursor start = line;
   const std::string openBefore( routeMaps_.isOpen() ? routeMaps_.name() : std::string_view() );
   const bool isLost = routeMaps_.isOpen() && openBefore.empty();
   try {
      readWords( line );
      if( lenient_ && isLost && routeMaps_.isOpen() && routeMaps_.name().empty() )
         leaveOut( start, { start.place(), "the line of its sequence is left out" }, openBefore );
   } catch( LineError & error ) {
      inOtherStanza_ = false;
      hasPolicy_ = true;
      TextError wrong{ { file_, number_, error.column }, std::move( error.reason ) };
      if( lenient_ )
         leaveOut( start, std::move( wrong ), openBefore );
      else
         errors.push_back( std::move( wrong ) );
   }
}

// `openBefore`: the route map of the sequence that was open before the line; FRR adds the clauses behind a wrong "route-map" line to it.
void LineLoader::Reader::leaveOut( LineCursor line, TextError error, std::string_view openBefore ) {
   LeftOut out{ std::move( error ), {} };
   constexpr std::string_view kOthers[] = { "route-map", "ip", "ipv6", "access-list", "bgp" };
   LineCursor behindNo = line;
   behindNo.takeWords( "no" );
   const bool isClause = routeMaps_.isOpen() && std::ranges::find( kOthers, behindNo.peek().text ) == std::end( kOthers );
   if( isClause && routeMaps_.name().empty() ) {   // the line of its sequence is left out, too
      out.names = text.leftOut.back().names;
   } else {
      if( !openBefore.empty() ) out.names.emplace( openBefore );
      while( !isClause && !line.atEnd() ) out.names.emplace( line.take().text );
   }
   text.leftOut.push_back( std::move( out ) );
}

// "! routepolicy: ignore KIND, KIND" applies to the next line that is no comment.
void LineLoader::Reader::readComment( LineCursor & line ) {
   line.take();
   if( !line.takeWords( "routepolicy: ignore" ) ) return;
   while( !line.atEnd() ) {
      const Token kind = line.take();
      ignores_.push_back( { std::string( kind.text.substr( 0, kind.text.find( ',' ) ) ), line.place( kind ), 0 } );
   }
}

void LineLoader::Reader::readWords( LineCursor & line ) {
   const bool wasOpen = routeMaps_.isOpen();
   if( wasOpen && routeMaps_.readClause( line ) ) return;
   if( !line.indented() ) routeMaps_.close();
   if( ( line.indented() && inOtherStanza_ ) || !readPolicy( line ) ) {
      // To skip a mistyped or unsupported clause would silently change verdicts.
      if( routeMaps_.isOpen() ) throwExpected( "a clause of a route map", line.peek() );
      return skip( line, wasOpen );
   }
   neighbors_.close();
   inOtherStanza_ = false;
   policyIs( line );
}

// What stands behind "end" depends on who reads the file.
void LineLoader::Reader::noteEnd( LineCursor line ) {
   if( text.dialect != Dialect::frr ) return;
   if( line.takeWords( "end" ) && line.atEnd() && endLine_ == 0 ) endLine_ = number_;
   if( line.takeWords( "configure terminal" ) ) endLine_ = 0;
}

void LineLoader::Reader::policyIs( const LineCursor & line ) {
   hasPolicy_ = true;
   if( endLine_ != 0 ) doubts_.behindEnd( line, std::exchange( endLine_, 0 ) );
}

bool LineLoader::Reader::readPolicy( LineCursor line ) {
   if( ListLines::isOfOthers( line ) ) return false;
   const LineCursor whole = line;
   const bool no = line.takeWords( "no" );
   try {
      if( !lists_.read( line, no ) ) return routeMaps_.read( line, no );
      routeMaps_.close();
   } catch( const RefusedLine & refused ) { doubts_.refused( whole, refused.reason ); }
   return true;
}

void LineLoader::Reader::skip( const LineCursor & line, bool endsSequence ) {
   addOtherWords( line, text.otherWords );
   if( neighbors_.read( line ) ) policyIs( line );
   if( !addApplications( line, text.applications ) ) doubt( line, endsSequence );
   if( line.indented() && inOtherStanza_ ) return;
   ++text.skippedStanzas;
   inOtherStanza_ = true;
   endedSequence_ = endsSequence;
}

void LineLoader::Reader::doubt( const LineCursor & line, bool endsSequence ) {
   // Behind a line that separates a sequence from its clauses, or in no stanza. Other stanzas have clauses of their own.
   const bool mayBeStray = line.indented() && ( !inOtherStanza_ || endedSequence_ );
   if( mayBeStray && routeMaps_.isClause( line ) )
      doubts_.strayClause( line );
   else if( !ListLines::isOfOthers( line ) )
      doubts_.skipped( line, endsSequence );
}

LineLoader::LineLoader( Dialect dialect, bool lenient ) : reader_( std::make_unique<Reader>( dialect, lenient ) ) {}
LineLoader::~LineLoader() = default;
LineLoader::LineLoader( LineLoader && ) noexcept = default;
LineLoader & LineLoader::operator=( LineLoader && ) noexcept = default;

void LineLoader::load( const std::string & file, std::string_view bytes ) {
   reader_->load( file, bytes );
}

void LineLoader::loadWithout( const std::string & file, std::string_view bytes, const std::vector<FileLines> & unread ) {
   reader_->loadWithout( file, bytes, unread );
}

const PolicyText & LineLoader::text() const noexcept {
   return reader_->text;
}

PolicyText LineLoader::takeText() noexcept {
   PolicyText text = std::move( reader_->text );
   reader_.reset();
   return text;
}

const std::vector<TextError> & LineLoader::errors() const noexcept {
   return reader_->errors;
}

std::string LineLoader::toString( const TextError & error ) const {
   return fmt::format( "{}:{}:{}: {}", text().files[ error.place.file ], error.place.line, error.place.column, error.reason );
}

}   // namespace Agent
