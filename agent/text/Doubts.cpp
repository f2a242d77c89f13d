#include "text/Doubts.h"

#include <algorithm>
#include <bit>
#include <iterator>
#include <optional>

#include <utility>

#include <fmt/format.h>

#include "text/Applications.h"
#include "text/Spelling.h"

namespace Agent {

namespace {

constexpr size_t kLettersPerMistake = 5;
constexpr size_t kLongestWord = 32;   // a longer word is similar to none of the words below

/// A word by which lines of a policy are recognised, without hyphens.
struct Key {
   std::string_view word;
   std::string_view things;
   std::string_view ipv4Form;   // how their lines begin; empty: not supported
   std::string_view ipv6Form;   // empty: one form for both families
};
constexpr Key kKeys[] = {
   { "prefixlist", "prefix lists", "ip prefix-list", "ipv6 prefix-list" },
   { "accesslist", "access lists", "access-list", "ipv6 access-list" },
   { "tagset", "tag sets", "tag-set", "" },
   { "communitylist", "community lists", "bgp community-list", "" },
   { "aspath", "AS path lists", "bgp as-path access-list", "" },
   { "routemap", "route maps", "route-map", "" },
   { "largecommunitylist", "large communities", "", "" },
   { "extcommunitylist", "extended communities", "", "" },
};

constexpr std::string_view kClauseWords[] = { "match", "set", "call", "continue", "on-match" };

// Lower case without hyphens; empty for a word that is too long to be similar to any key.
std::string folded( std::string_view word ) {
   if( word.size() > kLongestWord ) return {};
   std::string text = lowerCase( word );
   std::erase( text, '-' );
   return text;
}

// The entry whose letters are most similar to the word, at most `limitOf( size )` mistakes away; null for none.
template <class Entry, size_t count, class LettersOf, class LimitOf>
const Entry * nearest( const std::string & word, const Entry ( &entries )[ count ], LettersOf lettersOf, LimitOf limitOf ) {
   const Entry * found = nullptr;
   size_t least = kLongestWord;
   for( const Entry & entry : entries ) {
      const std::string letters( lettersOf( entry ) );
      const size_t limit = limitOf( letters.size() );
      const size_t distance = editDistance( word, letters, limit );
      if( distance > limit || distance >= least ) continue;
      found = &entry;
      least = distance;
   }
   return found;
}

const Key * nearestKey( const std::string & word ) {
   return nearest(
      word, kKeys, []( const Key & key ) { return key.word; }, []( size_t size ) { return size / kLettersPerMistake; } );
}

// Also recognises a clause that is joined to its operand: "match-tag".
const std::string_view * nearestClause( std::string_view written ) {
   for( const auto & clause : kClauseWords )
      if( written.size() > clause.size() && written.starts_with( clause ) && written[ clause.size() ] == '-' ) return &clause;
   const std::string word = folded( written );
   return nearest( word, kClauseWords, folded, []( size_t size ) { return std::min<size_t>( 2, ( size + 1 ) / 3 ); } );
}

// `family` is the line's first word.
std::string reasonOf( const Key & key, std::string_view family ) {
   if( key.ipv4Form.empty() ) return fmt::format( "is skipped: lists of {} are not supported", key.things );
   const auto begin = [ & ]( const std::string & forms ) {
      return fmt::format( "is skipped: lines of {} begin with {}", key.things, forms );
   };
   if( key.ipv6Form.empty() || family == "ip" || family == "ipv4" ) return begin( alternatives( { key.ipv4Form } ) );
   if( family == "ipv6" ) return begin( alternatives( { key.ipv6Form } ) );
   return begin( alternatives( { key.ipv4Form, key.ipv6Form } ) );
}

// Whether the rest of a line, after the words of that form, looks like such a line. It may contain errors.
bool defines( LineCursor line, std::string_view form ) {
   if( form == "bgp community-list" && !line.takeWords( "standard" ) ) line.takeWords( "expanded" );
   line.take();   // the name
   if( form == "tag-set" ) return !line.atEnd() && line.peek().text.find_first_not_of( "0123456789" ) == std::string_view::npos;
   if( line.takeWords( "seq" ) ) line.take();
   return line.peek().text == "permit" || line.peek().text == "deny";
}

constexpr char kOutside[] = "is outside of a sequence and is skipped";

}   // namespace

std::optional<Doubts::LookAlike> Doubts::lookAlike( LineCursor line, bool endsSequence ) {
   std::string_view words[ 3 ];
   for( auto & word : words ) word = line.take().text;
   const std::string first = folded( words[ 0 ] ), second = folded( words[ 1 ] );

   const std::string lower = lowerCase( words[ 0 ].substr( 0, kLongestWord ) );
   if( std::ranges::find( kClauseWords, lower ) != std::end( kClauseWords ) ) return LookAlike{ printable( words[ 0 ] ), kOutside };
   if( beginsRemark( lower ) || lower == "mac" ) return std::nullopt;   // lists of hardware addresses are no policy
   if( const auto * const clause = endsSequence ? nearestClause( words[ 0 ] ) : nullptr )
      return LookAlike{ printable( words[ 0 ] ), fmt::format( "ends the sequence and is skipped; did you mean {}?", inQuotes( *clause ) ) };

   // A packet filter of another dialect. A route map that matches on it has an undefined reference, which is a finding of its own.
   if( words[ 1 ] == "access-list" && ( lower == "ip" || lower == "ipv6" ) ) return std::nullopt;

   const auto found = [ & ]( const Key & key, size_t count ) {
      std::string begin = printable( words[ 0 ] );
      for( size_t i = 1; i < count; ++i ) begin += ' ' + printable( words[ i ] );
      return LookAlike{ begin, reasonOf( key, lower ) };
   };
   if( const Key * const key = nearestKey( first ) ) return found( *key, 1 );
   if( const Key * const key = nearestKey( second ) ) return found( *key, 2 );
   if( const Key * const key = nearestKey( first + second ) ) return found( *key, 2 );
   if( const Key * const key = nearestKey( second + folded( words[ 2 ] ) ) ) return found( *key, 3 );
   return std::nullopt;
}

// A line of a list or route map that belongs to another stanza because it is indented.
std::optional<Doubts::LookAlike> Doubts::indentedPolicy( const LineCursor & line ) {
   for( const Key & key : kKeys )
      for( const auto form : { key.ipv4Form, key.ipv6Form } ) {
         LineCursor behind = line;
         if( !form.empty() && behind.takeWords( form ) && defines( behind, form ) )
            return LookAlike{ std::string( form ), "is indented, so it belongs to the stanza above and is skipped" };
      }
   return std::nullopt;
}

void Doubts::endFile() {
   for( const auto & [ words, alike ] : alike_ )
      if( alike.lines > 1 ) doubts_[ alike.doubt ].text += fmt::format( "; {} lines of this file begin like this", alike.lines );
   alike_.clear();
}

void Doubts::skipped( LineCursor line, bool endsSequence ) {
   const bool indented = line.indented();
   if( lowerCase( line.peek().text.substr( 0, 3 ) ) == "no" ) line.take();
   const Place place = line.place( line.peek() );
   if( const auto found = indented ? indentedPolicy( line ) : lookAlike( line, endsSequence ) ) noteSkipped( *found, place );
}

void Doubts::strayClause( LineCursor line ) {
   line.takeWords( "no" );
   noteSkipped( { printable( line.peek().text ), kOutside }, line.place( line.peek() ) );
}

void Doubts::noteSkipped( const LookAlike & found, const Place & place ) {
   const auto [ at, isNew ] = alike_.try_emplace( found.words, Alike{ doubts_.size(), 0 } );
   ++at->second.lines;
   if( isNew ) doubts_.push_back( { Doubt::Kind::skipped, place, fmt::format( "\"{}\" {}", found.words, found.reason ) } );
}

void Doubts::replaced( std::string_view whose, std::string_view was, const Place & before, std::string_view is, const Place & now ) {
   const bool isSame = before.file == now.file;
   const std::string where = isSame ? "" : fmt::format( " of {}", printable( files_[ before.file ] ) );
   doubts_.push_back( { isSame ? Doubt::Kind::replaced : Doubt::Kind::conflict, now,
                        fmt::format( "{} already has {} in line {}{}; {} replaces it", printable( whose ), inQuotes( was ), before.line,
                                     where, inQuotes( is ) ) } );
}

void Doubts::behindEnd( const LineCursor & line, uint32_t end ) {
   doubts_.push_back(
      { Doubt::Kind::refused, line.place(),
        fmt::format( "behind \"end\" in line {}: vtysh reads this line and the rest of the file, as here; a daemon that reads "
                     "the file itself ignores them",
                     end ) } );
}

void Doubts::refused( const LineCursor & line, std::string_view reason ) {
   LineCursor words = line;
   const std::string text = inQuotes( words.takeRest( "" ).text );
   doubts_.push_back( { Doubt::Kind::refused, line.place(), fmt::format( "FRR refuses {}: {}; the line has no effect", text, reason ) } );
}

std::optional<Doubt> Doubts::wildcard( Dialect dialect, const Place & place, Ferule::IpAddr address, Ferule::IpAddr wildcard ) {
   const auto text = []( Ferule::IpAddr a ) { return std::string( a.toStrep().view() ); };
   const auto doubt = [ & ]( std::string what ) { return Doubt{ Doubt::Kind::netmask, place, std::move( what ) }; };
   const bool isFrr = dialect == Dialect::frr;
   const uint32_t bits = wildcard.value();
   const int ones = std::countl_one( bits );
   if( ones + std::countr_zero( bits ) >= 32 ) {   // leading ones
      if( bits == 0 && address.value() == 0 )
         return doubt(
            "\"0.0.0.0\" is a wildcard here, so this line matches the address 0.0.0.0 only; write \"any\" to match every address" );
      if( ones == 32 && address.value() != 0 )
         return doubt(
            fmt::format( "\"255.255.255.255\" is a wildcard here, so this line matches {} address; write \"host {}\" to match one",
                         isFrr ? "no" : "every", text( address ) ) );
      if( ones != 0 && ones != 32 )
         return doubt( fmt::format( "\"{}\" is a wildcard here and looks like a netmask; the wildcard for that netmask is {}",
                                    text( wildcard ), text( Ferule::IpAddr( ~bits ) ) ) );
   }
   if( !isFrr || ( address.value() & bits ) == 0 ) return std::nullopt;
   return Doubt{ Doubt::Kind::hostBits, place,
                 fmt::format( "\"{}\" is the wildcard of bits that are set in \"{}\", so this line matches no address", text( wildcard ),
                              text( address ) ) };
}

}   // namespace Agent
