#include "substrate/routemap/AllIpAccessListSymbol.h"

#include <string>

#include <gmock/gmock.h>

#include "tests/substrate/routemap/ChangeLog.h"

namespace {

using Quoin::FieldId;
using Quoin::makeNode;
using Quoin::String;
using Routing::RouteMap::AllIpAccessListSymbol;
using Routing::RouteMap::IpAccessListSymbol;
using testing::ElementsAre;

TEST( AllIpAccessListSymbol, isEmptyAtFirst ) {
   const auto all = makeNode<AllIpAccessListSymbol>();
   EXPECT_TRUE( all->symbol().empty() );
   EXPECT_EQ( all->symbol( "ACL" ), nullptr );
   all->symbolDel( "ACL" );   // nothing happens
   EXPECT_TRUE( all->symbol().empty() );
}

TEST( AllIpAccessListSymbol, entersASymbolUnderItsName ) {
   const auto all = makeNode<AllIpAccessListSymbol>();
   const auto a = makeNode<IpAccessListSymbol>( "A" ), b = makeNode<IpAccessListSymbol>( "B" );
   all->symbolIs( a );
   all->symbolIs( b );
   EXPECT_EQ( all->symbol( "A" ), a );
   EXPECT_EQ( all->symbol( "B" ), b );
   EXPECT_EQ( all->symbol( "C" ), nullptr );
   EXPECT_EQ( all->symbol().count(), 2u );
   EXPECT_EQ( a->useCount(), 2u );
   all->symbolDel( "A" );
   EXPECT_EQ( all->symbol( "A" ), nullptr );
   EXPECT_EQ( a->useCount(), 1u );
   EXPECT_EQ( all->symbol( "B" ), b );
}

TEST( AllIpAccessListSymbol, publishesRealChangesWithTheName ) {
   const auto all = makeNode<AllIpAccessListSymbol>();
   ChangeLog<String> log( *all );
   const auto first = makeNode<IpAccessListSymbol>( "A" ), second = makeNode<IpAccessListSymbol>( "A" );
   const auto field = FieldId( AllIpAccessListSymbol::Field::symbol );
   all->symbolIs( first );
   EXPECT_THAT( log.take(), ElementsAre( field ) );
   all->symbolIs( first );
   all->symbolDel( "B" );
   EXPECT_THAT( log.take(), testing::IsEmpty() );
   all->symbolIs( second );
   EXPECT_EQ( all->symbol( "A" ), second );
   EXPECT_THAT( log.take(), ElementsAre( field ) );
   all->symbolDel( "A" );
   EXPECT_THAT( log.take(), ElementsAre( field ) );
   EXPECT_THAT( log.keys, ElementsAre( String( "A" ), String( "A" ), String( "A" ) ) );
}

TEST( AllIpAccessListSymbol, aNullSymbolIsRaisedAndChangesNothing ) {
   const auto all = makeNode<AllIpAccessListSymbol>();
   all->symbolIs( makeNode<IpAccessListSymbol>( "A" ) );
   ChangeLog<String> log( *all );
   try {
      all->symbolIs( nullptr );
      FAIL() << "not raised";
   } catch( const Plinth::MutatorArgNullPointerException & e ) { EXPECT_STREQ( e.what(), "symbolIs: the argument is null" ); }
   EXPECT_EQ( all->symbol().count(), 1u );
   EXPECT_THAT( log.take(), testing::IsEmpty() );
}

}   // namespace
