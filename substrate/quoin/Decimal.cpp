#include "substrate/quoin/Decimal.h"

#include <charconv>
#include <string>

#include "substrate/quoin/Exception.h"

namespace Quoin {

uint64_t parseDecimal( std::string_view text, uint64_t max, const char * what ) {
   uint64_t value = 0;
   const char * end = text.data() + text.size();
   auto [ stop, error ] = std::from_chars( text.data(), end, value );
   if( error == std::errc::invalid_argument || stop != end )
      throw RangeException( std::string( what ) + " \"" + std::string( text ) + "\": not a decimal number" );
   if( error == std::errc::result_out_of_range || value > max )
      throw RangeException( std::string( what ) + " \"" + std::string( text ) + "\": above " + std::to_string( max ) );
   return value;
}

}   // namespace Quoin
