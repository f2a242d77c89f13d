#include "substrate/zeugma/MaybeU63.h"

#include <functional>
#include <ostream>
#include <string>

#include "substrate/quoin/Decimal.h"
#include "substrate/quoin/Exception.h"

namespace Zeugma {

uint32_t MaybeU63::hash() const noexcept {
   const uint64_t word = present() ? word_ : kAbsent;
   return static_cast<uint32_t>( word ^ ( word >> 32 ) );
}

Quoin::String MaybeU63::toStrep() const {
   return present() ? Quoin::String( std::to_string( word_ ) ) : Quoin::String( "none" );
}

MaybeU63 MaybeU63::parse( std::string_view text ) {
   if( text == "none" ) return MaybeU63();
   return MaybeU63( Quoin::parseDecimal( text, kAbsent - 1, "number" ) );
}

std::ostream & operator<<( std::ostream & os, MaybeU63 value ) {
   return os << value.toStrep();
}

}   // namespace Zeugma
