// Parses any bytes as each kind of network value and number. The result must be a RangeException or a value; the printed form of a value
// must parse to the same value and print equally again.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <random>
#include <string>
#include <string_view>

#include "substrate/ferule/IpAddr.h"
#include "substrate/ferule/IpPrefix.h"
#include "substrate/quoin/Decimal.h"
#include "substrate/quoin/Exception.h"
#include "substrate/zeugma/MaybeU63.h"

extern "C" size_t LLVMFuzzerMutate( uint8_t * data, size_t size, size_t maxSize );

namespace {

using Ferule::Ip6Addr;
using Ferule::IpAddr;
using Ferule::IpGenAddr;
using Ferule::IpGenPrefix;
using Zeugma::MaybeU63;

void check( bool holds, const char * what ) {
   if( holds ) return;
   std::fprintf( stderr, "broken: %s\n", what );
   std::abort();
}

// Parses with `read` and prints with `print`. Returns no value after a RangeException; every other exception ends the process.
template <class Read, class Print>
auto roundTrip( std::string_view text, Read read, Print print ) -> std::optional<decltype( read( text ) )> {
   std::optional<decltype( read( text ) )> value;
   try {
      value = read( text );
   } catch( const Quoin::RangeException & e ) {
      check( *e.what() != '\0', "an error has a text" );
      return std::nullopt;
   }
   check( text.find( '\0' ) == text.npos, "no value's text has a zero byte" );
   const std::string printed( print( *value ) );
   const auto again = read( std::string_view( printed ) );   // an exception here ends the process
   check( again == *value, "the printed text parses to the same value" );
   check( std::string( print( again ) ) == printed, "and prints the same" );
   return value;
}

template <class Value>
std::optional<Value> roundTrip( std::string_view text ) {
   return roundTrip(
      text, []( std::string_view t ) { return Value( t ); }, []( const Value & v ) { return v.toStrep(); } );
}

void checkAddresses( std::string_view text ) {
   const auto v4 = roundTrip<IpAddr>( text );
   const auto v6 = roundTrip<Ip6Addr>( text );
   const auto either = roundTrip<IpGenAddr>( text );
   check( !v4 || !v6, "no text is of both families" );
   check( either.has_value() == ( v4 || v6 ), "an address is of one family" );
   if( v4 ) check( *either == IpGenAddr( *v4 ), "IPv4 alone and of either family are the same" );
   if( v6 ) check( *either == IpGenAddr( *v6 ), "IPv6 alone and of either family are the same" );
   const auto prefix = roundTrip<IpGenPrefix>( text );
   check( !either || ( prefix && *prefix == IpGenPrefix( *either ) ), "an address is its host prefix" );
   if( !prefix ) return;
   check( prefix->length() <= addressBits( prefix->af() ), "the length fits the family" );
   const IpGenPrefix subnet = prefix->subnet();
   check( subnet.isCanonical() && ( subnet == *prefix ) == prefix->isCanonical(), "a subnet is canonical" );
   check( subnet.hash() == IpGenPrefix( subnet.toStrep() ).hash(), "equal prefixes have equal hashes" );
}

void checkNumbers( std::string_view text ) {
   roundTrip( text, MaybeU63::parse, []( MaybeU63 v ) { return v.toStrep(); } );
   for( const uint64_t max : { uint64_t( 0 ), uint64_t( 32 ), uint64_t( 128 ), UINT64_MAX } ) {
      const auto value = roundTrip(
         text, [ max ]( std::string_view t ) { return Quoin::parseDecimal( t, max, "number" ); },
         []( uint64_t v ) { return std::to_string( v ); } );
      check( !value || *value <= max, "a number is within its bound" );
      check( !value || text.find_first_not_of( "0123456789" ) == text.npos, "a number is digits" );
   }
}

}   // namespace

// The system's parser of addresses is not instrumented, so mutation alone seldom finds a valid IPv6 address. One input in 16 therefore
// starts from a valid address or prefix.
extern "C" size_t LLVMFuzzerCustomMutator( uint8_t * data, size_t size, size_t maxSize, unsigned seed ) {
   std::minstd_rand random( seed );
   if( random() % 16 == 0 ) {
      const auto word = [ & ] { return uint64_t( random() ) << 40 ^ uint64_t( random() ) << 20 ^ random(); };
      const IpGenAddr address =
         random() % 2 ? IpGenAddr( IpAddr( uint32_t( word() ) ) ) : IpGenAddr( Ip6Addr( { word(), random() % 2 ? word() : 0 } ) );
      const std::string text( IpGenPrefix( address, uint8_t( random() % ( addressBits( address.af() ) + 2u ) ) ).toStrep() );
      size = std::min( text.size(), maxSize );
      std::copy_n( text.data(), size, data );
      if( random() % 2 ) return size;
   }
   return LLVMFuzzerMutate( data, size, maxSize );
}

extern "C" int LLVMFuzzerTestOneInput( const uint8_t * data, size_t size ) {
   const std::string_view text( reinterpret_cast<const char *>( data ), size );
   checkAddresses( text );
   checkNumbers( text );
   return 0;
}
