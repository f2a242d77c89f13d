#include "substrate/ferule/FullMask.h"

#include "substrate/zeugma/HashMix.h"

namespace Ferule {

uint32_t IpAddrWithFullMask::hash() const noexcept {
   return IpGenAddrWithFullMask( *this ).hash();
}
Quoin::String IpAddrWithFullMask::toStrep() const {
   return IpGenAddrWithFullMask( *this ).toStrep();
}

// Does not convert to the general form: there, all lengths above 128 give the same mask, but here they are different values.
uint32_t Ip6AddrWithMask::hash() const noexcept {
   return Ip6Prefix{ address, length }.hash();
}
Quoin::String Ip6AddrWithMask::toStrep() const {
   return Ip6Prefix{ address, length }.toStrep();
}

uint32_t IpGenAddrWithFullMask::hash() const noexcept {
   Zeugma::HashMix mix( address_.hash() );
   mix.mixBytes8( reinterpret_cast<const unsigned char *>( &mask_.high ) );
   mix.mixBytes8( reinterpret_cast<const unsigned char *>( &mask_.low ) );
   return mix;
}

Quoin::String IpGenAddrWithFullMask::toStrep() const {
   const uint8_t length = leadingOnesOfMask();
   if( mask_ == Bits128::leadingOnes( length ) ) return IpGenPrefix( address_, length ).toStrep();
   switch( address_.af() ) {
      case AddressFamily::ipv4: return address_.toStrep() + "/" + IpAddr( uint32_t( mask_.high >> 32 ) ).toStrep();
      case AddressFamily::ipv6: return address_.toStrep() + "/" + Ip6Addr( mask_ ).toStrep();
      case AddressFamily::unset: break;
   }
   return "unset";
}

std::ostream & operator<<( std::ostream & os, const IpAddrWithFullMask & a ) {
   return os << a.toStrep();
}
std::ostream & operator<<( std::ostream & os, const Ip6AddrWithMask & a ) {
   return os << a.toStrep();
}
std::ostream & operator<<( std::ostream & os, const IpGenAddrWithFullMask & a ) {
   return os << a.toStrep();
}

}   // namespace Ferule
