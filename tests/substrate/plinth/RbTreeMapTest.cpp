#include "substrate/plinth/RbTreeMap.h"

#include <string>
#include <type_traits>

#include "tests/substrate/plinth/OrderedMapTest.h"

namespace {

/// Without inline room, with too little, and with enough for most cases.
template <size_t N>
struct Row {
   template <class K, class V>
   using Map = Plinth::RbTreeMap<K, V, N>;
   static std::string name() { return "inline" + std::to_string( N ); }
};
using Rows = testing::Types<Row<0>, Row<2>, Row<16>>;
// A copy that finds no memory throws, also from an assignment.
static_assert( !std::is_nothrow_copy_assignable_v<Plinth::RbTreeMap<int, int>> );
static_assert( std::is_nothrow_move_assignable_v<Plinth::RbTreeMap<int, int>> );

INSTANTIATE_TYPED_TEST_SUITE_P( RbTreeMap, OrderedMapTest, Rows, KindName );

}   // namespace
