#include "text/LineEdits.h"

#include <algorithm>
#include <iterator>
#include <set>
#include <tuple>

#include "text/LineCursor.h"
#include "text/LineDiff.h"
#include "text/NumberedLists.h"
#include "text/Places.h"

namespace Agent {

namespace {

using Row = std::vector<uint32_t>;
template <class Thing>
using ByName = PolicyText::ByName<Thing>;

constexpr size_t kMostChanged = size_t( 1 ) << 20;   // bytes of changed lines; beyond, the files are loaded

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

// "ip prefix-list NAME seq ..." or that of another list, not indented.
bool addsNumbered( std::string_view bytes ) {
   LineCursor line( bytes.substr( 0, bytes.find( '\n' ) ) );
   const auto takesOne = [ & ]( auto... words ) { return ( line.takeWords( words ) || ... ); };
   if( line.indented() ) return false;
   if( takesOne( "bgp community-list", "bgp large-community-list", "bgp extcommunity-list", "ip community-list", "ip large-community-list",
                 "ip extcommunity-list" ) )
      takesOne( "standard", "expanded" );   // a number may tell the kind
   else if( !takesOne( "ip prefix-list", "ipv6 prefix-list", "bgp as-path access-list", "ip as-path access-list" ) )
      return false;
   line.take();
   return line.takeWords( "seq" );
}

// The lists of these lines; nothing if a line does something else than to add one more numbered line to a list.
std::optional<PolicyText> readNumbered( std::string_view lines, Dialect dialect ) {
   for( std::string_view rest = lines; !rest.empty(); rest.remove_prefix( std::min( rest.find( '\n' ), rest.size() - 1 ) + 1 ) )
      if( !addsNumbered( rest ) ) return std::nullopt;
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

void apply( const TextEdit & edit, PolicyText & text ) {
   if( !edit.moves.empty() )
      forEachPlace( text, [ & ]( Place & place ) {
         if( place.line != 0 ) place = edit.moves( place );
      } );
   forEachKind( []( auto & lists, const auto & edits ) { applyTo( lists, edits ); }, text, edit );
   text.lines = static_cast<uint64_t>( static_cast<int64_t>( text.lines ) + edit.lines );
}

LineEdits::LineEdits( const PolicyText & text, std::vector<SourceFile> files ) : dialect_( text.dialect ), files_( std::move( files ) ) {
   std::set<std::string_view> names;
   for( const auto & file : files_ ) names.insert( file.name );
   areDistinct_ = names.size() == files_.size() && std::ranges::equal( files_, text.files, {}, &SourceFile::name );
   if( dialect_ == Dialect::frr )
      forEachKind( []( const auto & lists, auto & contents ) { contents = contentsOf( lists ); }, text, contents_ );
}

std::optional<TextEdit> LineEdits::editTo( const PolicyText & text, const std::vector<SourceFile> & next ) const {
   if( !areDistinct_ || !std::ranges::equal( files_, next, {}, &SourceFile::name, &SourceFile::name ) ) return std::nullopt;
   TextEdit edit;
   for( uint32_t file = 0; file < files_.size(); ++file )
      if( !addFile( text, file, next[ file ].bytes, edit ) ) return std::nullopt;
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

// False: the files must be loaded.
bool LineEdits::addFile( const PolicyText & text, uint32_t file, std::string_view next, TextEdit & edit ) const {
   const std::string_view now = files_[ file ].bytes;
   if( now == next ) return true;
   const auto hunks = differingLines( now, next );
   size_t changed = 0;
   for( const auto & hunk : hunks ) changed += hunk.before.size() + hunk.after.size();
   if( changed > kMostChanged ) return false;
   int64_t moved = 0;
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
      const int64_t by = int64_t( countLines( hunk.after ) ) - countLines( hunk.before );
      if( by != 0 ) edit.moves.add( file, endBefore, moved += by );
   }
   edit.lines += moved;
   return true;
}

void LineEdits::filesAre( const TextEdit & edit, std::vector<SourceFile> next ) {
   files_ = std::move( next );
   if( dialect_ == Dialect::frr ) forEachKind( []( const auto & edits, auto & contents ) { replace( edits, contents ); }, edit, contents_ );
}

}   // namespace Agent
