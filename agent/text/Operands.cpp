#include "text/Operands.h"

#include <algorithm>
#include <charconv>
#include <stdexcept>

#include <fmt/format.h>
#include <re2/re2.h>

#include "substrate/quoin/Exception.h"
#include "text/Community.h"
#include "text/Expression.h"
#include "text/ParseWhole.h"
#include "text/Spelling.h"

namespace Agent {

namespace {

constexpr size_t kLongestAddress = 64;   // no longer text is an address

std::string_view prefixName( AddressFamily af ) noexcept {
   return af == AddressFamily::ipv4 ? "an IPv4 prefix" : "an IPv6 prefix";
}

// The length after the slash at that position of the token.
uint8_t parseLength( const Token & token, size_t slash, AddressFamily af ) {
   const auto digits = token.text.substr( slash + 1 );
   const unsigned bits = Ferule::addressBits( af );
   if( digits.empty() || digits.find_first_not_of( "0123456789" ) != digits.npos ) throwExpected( prefixName( af ), token );
   unsigned length = 0;
   const auto [ end, error ] = std::from_chars( digits.data(), digits.data() + digits.size(), length );
   if( error != std::errc() || length > bits )
      throw LineError{ token.column,
                       fmt::format( "{} is longer than {}, the length of {}", inQuotes( token.text ), bits, addressName( af ) ) };
   return static_cast<uint8_t>( length );
}

}   // namespace

uint64_t takeNumber( LineCursor & line, std::string_view what, uint64_t min, uint64_t max ) {
   const Token & token = line.peek();
   const bool hasSign = line.dialect() == Dialect::frr && token.text.starts_with( '+' );   // which FRR skips
   const auto number = parseWhole<uint64_t>( token.text.substr( hasSign ) );
   if( !number || *number < min || *number > max ) throwExpected( fmt::format( "{} from {} to {}", what, min, max ), token );
   line.take();
   return *number;
}

uint64_t takeSigned( LineCursor & line, char sign, std::string_view what, uint64_t min, uint64_t max ) {
   const Token & token = line.peek();
   const auto number = token.text.starts_with( sign ) ? parseWhole<uint64_t>( token.text.substr( 1 ) ) : std::nullopt;
   if( !number || *number < min || *number > max )
      throwExpected( fmt::format( "{} from {}{} to {}{}", what, sign, min, sign, max ), token );
   line.take();
   return *number;
}

MatchPermit takeAction( LineCursor & line ) {
   if( line.takeWords( "permit" ) ) return MatchPermit::permit;
   if( line.takeWords( "deny" ) ) return MatchPermit::deny;
   throwExpected( alternatives( { "permit", "deny" } ), line.peek() );
}

std::optional<Ferule::IpGenAddr> parseAddress( std::string_view text ) {
   // No exception for a word that is not an address: names of lists come this way too.
   if( text.size() > kLongestAddress || text.find_first_of( ".:" ) == text.npos ) return std::nullopt;
   try {
      return Ferule::IpGenAddr( text );
   } catch( const Quoin::RangeException & ) { return std::nullopt; }
}

std::string_view addressName( AddressFamily af ) noexcept {
   return af == AddressFamily::ipv4 ? "an IPv4 address" : "an IPv6 address";
}

void expectFamily( const Token & token, AddressFamily found, AddressFamily wanted, std::string_view what ) {
   if( found == wanted ) return;
   throw LineError{ token.column,
                    fmt::format( "expected {}, found {}, which is {}", what, inQuotes( token.text ),
                                 found == AddressFamily::ipv4 ? "IPv4" : "IPv6" ) };
}

Ferule::IpGenAddr takeAddress( LineCursor & line, AddressFamily af, std::string_view what ) {
   const Token token = line.take( what );
   const auto address = parseAddress( token.text );
   if( !address ) throwExpected( what, token );
   expectFamily( token, address->af(), af, what );
   return *address;
}

Ferule::IpGenPrefix takePrefix( LineCursor & line, AddressFamily af, bool addressAlone ) {
   const Token token = line.take( prefixName( af ) );
   const size_t slash = token.text.find( '/' );
   const auto address = parseAddress( token.text.substr( 0, slash ) );
   if( !address ) throwExpected( prefixName( af ), token );
   expectFamily( token, address->af(), af, prefixName( af ) );
   if( slash != token.text.npos ) {
      const auto length = parseLength( token, slash, af );
      const bool hasZeros = token.text[ slash + 1 ] == '0' && slash + 2 < token.text.size();
      if( hasZeros && line.dialect() == Dialect::frr ) throw RefusedLine{ "the length of the prefix begins with a 0" };
      return Ferule::IpGenPrefix( *address, length );
   }
   if( !addressAlone )
      throw LineError{ token.column,
                       fmt::format( "expected {}, found {}, which has no length", prefixName( af ), inQuotes( token.text ) ) };
   return Ferule::IpGenPrefix( *address );
}

namespace {

// Values up to the end of the line or the word `until`. `read` makes a value of a word, or nothing if it is none.
template <class Read>
auto takeEach( LineCursor & line, std::string_view until, std::string_view what, Read read ) {
   std::vector<typename decltype( read( std::string_view() ) )::value_type> values;
   do {
      const Token token = line.take( what );
      const auto value = read( token.text );
      if( !value ) throwExpected( what, token );
      values.push_back( *value );
   } while( !line.atEnd() && line.peek().text != until );
   return values;
}

template <class C>
std::vector<C> eachOnce( std::vector<C> values ) {
   std::ranges::sort( values );
   values.erase( std::unique( values.begin(), values.end() ), values.end() );
   return values;
}

}   // namespace

std::vector<Community> takeCommunities( LineCursor & line, std::string_view until, std::string_view matchesAll ) {
   constexpr std::string_view kWhat = "a community";
   std::vector<Community> communities;
   do {
      const Token token = line.take( kWhat );
      if( !matchesAll.empty() && token.text == matchesAll ) continue;
      const auto community = communityOf( token.text );
      if( !community ) throwExpected( kWhat, token );
      if( line.dialect() == Dialect::frr && parseWhole<Community>( token.text ) )
         throw RefusedLine{ "a community is two numbers, or a name" };
      communities.push_back( *community );
   } while( !line.atEnd() && line.peek().text != until );
   return eachOnce( std::move( communities ) );
}

std::vector<LargeCommunity> takeLargeCommunities( LineCursor & line, std::string_view until ) {
   return eachOnce( takeEach( line, until, "a large community, such as 64500:1:2", largeCommunityOf ) );
}

std::vector<ExtCommunity> takeExtCommunities( LineCursor & line, std::string_view kind ) {
   const auto what = fmt::format( "a value of \"{}\", such as {}", kind, kind == "color" ? "100" : "64500:1" );
   return eachOnce( takeEach( line, "", what, [ = ]( std::string_view value ) { return extCommunityOf( kind, value ); } ) );
}

std::vector<ExtCommunity> takeExtCommunities( LineCursor & line ) {
   constexpr std::string_view kWhat = "an extended community, such as \"rt 64500:1\"";
   std::vector<ExtCommunity> communities;
   do {
      const Token kind = line.take( kWhat );
      const auto community = extCommunityOf( lowerCase( kind.text ), line.take( kWhat ).text );
      if( !community ) throwExpected( kWhat, kind );
      communities.push_back( *community );
   } while( !line.atEnd() );
   return eachOnce( std::move( communities ) );
}

std::vector<uint32_t> takeAses( LineCursor & line ) {
   return takeEach( line, "", "an AS", []( std::string_view text ) -> std::optional<uint32_t> {
      const auto dot = text.find( '.' );
      const auto low = parseWhole<uint32_t>( text.substr( dot == text.npos ? 0 : dot + 1 ) );
      const auto high = dot == text.npos ? std::optional<uint16_t>( 0 ) : parseWhole<uint16_t>( text.substr( 0, dot ) );
      if( !low || !high || ( dot != text.npos && *low > 0xffff ) || ( *low | *high ) == 0 ) return std::nullopt;
      return uint32_t( *high ) << 16 | *low;
   } );
}

namespace {

std::string takePosixExpression( const Token & token, std::string text ) {
   std::string fault;
   try {
      if( const auto compiled = compileExpression( text, Dialect::frr ); !compiled->ok() ) fault = compiled->error();
   } catch( const std::invalid_argument & error ) { fault = error.what(); }
   if( fault.empty() ) return text;
   throw LineError{ token.column,
                    fmt::format( "{} cannot be used as a regular expression: {}", inQuotes( token.text ), printable( fault ) ) };
}

}   // namespace

std::string takeExpression( LineCursor & line ) {
   constexpr std::string_view kWhat = "a regular expression";
   const Token token = LineCursor( line ).takeRest( kWhat );
   std::string text = line.takeText( kWhat );
   if( line.dialect() == Dialect::frr ) return takePosixExpression( token, std::move( text ) );
   // Quotation marks or a remark, as other dialects have them, would be part of the expression, which then matches nothing.
   if( const size_t at = token.text.find_first_of( "\"!" ); at != token.text.npos )
      throw LineError{ token.column + static_cast<uint32_t>( at ),
                       fmt::format( "'{}' occurs in no AS path and no community: remove it from the expression", token.text[ at ] ) };
   const auto re2 = compileExpression( token.text, line.dialect() );
   const RE2 & compiled = *re2;
   if( compiled.ok() ) return std::string( token.text );
   // RE2 names the faulty part. If translation changed that part, the error is reported at the start of the expression.
   const size_t at = compiled.error_arg().empty() ? 0 : token.text.find( compiled.error_arg() );
   throw LineError{ token.column + static_cast<uint32_t>( at == token.text.npos ? 0 : at ),
                    fmt::format( "{} is not a regular expression: {}", inQuotes( token.text ), printable( compiled.error() ) ) };
}

}   // namespace Agent
