#include "function/GyreTypes.h"

#include <string>

#include <gmock/gmock.h>

#include "substrate/quoin/DisplayPointer.h"

namespace {

using Gyre::FunctionStatusBase;
using Quoin::makeNode;
using Quoin::Ptr;
using Zeugma::DumpContext;
using Zeugma::DumpContextPtr;

struct Body final : Gyre::Eval::FunctionBase {
   Gyre::Eval::ResultCode evaluate( const Ptr<Gyre::Eval::EvalContextBase> & ) const override { return Gyre::Eval::ResultCode::permit; }
   void dumpState( const DumpContextPtr & ctx, unsigned indent ) const override { ZEUGMA_OBJ_DUMP_LINE( ctx, indent, "Body\n" ); }
};

struct Table final : Gyre::ExternalMatchersBase {
   uint32_t hash() const override { return 1; }
   bool compare( const Zeugma::DedupHandleBase * other ) const override { return other == this; }
   bool compareByContent( const Zeugma::DedupContentHandle & ) const override { return false; }
   bool compareLessThan( const Zeugma::DedupHandleBase * other ) const override { return this < other; }
   bool compareLessThanByContent( const Zeugma::DedupContentHandle & ) const override { return false; }
   void dumpState( const DumpContextPtr & ctx, unsigned indent ) const override { ZEUGMA_OBJ_DUMP_LINE( ctx, indent, "Table\n" ); }
};

std::string identity( const void * object ) {
   return Quoin::DisplayPointer::toString( object );
}

std::string dumpOf( const FunctionStatusBase & status, unsigned indent, DumpContextPtr ctx = makeNode<DumpContext>() ) {
   status.dumpState( ctx, indent );
   return std::string( ctx->text() );
}

TEST( FunctionStatusBase, isUndefinedUntilItHasABody ) {
   const auto status = FunctionStatusBase::FunctionStatusBaseIs( "F" );
   EXPECT_EQ( status->funcName(), "F" );
   EXPECT_FALSE( status->aet() );
   EXPECT_FALSE( status->externalMatchers() );
   EXPECT_TRUE( status->undefined() );
   status->externalMatchersIs( makeNode<Table>() );
   EXPECT_TRUE( status->undefined() );
   status->aetIs( makeNode<Body>() );
   EXPECT_FALSE( status->undefined() );
   status->externalMatchersIs( nullptr );
   EXPECT_FALSE( status->undefined() );
   status->aetIs( nullptr );
   EXPECT_TRUE( status->undefined() );
}

TEST( FunctionStatusBase, sharesItsBodyAndItsTable ) {
   auto status = FunctionStatusBase::FunctionStatusBaseIs( "" );
   const auto body = makeNode<Body>();
   const auto table = makeNode<Table>();
   status->aetIs( body );
   status->externalMatchersIs( table );
   EXPECT_EQ( status->aet(), body );
   EXPECT_EQ( status->externalMatchers(), table );
   EXPECT_EQ( body->useCount(), 2u );
   EXPECT_EQ( table->useCount(), 2u );
   status = nullptr;
   EXPECT_EQ( body->useCount(), 1u );
   EXPECT_EQ( table->useCount(), 1u );
}

TEST( FunctionStatusBase, oneWithOnlyANameDumpsBothChildrenAsNull ) {
   const FunctionStatusBase status( "F" );
   EXPECT_EQ( dumpOf( status, 0 ), "GYRE FunctionStatus for function F\n  ExternalMatchers NULL\n  Function NULL\n" );
   EXPECT_EQ( dumpOf( status, 3 ), "   GYRE FunctionStatus for function F\n     ExternalMatchers NULL\n     Function NULL\n" );
}

TEST( FunctionStatusBase, dumpsItsTableAndThenItsBody ) {
   FunctionStatusBase status( "long name with blanks" );
   status.externalMatchersIs( makeNode<Table>() );
   status.aetIs( makeNode<Body>() );
   EXPECT_EQ( dumpOf( status, 0 ), "GYRE FunctionStatus for function long name with blanks\n  Table\n  Body\n" );
   EXPECT_EQ( dumpOf( status, 2 ), "  GYRE FunctionStatus for function long name with blanks\n    Table\n    Body\n" );
}

TEST( FunctionStatusBase, aSharedTableIsDumpedInFullOncePerContext ) {
   FunctionStatusBase a( "A" ), b( "B" );
   const auto table = makeNode<Table>();
   const auto body = makeNode<Body>();
   for( auto * status : { &a, &b } ) {
      status->externalMatchersIs( table );
      status->aetIs( body );
   }
   const DumpContextPtr ctx = makeNode<DumpContext>();
   dumpOf( a, 0, ctx );
   EXPECT_EQ( dumpOf( b, 0, ctx ),
              "GYRE FunctionStatus for function A\n  Table\n  Body\nGYRE FunctionStatus for function B\n  ExternalMatchers " +
                 identity( table.get() ) + " (duplicate)\n  Function " + identity( body.get() ) + " (duplicate)\n" );
   EXPECT_EQ( dumpOf( b, 0 ), "GYRE FunctionStatus for function B\n  Table\n  Body\n" );
}

TEST( FunctionStatusBase, genericOutputAsksNoChild ) {
   FunctionStatusBase status( "F" );
   const auto table = makeNode<Table>();
   status.externalMatchersIs( table );
   EXPECT_EQ( dumpOf( status, 0, makeNode<DumpContext>( DumpContext::Mode::generic ) ),
              "GYRE FunctionStatus for function F\n  ExternalMatchers " + identity( table.get() ) + "\n  Function NULL\n" );
}

}   // namespace
