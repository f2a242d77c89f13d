#include "substrate/ferule/AddressFamily.h"

#include <sstream>

#include <gmock/gmock.h>

namespace {

using Ferule::AddressFamily;

TEST( AddressFamily, hasItsNumbersWidthsAndNames ) {
   const struct {
      AddressFamily af;
      unsigned number;
      unsigned bits;
      const char * text;
   } rows[] = {
      { AddressFamily::unset, 0, 0, "unset" }, { AddressFamily::ipv4, 1, 32, "ipv4" }, { AddressFamily::ipv6, 2, 128, "ipv6" },
      { AddressFamily( 3 ), 3, 0, "3" },       { AddressFamily( 65 ), 65, 0, "65" },   // not the letter of that code
      { AddressFamily( 255 ), 255, 0, "255" },
   };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.number );
      EXPECT_EQ( unsigned( row.af ), row.number );
      EXPECT_EQ( addressBits( row.af ), row.bits );
      std::ostringstream os;
      os << row.af;
      EXPECT_EQ( os.str(), row.text );
   }
}

}   // namespace
