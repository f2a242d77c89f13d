#include "substrate/gyre/Eval.h"

#include <gmock/gmock.h>

namespace {

using Gyre::Eval::EvalContextBase;
using Gyre::Eval::FunctionBase;
using Gyre::Eval::GyreEvalContextMap;
using Gyre::Eval::ResultCode;
using Quoin::makeNode;
using Quoin::Ptr;
using Routing::RouteMap::RmPrecedence;

struct Context final : EvalContextBase {
   Routing::Policy::Result_ * result() const override { return nullptr; }
   void shouldLogEvalIs( bool ) override {}
   Ptr<const Routing::Policy::EvaluationLogBase> takeEvaluationLog() override { return nullptr; }
};

TEST( ResultCode, permitIsTwo ) {
   EXPECT_EQ( uint32_t( ResultCode::permit ), 2u );
}

TEST( FunctionBase, readsNothingOfARouteUnlessItSaysSo ) {
   struct Function final : FunctionBase {
      ResultCode evaluate( const Ptr<EvalContextBase> & ) const override { return ResultCode( 0 ); }
      void dumpState( const Zeugma::DumpContextPtr &, unsigned ) const override {}
   };
   EXPECT_EQ( Function().routeMapFeatures(), Routing::RouteMap::RouteMapFeatures() );
}

TEST( GyreEvalContextMap, hasNoContextsAtFirst ) {
   const GyreEvalContextMap map;
   for( unsigned p = 0; p < 256; ++p ) EXPECT_FALSE( map.context( RmPrecedence( uint8_t( p ) ) ) ) << p;
}

TEST( GyreEvalContextMap, withOneEntryHasThatAlone ) {
   const auto context = makeNode<Context>();
   const auto map = GyreEvalContextMap::getGyreEvalContextMapWithOneEntry( RmPrecedence( 4 ), context );
   for( unsigned p = 0; p < 256; ++p ) EXPECT_EQ( map->context( RmPrecedence( uint8_t( p ) ) ), p == 4 ? context : nullptr ) << p;
   EXPECT_EQ( context->useCount(), 2u );
}

TEST( GyreEvalContextMap, keepsAContextPerPrecedence ) {
   const auto a = makeNode<Context>(), b = makeNode<Context>(), c = makeNode<Context>();
   auto map = makeNode<GyreEvalContextMap>();
   map->contextIs( RmPrecedence( 6 ), a );
   map->contextIs( RmPrecedence( 4 ), b );
   EXPECT_EQ( map->context( RmPrecedence( 6 ) ), a );
   EXPECT_EQ( map->context( RmPrecedence( 4 ) ), b );
   map->contextIs( RmPrecedence( 6 ), c );
   EXPECT_EQ( map->context( RmPrecedence( 6 ) ), c );
   EXPECT_EQ( a->useCount(), 1u );
   map->contextIs( RmPrecedence( 6 ), nullptr );
   EXPECT_FALSE( map->context( RmPrecedence( 6 ) ) );
   map = nullptr;
   EXPECT_EQ( b->useCount(), 1u );
}

}   // namespace
