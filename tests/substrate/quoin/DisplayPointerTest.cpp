#include "substrate/quoin/DisplayPointer.h"

#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <iomanip>
#include <sstream>
#include <string>

#include <gmock/gmock.h>

namespace {

using Quoin::DisplayPointer;
using Quoin::makeNode;
using Quoin::Node;
using Quoin::Ptr;

struct Thing : Node {};

std::string hex( const void * object ) {
   std::ostringstream os;
   os << "0x" << std::hex << reinterpret_cast<uintptr_t>( object );
   return os.str();
}

TEST( DisplayPointer, isTheAddressInLowerCaseHexadecimal ) {
   const struct {
      const char * name;
      uintptr_t address;
      const char * text;
   } rows[] = {
      { "null", 0, "NULL" },
      { "one digit", 1, "0x1" },
      { "letters", 0xdeadbeef, "0xdeadbeef" },
      { "the highest", UINTPTR_MAX, sizeof( uintptr_t ) == 8 ? "0xffffffffffffffff" : "0xffffffff" },
   };
   for( const auto & row : rows )
      EXPECT_EQ( DisplayPointer::toString( reinterpret_cast<const void *>( row.address ) ), row.text ) << row.name;
}

TEST( DisplayPointer, streamFormOfAHandleIsItsIdentity ) {
   const auto thing = makeNode<Thing>();
   std::ostringstream os;
   os << thing << ' ' << Ptr<const Node>( thing ) << ' ' << Ptr<Thing>();
   EXPECT_EQ( os.str(), hex( thing.get() ) + ' ' + hex( thing.get() ) + " NULL" );
}

TEST( DisplayPointer, streamFormLeavesTheStreamAlone ) {
   const auto thing = makeNode<Thing>();
   const Ptr<Thing> null;
   const struct {
      const char * name;
      std::ios_base::fmtflags flags;
      int width;
   } rows[] = {
      { "decimal", std::ios_base::dec, 0 },
      { "octal, upper case, with base", std::ios_base::oct | std::ios_base::uppercase | std::ios_base::showbase, 0 },
      { "width, to the left", std::ios_base::hex | std::ios_base::left, 40 },
      { "width, to the right", std::ios_base::hex | std::ios_base::right | std::ios_base::boolalpha, 40 },
   };
   for( const auto & row : rows ) {
      for( const auto & p : { thing, null } ) {
         SCOPED_TRACE( row.name );
         std::ostringstream os;
         os.flags( row.flags );
         os.fill( '*' );
         os.width( row.width );
         os << p;
         EXPECT_EQ( os.str(), p ? hex( p.get() ) : "NULL" );
         EXPECT_EQ( os.flags(), row.flags );
         EXPECT_EQ( os.width(), row.width );
         EXPECT_EQ( os.fill(), '*' );
      }
   }
}

}   // namespace
