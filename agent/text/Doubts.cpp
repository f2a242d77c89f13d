#include "text/Doubts.h"

#include <algorithm>
#include <bit>
#include <iterator>
#include <optional>

#include <fmt/format.h>

#include "text/Spelling.h"

namespace Agent {

namespace {

constexpr size_t kLettersPerMistake = 5;
constexpr size_t kLongestWord = 32;   // what is longer comes near none of the words below

/// What the lines of a policy are known by, without hyphens.
struct Key {
   std::string_view word;
   std::string_view things;
   std::string_view ipv4Form;   // how their lines begin; empty when there are none such
   std::string_view ipv6Form;   // empty when there is but one
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

// Lower case without hyphens; empty for a word that is too long to come near any key.
std::string folded( std::string_view word ) {
   if( word.size() > kLongestWord ) return {};
   std::string text = lowerCase( word );
   std::erase( text, '-' );
   return text;
}

// The one of these whose letters come nearest to those of a word, within what `limitOf( letters )` allows; null for none.
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

const std::string_view * nearestClause( const std::string & word ) {
   return nearest( word, kClauseWords, folded, []( size_t size ) { return std::min<size_t>( 2, ( size + 1 ) / 3 ); } );
}

/// How a line begins that looks like one of a policy, and why it is none.
struct LookAlike {
   std::string words;   // printable
   std::string reason;
};

// `family` is the line's first word.
std::string reasonOf( const Key & key, std::string_view family ) {
   if( key.ipv4Form.empty() ) return fmt::format( "is passed over: there are no lists of {} here", key.things );
   const auto begin = [ & ]( const std::string & forms ) {
      return fmt::format( "is passed over: lines of {} begin with {}", key.things, forms );
   };
   if( key.ipv6Form.empty() || family == "ip" || family == "ipv4" ) return begin( alternatives( { key.ipv4Form } ) );
   if( family == "ipv6" ) return begin( alternatives( { key.ipv6Form } ) );
   return begin( alternatives( { key.ipv4Form, key.ipv6Form } ) );
}

std::optional<LookAlike> lookAlike( LineCursor line, bool endsSequence ) {
   std::string_view words[ 3 ];
   for( auto & word : words ) word = line.take().text;
   const std::string first = folded( words[ 0 ] ), second = folded( words[ 1 ] );

   const std::string lower = lowerCase( words[ 0 ].substr( 0, kLongestWord ) );
   if( std::ranges::find( kClauseWords, lower ) != std::end( kClauseWords ) )
      return LookAlike{ printable( words[ 0 ] ), "stands outside of a sequence, and is passed over" };
   // Behind these stand anybody's words; and no list here is of hardware addresses.
   if( lower == "description" || lower == "remark" || lower == "banner" || lower == "alias" || lower == "mac" ) return std::nullopt;
   if( const auto * const clause = endsSequence ? nearestClause( first ) : nullptr )
      return LookAlike{ printable( words[ 0 ] ),
                        fmt::format( "ends the sequence, and is passed over; did you mean {}?", inQuotes( *clause ) ) };

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

}   // namespace

void Doubts::endFile() {
   for( const auto & [ words, alike ] : alike_ )
      if( alike.lines > 1 ) doubts_[ alike.doubt ].text += fmt::format( "; {} lines of this file begin so", alike.lines );
   alike_.clear();
}

void Doubts::passedOver( LineCursor line, bool endsSequence ) {
   if( lowerCase( line.peek().text.substr( 0, 3 ) ) == "no" ) line.take();
   const Place place = line.place( line.peek() );
   const auto found = lookAlike( line, endsSequence );
   if( !found ) return;
   const auto [ at, isNew ] = alike_.try_emplace( found->words, Alike{ doubts_.size(), 0 } );
   ++at->second.lines;
   if( isNew ) doubts_.push_back( { Doubt::Kind::passedOver, place, fmt::format( "\"{}\" {}", found->words, found->reason ) } );
}

void Doubts::replaced( std::string_view whose, std::string_view was, const Place & before, std::string_view is, const Place & now ) {
   doubts_.push_back( { Doubt::Kind::replaced, now,
                        fmt::format( "{} has {} in line {} already; {} takes its place", printable( whose ), inQuotes( was ), before.line,
                                     inQuotes( is ) ) } );
}

void Doubts::wildcard( const Place & place, uint32_t bits ) {
   const int ones = std::countl_one( bits );
   if( ones == 0 || ones == 32 || ones + std::countr_zero( bits ) != 32 ) return;
   const auto text = []( uint32_t address ) { return std::string( Ferule::IpAddr( address ).toStrep().view() ); };
   doubts_.push_back( { Doubt::Kind::netmask, place,
                        fmt::format( "\"{}\" is a wildcard here, which is a netmask elsewhere; the wildcard of that netmask is {}",
                                     text( bits ), text( ~bits ) ) } );
}

}   // namespace Agent
