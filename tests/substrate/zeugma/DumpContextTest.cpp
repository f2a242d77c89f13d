#include "substrate/zeugma/DumpContext.h"

#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "substrate/quoin/DisplayPointer.h"

namespace {

using Quoin::makeNode;
using Quoin::Node;
using Quoin::Ptr;
using Zeugma::_objDumpPrintf;
using Zeugma::dumpChild;
using Zeugma::DumpContext;
using Zeugma::DumpContextPtr;

DumpContextPtr newContext( DumpContext::Mode mode = DumpContext::Mode::classText ) {
   return makeNode<DumpContext>( mode );
}

std::string textOf( const DumpContextPtr & ctx ) {
   return std::string( ctx->text() );
}

std::string identity( const Node * node ) {
   return Quoin::DisplayPointer::toString( node );
}

/// Dumps its name, without a new line if so told, and its children.
struct Item : Node {
   explicit Item( std::string n, std::vector<Ptr<Item>> c = {}, const char * e = "\n" )
         : name( std::move( n ) ), children( std::move( c ) ), end( e ) {}
   void dumpState( const DumpContextPtr & ctx, unsigned indent ) const {
      ZEUGMA_OBJ_DUMP_LINE( ctx, indent, "Item %s%s", name.c_str(), end );
      for( const auto & c : children ) dumpChild( ctx, "Item", c, indent + 2 );
   }
   std::string name;
   std::vector<Ptr<Item>> children;
   const char * end;
};

TEST( DumpContext, startsEmpty ) {
   const auto ctx = newContext();
   EXPECT_EQ( ctx->text(), "" );
   EXPECT_FALSE( ctx->genericOutput() );
   EXPECT_TRUE( newContext( DumpContext::Mode::generic )->genericOutput() );
   EXPECT_FALSE( DumpContext().genericOutput() );
}

TEST( DumpContext, marksEachObjectOnce ) {
   const auto ctx = newContext();
   const int a = 0, b = 0;
   EXPECT_FALSE( ctx->markObject( &a ) );
   EXPECT_FALSE( ctx->markObject( &b ) );
   EXPECT_TRUE( ctx->markObject( &a ) );
   EXPECT_TRUE( ctx->markObject( &b ) );
   EXPECT_FALSE( newContext()->markObject( &a ) );
}

TEST( DumpContext, endsALineThatIsOpen ) {
   const auto ctx = newContext();
   ctx->ensureBufEndsWithNewLine();
   EXPECT_EQ( ctx->text(), "" );
   ctx->append( "a", 1 );
   ctx->ensureBufEndsWithNewLine();
   ctx->ensureBufEndsWithNewLine();
   ctx->append( "bc", 1 );
   EXPECT_EQ( ctx->text(), "a\nb" );
}

TEST( DumpContext, printsAsPrintf ) {
   const auto ctx = newContext();
   _objDumpPrintf( ctx, "%s=%d %5.1f%% ", "x", -3, 12.34 );
   _objDumpPrintf( ctx, "%c%s", 'y', "%d" );
   EXPECT_EQ( ctx->text(), "x=-3  12.3% y%d" );
}

TEST( DumpContext, printsLinesOfAnyLength ) {
   for( size_t length : { 0u, 1u, 254u, 255u, 256u, 257u, 511u, 512u, 513u, 100000u } ) {
      SCOPED_TRACE( length );
      std::string line;
      for( size_t i = 0; i < length; ++i ) line += char( 'a' + i % 26 );
      const auto ctx = newContext();
      _objDumpPrintf( ctx, "%s", line.c_str() );
      _objDumpPrintf( ctx, "%s|%d", line.c_str(), 7 );
      EXPECT_EQ( textOf( ctx ), line + line + "|7" );
   }
}

TEST( DumpContext, indentsByAsManyBlanksAndByNoneAtZero ) {
   const struct {
      unsigned indent;
      const char * text;
   } rows[] = { { 0, "x 5\nplain\n" }, { 1, " x 5\n plain\n" }, { 2, "  x 5\n  plain\n" }, { 7, "       x 5\n       plain\n" } };
   for( const auto & row : rows ) {
      const auto ctx = newContext();
      ZEUGMA_OBJ_DUMP_LINE( ctx, row.indent, "%s %d\n", "x", 5 );
      ZEUGMA_OBJ_DUMP_LINE( ctx, row.indent, "plain\n" );
      EXPECT_EQ( textOf( ctx ), row.text ) << row.indent;
   }
   const auto ctx = newContext();
   ZEUGMA_OBJ_DUMP_LINE( ctx, 300u, "x" );
   EXPECT_EQ( textOf( ctx ), std::string( 300, ' ' ) + "x" );
}

TEST( DumpContext, notesAreOneLineEach ) {
   const int object = 0;
   const std::string address = Quoin::DisplayPointer::toString( &object );
   for( unsigned indent : { 0u, 4u } ) {
      SCOPED_TRACE( indent );
      const auto ctx = newContext();
      doObjDumpDuplicate( ctx, "Item", &object, indent );
      doObjDumpGeneric( ctx, "Item", &object, indent );
      doObjDumpChildPtrNull( ctx, "Item", indent );
      doObjDumpMissingAttributes( ctx, "foo bar", indent );
      std::string expected;
      for( const std::string & note :
           { "Item " + address + " (duplicate)", "Item " + address, std::string( "Item NULL" ), std::string( "not dumped: foo bar" ) } )
         expected.append( indent, ' ' ).append( note ).append( 1, '\n' );
      EXPECT_EQ( textOf( ctx ), expected );
   }
}

TEST( DumpContext, childrenStandTwoColumnsDeeper ) {
   const auto root =
      makeNode<Item>( "a", std::vector{ makeNode<Item>( "b", std::vector{ makeNode<Item>( "c" ) } ), Ptr<Item>(), makeNode<Item>( "d" ) } );
   auto ctx = newContext();
   root->dumpState( ctx, 0 );
   EXPECT_EQ( textOf( ctx ), "Item a\n  Item b\n    Item c\n  Item NULL\n  Item d\n" );
   ctx = newContext();
   root->dumpState( ctx, 3 );
   EXPECT_EQ( textOf( ctx ), "   Item a\n     Item b\n       Item c\n     Item NULL\n     Item d\n" );
}

TEST( DumpContext, anObjectDumpedTwiceThroughOneContextPrintsOnce ) {
   const auto item = makeNode<Item>( "a", std::vector{ makeNode<Item>( "b" ) } );
   const auto ctx = newContext();
   dumpChild( ctx, "Item", item, 0 );
   dumpChild( ctx, "Item", Ptr<const Item>( item ), 4 );
   EXPECT_EQ( textOf( ctx ), "Item a\n  Item b\n    Item " + identity( item.get() ) + " (duplicate)\n" );
   const auto other = newContext();
   dumpChild( other, "Item", item, 0 );
   EXPECT_EQ( textOf( other ), "Item a\n  Item b\n" );
}

TEST( DumpContext, aCycleComesToAnEnd ) {
   const auto a = makeNode<Item>( "a" ), b = makeNode<Item>( "b", std::vector{ a } );
   a->children = { b };
   const auto ctx = newContext();
   dumpChild( ctx, "Item", a, 0 );
   EXPECT_EQ( textOf( ctx ), "Item a\n  Item b\n    Item " + identity( a.get() ) + " (duplicate)\n" );
   a->children.clear();
}

TEST( DumpContext, nullIsNeverADuplicate ) {
   const auto ctx = newContext();
   for( int i = 0; i < 2; ++i ) dumpChild( ctx, "Item", Ptr<Item>(), 0 );
   EXPECT_EQ( textOf( ctx ), "Item NULL\nItem NULL\n" );
}

TEST( DumpContext, aLineThatTheChildLeavesOpenIsEnded ) {
   const auto ctx = newContext();
   for( const char * name : { "a", "b" } ) dumpChild( ctx, "Item", makeNode<Item>( name, std::vector<Ptr<Item>>(), "" ), 0 );
   EXPECT_EQ( textOf( ctx ).substr( 0, 7 ), "Item a\n" );
}

struct Silent : Node {
   static constexpr const char * kAttributesNotDumped = "all";
   void dumpState( const DumpContextPtr &, unsigned ) const { ADD_FAILURE() << "asked"; }
};

TEST( DumpContext, genericOutputAsksNoClass ) {
   const auto item = makeNode<Silent>();
   const auto ctx = newContext( DumpContext::Mode::generic );
   dumpChild( ctx, "Silent", item, 2 );
   dumpChild( ctx, "Silent", item, 2 );
   dumpChild( ctx, "Silent", Ptr<Silent>(), 0 );
   EXPECT_EQ( textOf( ctx ),
              "  Silent " + identity( item.get() ) + "\n  Silent " + identity( item.get() ) + " (duplicate)\nSilent NULL\n" );
}

struct Partial : Node {
   static constexpr const char * kAttributesNotDumped = "timer";
   void dumpState( const DumpContextPtr & ctx, unsigned indent ) const { ZEUGMA_OBJ_DUMP_LINE( ctx, indent, "Partial" ); }
};

TEST( DumpContext, namesTheAttributesThatAClassLeavesOut ) {
   const auto item = makeNode<Partial>();
   const auto ctx = newContext();
   dumpChild( ctx, "Partial", item, 2 );
   dumpChild( ctx, "Partial", item, 2 );
   EXPECT_EQ( textOf( ctx ), "  Partial\n    not dumped: timer\n  Partial " + identity( item.get() ) + " (duplicate)\n" );
}

}   // namespace
