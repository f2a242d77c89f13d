#include "policy/RouteProtoHelper.h"

#include <cstddef>
#include <cstdint>

namespace Routing::Policy {

namespace {

constexpr uint8_t kProto[] = { 1,  1,  1,  0,  1, 0, 4,  0,  2,  9,  1,  0,  10, 47, 24, 24, 24, 24, 24, 24, 10,  10,  10,
                               10, 10, 15, 15, 0, 4, 31, 31, 31, 31, 31, 31, 31, 16, 0,  52, 0,  0,  0,  4,  118, 120, 28 };
constexpr uint8_t kProto6[] = { 1,  1,  1,  4,  2,  9,  1, 0, 10, 47, 24, 24, 24, 24, 24, 24,  24,  10, 10,
                                10, 10, 10, 10, 15, 15, 0, 4, 16, 0,  52, 0,  0,  0,  4,  118, 120, 28 };
static_assert( sizeof kProto == 46 && sizeof kProto6 == 37 );

template <size_t N>
RouteProto lookUp( const uint8_t ( &table )[ N ], unsigned type ) {
   return type == 0 || type > N ? RouteProto() : RouteProto( table[ type - 1 ] );
}

}   // namespace

RouteProtoHelper::~RouteProtoHelper() = default;

RouteProto RouteProtoHelper::routeProto( Routing::Fib::RouteType t ) {
   return lookUp( kProto, unsigned( t ) );
}

RouteProto RouteProtoHelper::routeProto6( Routing6::Fib::RouteType t ) {
   return lookUp( kProto6, unsigned( t ) );
}

}   // namespace Routing::Policy
