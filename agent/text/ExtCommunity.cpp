#include "text/ExtCommunity.h"

#include <algorithm>

#include <fmt/format.h>

#include "text/Operands.h"
#include "text/ParseWhole.h"
#include "text/Spelling.h"

namespace Agent {

namespace {

/// The first octet.
enum Type : uint8_t { kAs = 0, kAddress = 1, kAs4 = 2, kOpaque = 3 };
/// The second octet.
enum Subtype : uint8_t { kRouteTarget = 2, kSiteOfOrigin = 3, kNodeTarget = 9, kColor = 11 };

struct Kind {
   std::string_view word;    // in a configuration
   std::string_view shown;   // of a route
   Subtype subtype;
};
constexpr Kind kKinds[] = {
   { "rt", "RT", kRouteTarget },
   { "soo", "SoO", kSiteOfOrigin },
   { "nt", "NT", kNodeTarget },
   { "color", "Color", kColor },
};

const Kind * kindOf( std::string_view word ) noexcept {
   const auto * const kind = std::ranges::find( kKinds, word, &Kind::word );
   return kind == std::end( kKinds ) ? nullptr : kind;
}

const Kind * kindOf( ExtCommunity community ) noexcept {
   const auto type = uint64_t( community ) >> 56, subtype = uint64_t( community ) >> 48 & 0xff;
   const auto * const kind = std::ranges::find( kKinds, subtype, &Kind::subtype );
   return kind != std::end( kKinds ) && ( subtype == kColor ? type == kOpaque : type <= kAs4 ) ? kind : nullptr;
}

constexpr ExtCommunity make( Type type, Subtype subtype, uint64_t value ) noexcept {
   return ExtCommunity( uint64_t( type ) << 56 | uint64_t( subtype ) << 48 | value );
}

// "COLOR", or "FLAGS:COLOR" with two bits.
std::optional<ExtCommunity> colorOf( std::string_view text ) noexcept {
   const bool hasFlags = text.size() > 3 && text[ 2 ] == ':' && text.substr( 0, 2 ).find_first_not_of( "01" ) == text.npos;
   const uint64_t flags = hasFlags ? ( text[ 0 ] - '0' ) * 2 + ( text[ 1 ] - '0' ) : 0;
   const auto color = parseWhole<uint32_t>( text.substr( hasFlags ? 3 : 0 ) );
   if( !color ) return std::nullopt;
   return make( kOpaque, kColor, flags << 46 | *color );
}

}   // namespace

std::optional<ExtCommunity> extCommunityOf( std::string_view word, std::string_view value ) noexcept {
   const Kind * const kind = kindOf( word );
   if( !kind ) return std::nullopt;
   if( kind->subtype == kColor ) return colorOf( value );
   const auto colon = value.find( ':' );
   if( colon == value.npos ) return std::nullopt;
   const auto as = parseWhole<uint32_t>( value.substr( 0, colon ) );
   const auto number = parseWhole<uint32_t>( value.substr( colon + 1 ) );
   if( !number ) return std::nullopt;
   if( as && *as <= 0xffff ) return make( kAs, kind->subtype, uint64_t( *as ) << 32 | *number );
   if( *number > 0xffff ) return std::nullopt;
   if( as ) return make( kAs4, kind->subtype, uint64_t( *as ) << 16 | *number );
   const auto address = parseAddress( value.substr( 0, colon ) );
   if( !address || address->af() != AddressFamily::ipv4 ) return std::nullopt;
   return make( kAddress, kind->subtype, ( address->bits().high >> 32 ) << 16 | *number );
}

std::optional<ExtCommunity> extCommunityOf( std::string_view text ) {
   if( text.size() == 18 && text.starts_with( "0x" ) ) {
      uint64_t octets = 0;
      const auto [ stop, error ] = std::from_chars( text.data() + 2, text.data() + text.size(), octets, 16 );
      if( error == std::errc() && stop == text.data() + text.size() ) return ExtCommunity( octets );
   }
   const auto colon = text.find( ':' );
   if( colon == text.npos ) return std::nullopt;
   return extCommunityOf( lowerCase( text.substr( 0, colon ) ), text.substr( colon + 1 ) );
}

std::pair<std::string_view, std::string> wordsOf( ExtCommunity community ) {
   const auto octets = uint64_t( community );
   const Kind * const kind = kindOf( community );
   if( !kind ) return { {}, fmt::format( "0x{:016x}", octets ) };
   const auto low = octets & 0xffffffff;
   if( kind->subtype == kColor ) {
      const auto flags = octets >> 46 & 3;
      return { kind->word, flags ? fmt::format( "{}{}:{}", flags >> 1, flags & 1, low ) : std::to_string( low ) };
   }
   const auto address = octets >> 16 & 0xffffffff;
   switch( octets >> 56 ) {
      case kAs: return { kind->word, fmt::format( "{}:{}", octets >> 32 & 0xffff, low ) };
      case kAs4: return { kind->word, fmt::format( "{}:{}", address, octets & 0xffff ) };
   }
   return { kind->word,
            fmt::format( "{}.{}.{}.{}:{}", address >> 24, address >> 16 & 0xff, address >> 8 & 0xff, address & 0xff, octets & 0xffff ) };
}

std::string communityText( ExtCommunity community ) {
   const auto [ word, value ] = wordsOf( community );
   return word.empty() ? value : fmt::format( "{}:{}", kindOf( word )->shown, value );
}

}   // namespace Agent
