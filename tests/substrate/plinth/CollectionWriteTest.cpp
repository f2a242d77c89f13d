// The writes of the collections that give the former value.

#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "substrate/plinth/HashMap2018.h"
#include "substrate/plinth/RbTreeMap.h"
#include "substrate/plinth/TreeMap.h"

namespace {

using Plinth::Stored;

enum class Color { red, green };

template <class Map>
class CollectionWriteTest : public testing::Test {};
using Maps = testing::Types<Plinth::TreeMap<Color, std::string>, Plinth::RbTreeMap<Color, std::string>,
                            Plinth::HashMap2018<Color, std::string>, Plinth::HashMap2018<int, std::string>>;
TYPED_TEST_SUITE( CollectionWriteTest, Maps );

TYPED_TEST( CollectionWriteTest, theFormerValueIsGivenToTheWriter ) {
   using Key = typename TypeParam::Key;
   TypeParam map;
   std::string value = "one";
   EXPECT_EQ( map.store( Key( 1 ), value ), Stored::added );
   value = "one";
   EXPECT_EQ( map.store( Key( 1 ), value ), Stored::nothing );
   EXPECT_EQ( value, "one" );
   EXPECT_EQ( map.version(), 1u );
   value = "two";
   EXPECT_EQ( map.store( Key( 1 ), value ), Stored::replaced );
   EXPECT_EQ( value, "one" );
   EXPECT_EQ( map.take( Key( 0 ) ), std::nullopt );
   EXPECT_EQ( map.version(), 2u );
   EXPECT_EQ( map.take( Key( 1 ) ), "two" );
   EXPECT_EQ( map.version(), 3u );
   EXPECT_TRUE( map.empty() );
}

TYPED_TEST( CollectionWriteTest, aCopyKeepsWhatIsTaken ) {
   using Key = typename TypeParam::Key;
   TypeParam map;
   map.put( Key( 0 ), "zero" );
   for( const int last : { 1, 0 } ) {   // of two members, then of one
      if( last == 1 ) map.put( Key( 1 ), "one" );
      const TypeParam copy = map;
      EXPECT_EQ( map.take( Key( last ) ), last == 1 ? "one" : "zero" );
      ASSERT_TRUE( copy.find( Key( last ) ) );
      EXPECT_EQ( *copy.find( Key( last ) ), last == 1 ? "one" : "zero" );
   }
}

}   // namespace
