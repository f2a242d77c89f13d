#include "text/Operands.h"

#include <algorithm>
#include <charconv>

#include <fmt/format.h>
#include <re2/re2.h>

#include "substrate/quoin/Exception.h"
#include "text/Community.h"
#include "text/Expression.h"

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
   uint64_t number = 0;
   const char * const end = token.text.data() + token.text.size();
   const auto [ stop, error ] = std::from_chars( token.text.data(), end, number );
   if( token.text.empty() || error != std::errc() || stop != end || number < min || number > max )
      throwExpected( fmt::format( "{} from {} to {}", what, min, max ), token );
   line.take();
   return number;
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
   if( slash != token.text.npos ) return Ferule::IpGenPrefix( *address, parseLength( token, slash, af ) );
   if( !addressAlone )
      throw LineError{ token.column,
                       fmt::format( "expected {}, found {}, which has no length", prefixName( af ), inQuotes( token.text ) ) };
   return Ferule::IpGenPrefix( *address );
}

std::vector<Community> takeCommunities( LineCursor & line, std::string_view until, std::string_view matchesAll ) {
   constexpr std::string_view kWhat = "a community";
   std::vector<Community> communities;
   do {
      const Token token = line.take( kWhat );
      if( !matchesAll.empty() && token.text == matchesAll ) continue;
      const auto community = communityOf( token.text );
      if( !community ) throwExpected( kWhat, token );
      communities.push_back( *community );
   } while( !line.atEnd() && line.peek().text != until );
   std::sort( communities.begin(), communities.end() );
   communities.erase( std::unique( communities.begin(), communities.end() ), communities.end() );
   return communities;
}

std::string takeExpression( LineCursor & line ) {
   const Token token = line.takeRest( "a regular expression" );
   // Quotation marks or a remark, as other dialects have them, would be part of the expression, which then matches nothing.
   if( const size_t at = token.text.find_first_of( "\"!" ); at != token.text.npos )
      throw LineError{ token.column + static_cast<uint32_t>( at ),
                       fmt::format( "'{}' occurs in no AS path and no community: remove it from the expression", token.text[ at ] ) };
   const RE2 compiled( expressionOf( token.text ), RE2::Quiet );
   if( compiled.ok() ) return std::string( token.text );
   // RE2 names the faulty part. If translation changed that part, the error is reported at the start of the expression.
   const size_t at = compiled.error_arg().empty() ? 0 : token.text.find( compiled.error_arg() );
   throw LineError{ token.column + static_cast<uint32_t>( at == token.text.npos ? 0 : at ),
                    fmt::format( "{} is not a regular expression: {}", inQuotes( token.text ), printable( compiled.error() ) ) };
}

}   // namespace Agent
