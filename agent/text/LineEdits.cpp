#include "text/LineEdits.h"

#include <algorithm>
#include <iterator>
#include <set>
#include <tuple>

#include "text/LineDiff.h"
#include "text/ListRuns.h"
#include "text/NumberedLists.h"
#include "text/Places.h"

namespace Agent {

namespace {

using Row = std::vector<uint32_t>;
template <class Thing>
using ByName = PolicyText::ByName<Thing>;

constexpr size_t kMostChanged = size_t( 1 ) << 20;   // bytes of changed lines; beyond, all but long lists is read

bool isBefore( const Place & a, const Place & b ) noexcept {
   return std::tie( a.file, a.line ) < std::tie( b.file, b.line );
}

// Calls `f` with the lists of each kind whose lines may be edited, out of each of `parts`.
template <class F, class... Parts>
void forEachKind( F && f, Parts &... parts ) {
   f( parts.ipv4PrefixLists... );
   f( parts.ipv6PrefixLists... );
   f( parts.communityLists... );
   f( parts.largeCommunityLists... );
   f( parts.extCommunityLists... );
   f( parts.asPathLists... );
}

// The same up to the first `f` that returns false. Returns whether all returned true.
template <class F, class... Parts>
bool allOfKinds( F && f, Parts &... parts ) {
   bool all = true;
   forEachKind( [ & ]( auto &... lists ) { all = all && f( lists... ); }, parts... );
   return all;
}

template <class Text>
bool isExpanded( const Text & list ) {
   if constexpr( requires { list.expanded; } )
      return list.expanded;
   else
      return false;
}

// The lists of these lines; nothing if a line does something else than to add one more numbered line to a list.
std::optional<PolicyText> readNumbered( std::string_view lines, Dialect dialect ) {
   for( std::string_view rest = lines; !rest.empty(); rest.remove_prefix( std::min( rest.find( '\n' ), rest.size() - 1 ) + 1 ) )
      if( numberedStart( rest ).empty() ) return std::nullopt;
   LineLoader loader( dialect );
   loader.load( {}, lines );
   if( !loader.errors().empty() || !loader.text().doubts.empty() ) return std::nullopt;
   PolicyText text = loader.takeText();
   size_t count = 0;
   const bool areInAnyOrder = allOfKinds(
      [ & ]( const auto & lists ) {
         for( const auto & [ name, list ] : lists ) {
            if( !list.anyOrder.value ) return false;
            count += list.lines.size();
         }
         return true;
      },
      text );
   return areInAnyOrder && count == countLines( lines ) ? std::optional( std::move( text ) ) : std::nullopt;
}

// Adds the lines of a hunk, whose first one is line `first` of the file. False: a line of this number is there already, or the kind of a
// community list changes.
template <class Text, class Line>
bool addLines( const ByName<Text> & lists, std::optional<Line> ListEdit<Line>::Change::*side, uint32_t file, uint32_t first,
               ByName<ListEdit<Line>> & edits ) {
   for( const auto & [ name, list ] : lists ) {
      auto & edit = edits[ name ];
      if( edit.lines.empty() ) edit.expanded = isExpanded( list );
      if( edit.expanded != isExpanded( list ) ) return false;
      for( const auto & [ number, line ] : list.lines ) {
         auto & slot = edit.lines[ number ].*side;
         if( slot ) return false;
         slot = line;
         slot->place.file = file;
         slot->place.line += first - 1;
      }
   }
   return true;
}

// Returns the number of added lines.
int64_t addMoves( uint32_t file, const std::vector<Hunk> & hunks, LineMoves & moves ) {
   int64_t moved = 0;
   for( const auto & hunk : hunks ) {
      const uint32_t before = countLines( hunk.before ), after = countLines( hunk.after );
      if( before != after ) moves.add( file, hunk.lineBefore + before, moved += int64_t( after ) - before );
   }
   return moved;
}

// Adds the lines of a hunk.
bool addHunk( const PolicyText & before, const PolicyText & after, uint32_t file, const Hunk & hunk, TextEdit & edit ) {
   return allOfKinds(
      [ & ]<class Line>( const auto & was, const auto & is, ByName<ListEdit<Line>> & edits ) {
         using Change = typename ListEdit<Line>::Change;
         return addLines( was, &Change::was, file, hunk.lineBefore, edits ) && addLines( is, &Change::is, file, hunk.lineAfter, edits );
      },
      before, after, edit );
}

// Whether the list has all lines that were, and no other line of the new numbers; and lines before and behind the edit.
template <class Line, class Text>
bool fits( const ListEdit<Line> & edit, const Text & list ) {
   if( edit.expanded != isExpanded( list ) || list.lines.empty() ) return false;
   size_t size = list.lines.size();
   for( const auto & [ number, change ] : edit.lines ) {
      const auto at = list.lines.find( number );
      if( ( at != list.lines.end() ) != change.was.has_value() || ( change.was && !( at->second == *change.was ) ) ) return false;
      size = size - change.was.has_value() + change.is.has_value();
   }
   return list.anyOrder.value && size != 0;
}

// The place of the list behind the edit: that of its first line or description. Nothing if the edit alone does not tell it.
template <class Line>
std::optional<Place> placeBehind( const ListEdit<Line> & edit, const ListText<Line> & list, const LineMoves & moves ) {
   const Place * lowest = nullptr;
   bool isRemoved = false;
   for( const auto & [ number, change ] : edit.lines ) {
      if( change.was && !isBefore( list.place, change.was->place ) ) isRemoved = true;
      if( change.is && ( !lowest || isBefore( change.is->place, *lowest ) ) ) lowest = &change.is->place;
   }
   const Place now = moves( list.place );
   if( !isRemoved && ( !lowest || isBefore( now, *lowest ) ) ) return now;
   // A first line that was replaced: if no line moved, the others stand behind it as before.
   const bool isFirst = lowest && !isBefore( now, *lowest ) && ( !isRemoved || moves.empty() );
   return isFirst && list.description.empty() ? std::optional( *lowest ) : std::nullopt;
}

template <class Line>
uint32_t contentOf( const Line & line ) {
   return static_cast<uint32_t>( hashOf( line ) );
}

// Whether a lenient loader left out one of these lines of a file.
bool hasLeftOut( const PolicyText & text, uint32_t file, uint32_t first, uint32_t end ) {
   return std::ranges::any_of( text.leftOut, [ = ]( const LeftOut & line ) {
      const Place & place = line.error.place;
      return place.file == file && place.line >= first && place.line < end;
   } );
}

// The contents of one side of the changed lines, ascending.
template <class Line>
Row contentsOfSide( const ListEdit<Line> & edit, std::optional<Line> ListEdit<Line>::Change::*side ) {
   Row contents;
   for( const auto & [ number, change ] : edit.lines )
      if( const auto & line = change.*side ) contents.push_back( contentOf( *line ) );
   std::ranges::sort( contents );
   return contents;
}
template <class Line>
Row contentsBefore( const ListEdit<Line> & edit ) {
   return contentsOfSide( edit, &ListEdit<Line>::Change::was );
}
template <class Line>
Row contentsBehind( const ListEdit<Line> & edit ) {
   return contentsOfSide( edit, &ListEdit<Line>::Change::is );
}

template <class Text>
ByName<Row> contentsOf( const ByName<Text> & lists ) {
   ByName<Row> contents;
   for( const auto & [ name, list ] : lists ) {
      if( !list.anyOrder.value ) continue;
      auto & hashes = contents[ name ];
      hashes.reserve( list.lines.size() );
      for( const auto & line : list.lines ) hashes.push_back( contentOf( line.second ) );
      std::ranges::sort( hashes );
   }
   return contents;
}

// Whether each line of the list has a content of its own behind the edit.
template <class Line>
bool areNew( const ListEdit<Line> & edit, const Row & contents ) {
   const auto was = contentsBefore( edit ), is = contentsBehind( edit );
   if( std::ranges::adjacent_find( is ) != is.end() ) return false;
   const auto countIn = []( const Row & row, uint32_t content ) {
      const auto [ first, last ] = std::equal_range( row.begin(), row.end(), content );
      return last - first;
   };
   return std::ranges::all_of( is, [ & ]( uint32_t content ) { return countIn( contents, content ) == countIn( was, content ); } );
}

template <class Line>
void replace( const ByName<ListEdit<Line>> & edits, ByName<Row> & contents ) {
   for( const auto & [ name, edit ] : edits ) {
      auto & all = contents.at( name );
      const auto was = contentsBefore( edit ), is = contentsBehind( edit );
      if( was == is ) continue;
      Row kept, next;
      std::ranges::set_difference( all, was, std::back_inserter( kept ) );
      std::ranges::merge( kept, is, std::back_inserter( next ) );
      all = std::move( next );
   }
}

// Finds the places of the lists behind the edits. False: an edit does not fit its list, or needs the other lines to be read. `contents`: null
// if lists may have a content twice.
template <class Text, class Line>
bool complete( const ByName<Text> & lists, const ByName<Row> * contents, const LineMoves & moves, ByName<ListEdit<Line>> & edits ) {
   for( auto & [ name, edit ] : edits ) {
      const auto list = lists.find( name );
      if( list == lists.end() || !fits( edit, list->second ) ) return false;
      if( contents && !areNew( edit, contents->at( name ) ) ) return false;
      edit.place = placeBehind<Line>( edit, list->second, moves );
      if( !edit.place ) return false;
   }
   return true;
}

// The lines of a text that are not read again, in ascending order of their places.
class UnreadLines {
 public:
   void add( uint32_t file, uint32_t first, uint32_t count ) { ranges_.push_back( { file, first, first + count } ); }
   bool empty() const noexcept { return ranges_.empty(); }
   bool contain( const Place & place ) const noexcept {
      const auto behind = std::ranges::upper_bound( ranges_, std::tie( place.file, place.line ), {},
                                                    []( const Range & range ) { return std::tie( range.file, range.first ); } );
      if( behind == ranges_.begin() ) return false;
      const Range & range = *std::prev( behind );
      return range.file == place.file && place.line < range.end;
   }

 private:
   struct Range {
      uint32_t file;
      uint32_t first;
      uint32_t end;
   };
   std::vector<Range> ranges_;
};

// Calls `visit( lines, line )` for the lines between the hunks, and their first number in the state before.
template <class Visit>
void forEachSame( std::string_view next, const std::vector<Hunk> & hunks, Visit visit ) {
   size_t at = 0;
   uint32_t line = 1;
   for( const auto & hunk : hunks ) {
      const auto end = static_cast<size_t>( hunk.after.data() - next.data() );
      visit( next.substr( at, end - at ), line );
      at = end + hunk.after.size();
      line = hunk.lineBefore + countLines( hunk.before );
   }
   visit( next.substr( at ), line );
}

// Names the list of a run in the edit, if its lines may stand in any order.
bool noteRun( const ListRun & run, const PolicyText & text, TextEdit & edit ) {
   const auto first = readNumbered( run.bytes.substr( 0, run.bytes.find( '\n' ) + 1 ), text.dialect );
   bool isNoted = false;
   if( first )
      forEachKind(
         [ & ]( const auto & read, const auto & lists, auto & edits ) {
            if( read.empty() ) return;
            const auto list = lists.find( read.begin()->first );
            if( list == lists.end() || !list->second.anyOrder.value ) return;
            edits[ list->first ].unread += run.count - 1;
            isNoted = true;
         },
         *first, text, edit );
   return isNoted;
}

// The lines of the file that left a trace beside their lists, and the lines below them: no run has such a line.
std::vector<uint32_t> endsOfRuns( const PolicyText & text, uint32_t file ) {
   std::vector<uint32_t> lines;
   const auto add = [ & ]( const Place & place ) {
      if( place.file == file ) lines.insert( lines.end(), { place.line, place.line + 1 } );
   };
   for( const auto & doubt : text.doubts ) add( doubt.place );
   for( const auto & line : text.leftOut ) add( line.error.place );
   std::ranges::sort( lines );
   return lines;
}

// Makes the edits of lists of which some lines were read, the lists `read`. False: all lines must be read. `contents`: as complete().
template <class Text, class Line>
bool completeRead( const ByName<Text> & lists, const ByName<Text> & read, const ByName<Row> * contents, const UnreadLines & unread,
                   ByName<ListEdit<Line>> & edits ) {
   for( auto & [ name, edit ] : edits ) {
      const Text & was = lists.at( name );
      const auto at = read.find( name );
      if( at == read.end() || !at->second.anyOrder.value || isExpanded( at->second ) != isExpanded( was ) ) return false;
      edit.expanded = isExpanded( was );
      edit.place = at->second.place;
      size_t known = edit.unread;
      for( const auto & [ number, line ] : at->second.lines ) {
         auto & change = edit.lines[ number ];
         change.is = line;
         const auto before = was.lines.find( number );
         if( before == was.lines.end() ) continue;
         if( unread.contain( before->second.place ) ) return false;
         change.was = before->second;
         ++known;
      }
      if( known != was.lines.size() )   // all that is known was in the list: lines were removed
         for( const auto & [ number, line ] : was.lines )
            if( !unread.contain( line.place ) ) edit.lines[ number ].was = line;
      if( contents && !areNew( edit, contents->at( name ) ) ) return false;
   }
   return true;
}

template <class Line, class Text>
void applyTo( ByName<Text> & lists, const ByName<ListEdit<Line>> & edits ) {
   for( const auto & [ name, edit ] : edits ) {
      Text & list = lists.at( name );
      for( const auto & [ number, change ] : edit.lines )
         if( change.is )
            list.lines.insert_or_assign( number, *change.is );
         else
            list.lines.erase( number );
      if( edit.place ) list.place = *edit.place;
   }
}

}   // namespace

void LineMoves::add( uint32_t file, uint32_t line, int64_t by ) {
   moves_.push_back( { file, line, by } );
}

Place LineMoves::operator()( Place place ) const noexcept {
   const auto behind = std::ranges::upper_bound( moves_, std::tie( place.file, place.line ), {},
                                                 []( const Move & move ) { return std::tie( move.file, move.line ); } );
   if( behind != moves_.begin() && std::prev( behind )->file == place.file )
      place.line = static_cast<uint32_t>( place.line + std::prev( behind )->by );
   return place;
}

namespace {

void applyLines( const TextEdit & edit, PolicyText & text ) {
   if( !edit.moves.empty() )
      forEachPlace( text, [ & ]( Place & place ) {
         if( place.line != 0 ) place = edit.moves( place );
      } );
   forEachKind( []( auto & lists, const auto & edits ) { applyTo( lists, edits ); }, text, edit );
   text.lines = static_cast<uint64_t>( static_cast<int64_t>( text.lines ) + edit.lines );
}

}   // namespace

void apply( TextEdit edit, PolicyText & text ) {
   if( !edit.read ) return applyLines( edit, text );
   PolicyText lists = takeEdited( edit, text );
   text = std::move( *edit.read );
   putLists( std::move( lists ), text );
}

PolicyText takeEdited( TextEdit & edit, PolicyText & text ) {
   PolicyText lists;
   forEachKind(
      []( const auto & edits, auto & from, auto & read, auto & to ) {
         for( const auto & [ name, listEdit ] : edits ) {
            const auto list = to.insert( from.extract( name ) ).position;
            list->second.description = std::move( read.extract( name ).mapped().description );
         }
      },
      edit, text, *edit.read, lists );
   applyLines( edit, lists );
   return lists;
}

void putLists( PolicyText lists, PolicyText & text ) {
   forEachKind( []( auto & from, auto & to ) { to.merge( from ); }, lists, text );
}

LineEdits::LineEdits( const PolicyText & text, std::vector<SourceFile> files, bool lenient, size_t leastRun )
      : dialect_( text.dialect ), lenient_( lenient ), leastRun_( std::max<size_t>( leastRun, 2 ) ), files_( std::move( files ) ) {
   std::set<std::string_view> names;
   for( const auto & file : files_ ) names.insert( file.name );
   areDistinct_ = names.size() == files_.size() && std::ranges::equal( files_, text.files, {}, &SourceFile::name );
   if( dialect_ == Dialect::frr )
      forEachKind( []( const auto & lists, auto & contents ) { contents = contentsOf( lists ); }, text, contents_ );
}

std::optional<TextEdit> LineEdits::editTo( const PolicyText & text, const std::vector<SourceFile> & next ) const {
   if( !areDistinct_ || !std::ranges::equal( files_, next, {}, &SourceFile::name, &SourceFile::name ) ) return std::nullopt;
   Hunks hunks;
   for( size_t file = 0; file < files_.size(); ++file ) {
      const auto &now = files_[ file ].bytes, &then = next[ file ].bytes;
      hunks.push_back( now == then ? std::vector<Hunk>() : differingLines( now, then ) );
   }
   auto edit = editOf( text, hunks );
   return edit ? std::move( edit ) : readOthers( text, next, hunks );
}

std::optional<TextEdit> LineEdits::editOf( const PolicyText & text, const Hunks & hunks ) const {
   TextEdit edit;
   for( uint32_t file = 0; file < files_.size(); ++file )
      if( !addFile( text, file, hunks[ file ], edit ) ) return std::nullopt;
   // The texts of some doubts tell the numbers of other lines.
   const auto tellsLines = []( const Doubt & doubt ) {
      return doubt.kind == Doubt::Kind::replaced || doubt.kind == Doubt::Kind::conflict || doubt.kind == Doubt::Kind::refused;
   };
   if( !edit.moves.empty() && std::ranges::any_of( text.doubts, tellsLines ) ) return std::nullopt;
   const bool isComplete =
      allOfKinds( [ & ]( const auto & lists, const auto & contents,
                         auto & edits ) { return complete( lists, dialect_ == Dialect::frr ? &contents : nullptr, edit.moves, edits ); },
                  text, contents_, edit );
   return isComplete ? std::optional( std::move( edit ) ) : std::nullopt;
}

// False: other lines must be read, too.
bool LineEdits::addFile( const PolicyText & text, uint32_t file, const std::vector<Hunk> & hunks, TextEdit & edit ) const {
   const std::string_view now = files_[ file ].bytes;
   size_t changed = 0;
   for( const auto & hunk : hunks ) changed += hunk.before.size() + hunk.after.size();
   if( changed > kMostChanged ) return false;
   for( const auto & hunk : hunks ) {
      const uint32_t endBefore = hunk.lineBefore + countLines( hunk.before );
      // A line that was left out for its context looks simple here; it ends no stanza.
      if( hasLeftOut( text, file, hunk.lineBefore - 1, endBefore ) ) return false;
      if( hunk.before.empty() || hunk.after.empty() ) {
         const auto above = lineAbove( now, static_cast<size_t>( hunk.before.data() - now.data() ) );
         if( above.empty() || !readNumbered( above, text.dialect ) ) return false;
      }
      const auto before = readNumbered( hunk.before, text.dialect ), after = readNumbered( hunk.after, text.dialect );
      if( !before || !after || !addHunk( *before, *after, file, hunk, edit ) ) return false;
   }
   edit.lines += addMoves( file, hunks, edit.moves );
   return true;
}

// Reads all lines but runs of lines of one list that have not changed.
std::optional<TextEdit> LineEdits::readOthers( const PolicyText & text, const std::vector<SourceFile> & next, const Hunks & hunks ) const {
   TextEdit edit;
   UnreadLines unread;
   std::vector<std::vector<FileLines>> skipped( next.size() );
   for( uint32_t file = 0; file < next.size(); ++file ) {
      addMoves( file, hunks[ file ], edit.moves );
      const auto ends = endsOfRuns( text, file );
      forEachSame( next[ file ].bytes, hunks[ file ], [ & ]( std::string_view same, uint32_t line ) {
         for( const auto & run : listRuns( same, line, ends, leastRun_ ) ) {
            if( !noteRun( run, text, edit ) ) continue;
            unread.add( file, run.line + 1, run.count - 1 );
            skipped[ file ].push_back( { run.bytes.substr( run.bytes.find( '\n' ) + 1 ), run.count - 1 } );
         }
      } );
   }
   if( unread.empty() ) return std::nullopt;
   LineLoader loader( dialect_, lenient_ );
   for( size_t file = 0; file < next.size(); ++file ) loader.loadWithout( next[ file ].name, next[ file ].bytes, skipped[ file ] );
   if( !loader.errors().empty() ) return std::nullopt;
   edit.read = loader.takeText();
   const bool isComplete = allOfKinds(
      [ & ]( const auto & lists, const auto & read, const auto & contents, auto & edits ) {
         return completeRead( lists, read, dialect_ == Dialect::frr ? &contents : nullptr, unread, edits );
      },
      text, *edit.read, contents_, edit );
   return isComplete ? std::optional( std::move( edit ) ) : std::nullopt;
}

void LineEdits::filesAre( const TextEdit & edit, std::vector<SourceFile> next ) {
   files_ = std::move( next );
   if( dialect_ != Dialect::frr ) return;
   if( edit.read )
      forEachKind(
         []( const auto & edits, const auto & lists, auto & contents ) {
            auto all = contentsOf( lists );
            for( const auto & [ name, listEdit ] : edits ) all[ name ] = std::move( contents.at( name ) );
            contents = std::move( all );
         },
         edit, *edit.read, contents_ );
   forEachKind( []( const auto & edits, auto & contents ) { replace( edits, contents ); }, edit, contents_ );
}

}   // namespace Agent
