#include "substrate/ferule/IntfId.h"

#include <cstdint>

#include <gmock/gmock.h>
#include <rapidcheck/gtest.h>

namespace {

using Ferule::IntfId;

TEST( IntfId, defaultIsNone ) {
   constexpr IntfId none;
   EXPECT_EQ( none.id(), 0u );
   EXPECT_EQ( none, IntfId( 0 ) );
   EXPECT_EQ( none.toStrep(), "0" );
}

}   // namespace
