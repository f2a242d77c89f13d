#include "substrate/ferule/IpPrefix.h"

#include <ostream>
#include <string>

#include "substrate/quoin/Decimal.h"
#include "substrate/zeugma/HashMix.h"

namespace Ferule {

uint32_t IpPrefix::hash() const noexcept {
   return IpGenPrefix( address, length ).hash();
}
Quoin::String IpPrefix::toStrep() const {
   return IpGenPrefix( address, length ).toStrep();
}

uint32_t Ip6Prefix::hash() const noexcept {
   return IpGenPrefix( *this ).hash();
}
Quoin::String Ip6Prefix::toStrep() const {
   return IpGenPrefix( *this ).toStrep();
}

IpGenPrefix::IpGenPrefix( std::string_view text ) {
   const auto slash = text.find( '/' );
   addr_ = IpGenAddr( text.substr( 0, slash ) );
   const uint8_t bits = addressBits( af() );
   length_ = slash == text.npos ? bits : static_cast<uint8_t>( Quoin::parseDecimal( text.substr( slash + 1 ), bits, "prefix length" ) );
}

uint32_t IpGenPrefix::hash() const noexcept {
   const uint32_t parts[] = { addr_.hash(), length() };
   Zeugma::HashMix mix;
   mix.mixBytes8( reinterpret_cast<const unsigned char *>( parts ) );
   return mix;
}

Quoin::String IpGenPrefixBase::toStrep() const {
   if( af() == AddressFamily::unset ) return "unset";
   return addr_.toStrep() + Quoin::String( "/" + std::to_string( length() ) );
}

std::ostream & operator<<( std::ostream & os, const IpPrefix & p ) {
   return os << p.toStrep();
}
std::ostream & operator<<( std::ostream & os, const Ip6Prefix & p ) {
   return os << p.toStrep();
}
std::ostream & operator<<( std::ostream & os, const IpGenPrefixBase & p ) {
   return os << p.toStrep();
}

}   // namespace Ferule
