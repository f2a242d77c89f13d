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

using PrefixLists = PolicyText::ByName<PrefixListText>;
using Edits = PolicyText::ByName<PrefixListEdit>;

constexpr size_t kMostChanged = size_t( 1 ) << 20;   // bytes of changed lines; beyond, the files are loaded

bool isBefore( const Place & a, const Place & b ) noexcept {
   return std::tie( a.file, a.line ) < std::tie( b.file, b.line );
}

// "ip prefix-list NAME seq ...", not indented.
bool addsNumbered( std::string_view bytes ) {
   LineCursor line( bytes.substr( 0, bytes.find( '\n' ) ) );
   if( line.indented() || ( !line.takeWords( "ip prefix-list" ) && !line.takeWords( "ipv6 prefix-list" ) ) ) return false;
   line.take();
   return line.takeWords( "seq" );
}

// The prefix lists of these lines; nothing if a line does something else than to add one more numbered line to a prefix list.
std::optional<PolicyText> readNumbered( std::string_view lines, Dialect dialect ) {
   for( std::string_view rest = lines; !rest.empty(); rest.remove_prefix( std::min( rest.find( '\n' ), rest.size() - 1 ) + 1 ) )
      if( !addsNumbered( rest ) ) return std::nullopt;
   LineLoader loader( dialect );
   loader.load( {}, lines );
   const PolicyText & text = loader.text();
   if( !loader.errors().empty() || !text.doubts.empty() ) return std::nullopt;
   size_t count = 0;
   for( const auto * lists : { &text.ipv4PrefixLists, &text.ipv6PrefixLists } )
      for( const auto & [ name, list ] : *lists ) {
         if( !list.anyOrder.value ) return std::nullopt;
         count += list.lines.size();
      }
   return count == countLines( lines ) ? std::optional( text ) : std::nullopt;
}

// Adds the lines of a hunk, whose first one is line `first` of the file. False: a line of this number is there already.
bool addLines( const PrefixLists & lists, std::optional<PrefixListLine> PrefixListEdit::Change::*side, uint32_t file, uint32_t first,
               Edits & edits ) {
   for( const auto & [ name, list ] : lists )
      for( const auto & [ number, line ] : list.lines ) {
         auto & slot = edits[ name ].lines[ number ].*side;
         if( slot ) return false;
         slot = line;
         slot->place.file = file;
         slot->place.line += first - 1;
      }
   return true;
}

// Whether the list has all lines that were, and no other line of the new numbers; and lines in the end.
bool fits( const PrefixListEdit & edit, const PrefixListText & list ) {
   size_t size = list.lines.size();
   for( const auto & [ number, change ] : edit.lines ) {
      const auto at = list.lines.find( number );
      if( ( at != list.lines.end() ) != change.was.has_value() || ( change.was && !( at->second == *change.was ) ) ) return false;
      size = size - change.was.has_value() + change.is.has_value();
   }
   return list.anyOrder.value && size != 0;
}

// The place of the list behind the edit: that of its first line or description. Nothing if the edit alone does not tell it.
std::optional<Place> placeBehind( const PrefixListEdit & edit, const PrefixListText & list, const LineMoves & moves ) {
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

uint32_t contentOf( const PrefixListLine & line ) {
   return static_cast<uint32_t>( hashOf( line ) );
}

// The contents of one side of the changed lines, ascending.
std::vector<uint32_t> contentsOf( const PrefixListEdit & edit, std::optional<PrefixListLine> PrefixListEdit::Change::*side ) {
   std::vector<uint32_t> contents;
   for( const auto & [ number, change ] : edit.lines )
      if( const auto & line = change.*side ) contents.push_back( contentOf( *line ) );
   std::ranges::sort( contents );
   return contents;
}

void apply( const Edits & edits, PrefixLists & lists ) {
   for( const auto & [ name, edit ] : edits ) {
      PrefixListText & list = lists.at( name );
      for( const auto & [ number, change ] : edit.lines )
         if( change.is )
            list.lines.insert_or_assign( number, *change.is );
         else
            list.lines.erase( number );
      list.place = edit.place;
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
   apply( edit.ipv4PrefixLists, text.ipv4PrefixLists );
   apply( edit.ipv6PrefixLists, text.ipv6PrefixLists );
   text.lines = static_cast<uint64_t>( static_cast<int64_t>( text.lines ) + edit.lines );
}

LineEdits::LineEdits( const PolicyText & text, std::vector<SourceFile> files ) : dialect_( text.dialect ), files_( std::move( files ) ) {
   std::set<std::string_view> names;
   for( const auto & file : files_ ) names.insert( file.name );
   areDistinct_ = names.size() == files_.size() && std::ranges::equal( files_, text.files, {}, &SourceFile::name );
   if( dialect_ != Dialect::frr ) return;
   ipv4Contents_ = contentsOf( text.ipv4PrefixLists );
   ipv6Contents_ = contentsOf( text.ipv6PrefixLists );
}

LineEdits::Contents LineEdits::contentsOf( const PrefixLists & lists ) {
   Contents contents;
   for( const auto & [ name, list ] : lists ) {
      if( !list.anyOrder.value ) continue;
      auto & hashes = contents[ name ];
      hashes.reserve( list.lines.size() );
      for( const auto & line : list.lines ) hashes.push_back( contentOf( line.second ) );
      std::ranges::sort( hashes );
   }
   return contents;
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
   const bool isComplete = complete( text.ipv4PrefixLists, ipv4Contents_, edit.moves, edit.ipv4PrefixLists ) &&
      complete( text.ipv6PrefixLists, ipv6Contents_, edit.moves, edit.ipv6PrefixLists );
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
      if( hunk.before.empty() || hunk.after.empty() ) {
         const auto above = lineBefore( now, static_cast<size_t>( hunk.before.data() - now.data() ) );
         if( above.empty() || !readNumbered( above, text.dialect ) ) return false;
      }
      const auto before = readNumbered( hunk.before, text.dialect ), after = readNumbered( hunk.after, text.dialect );
      using Change = PrefixListEdit::Change;
      const bool isAdded = before && after &&
         addLines( before->ipv4PrefixLists, &Change::was, file, hunk.lineBefore, edit.ipv4PrefixLists ) &&
         addLines( before->ipv6PrefixLists, &Change::was, file, hunk.lineBefore, edit.ipv6PrefixLists ) &&
         addLines( after->ipv4PrefixLists, &Change::is, file, hunk.lineAfter, edit.ipv4PrefixLists ) &&
         addLines( after->ipv6PrefixLists, &Change::is, file, hunk.lineAfter, edit.ipv6PrefixLists );
      if( !isAdded ) return false;
      const int64_t by = int64_t( countLines( hunk.after ) ) - countLines( hunk.before );
      if( by != 0 ) edit.moves.add( file, hunk.lineBefore + countLines( hunk.before ), moved += by );
   }
   edit.lines += moved;
   return true;
}

// False: an edit does not fit its list, or needs the other lines to be read.
bool LineEdits::complete( const PrefixLists & lists, const Contents & contents, const LineMoves & moves, Edits & edits ) const {
   for( auto & [ name, edit ] : edits ) {
      const auto list = lists.find( name );
      if( list == lists.end() || !fits( edit, list->second ) ) return false;
      if( dialect_ == Dialect::frr && !areNew( edit, contents.at( name ) ) ) return false;
      const auto place = placeBehind( edit, list->second, moves );
      if( !place ) return false;
      edit.place = *place;
   }
   return true;
}

// Whether each line of the list has a content of its own behind the edit.
bool LineEdits::areNew( const PrefixListEdit & edit, const std::vector<uint32_t> & contents ) {
   const auto was = Agent::contentsOf( edit, &PrefixListEdit::Change::was ), is = Agent::contentsOf( edit, &PrefixListEdit::Change::is );
   if( std::ranges::adjacent_find( is ) != is.end() ) return false;
   const auto countIn = []( const std::vector<uint32_t> & row, uint32_t content ) {
      const auto [ first, last ] = std::equal_range( row.begin(), row.end(), content );
      return last - first;
   };
   return std::ranges::all_of( is, [ & ]( uint32_t content ) { return countIn( contents, content ) == countIn( was, content ); } );
}

void LineEdits::filesAre( const TextEdit & edit, std::vector<SourceFile> next ) {
   files_ = std::move( next );
   if( dialect_ != Dialect::frr ) return;
   replace( edit.ipv4PrefixLists, ipv4Contents_ );
   replace( edit.ipv6PrefixLists, ipv6Contents_ );
}

void LineEdits::replace( const Edits & edits, Contents & contents ) {
   for( const auto & [ name, edit ] : edits ) {
      auto & all = contents.at( name );
      const auto was = Agent::contentsOf( edit, &PrefixListEdit::Change::was ), is = Agent::contentsOf( edit, &PrefixListEdit::Change::is );
      std::vector<uint32_t> kept, next;
      std::ranges::set_difference( all, was, std::back_inserter( kept ) );
      std::ranges::merge( kept, is, std::back_inserter( next ) );
      all = std::move( next );
   }
}

}   // namespace Agent
