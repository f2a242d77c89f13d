#include "compile/SequenceChangeSymbol.h"

#include <gmock/gmock.h>

namespace {

using namespace Routing::Policy;
using namespace Routing::RouteMap;
using Quoin::makeNode;
using Quoin::Ptr;

TEST( MatcherChangeSymbol, isASetOfSymbolsOfOneClause ) {
   const auto change = makeNode<MatcherChangeSymbol>( MatchOption::matchTagSet );
   EXPECT_EQ( change->option(), MatchOption::matchTagSet );
   EXPECT_TRUE( change->matchSymbol().empty() );
   const Ptr<const PolicySymbol> a = makeNode<TagSetSymbol>( "A" ), b = makeNode<RouteMapSymbol>( "A" );
   change->matchSymbolIs( a );
   change->matchSymbolIs( b );   // another object of that name
   change->matchSymbolIs( a );
   EXPECT_EQ( change->matchSymbol().count(), 2u );
   EXPECT_TRUE( change->matchSymbolHas( a ) && change->matchSymbolHas( b ) );
   EXPECT_EQ( a->useCount(), 2u ) << "held once";
   change->matchSymbolDel( a );
   change->matchSymbolDel( a );
   EXPECT_FALSE( change->matchSymbolHas( a ) );
   EXPECT_EQ( a->useCount(), 1u );
   change->matchSymbolDelAll();
   EXPECT_TRUE( change->matchSymbol().empty() );
   EXPECT_EQ( b->useCount(), 1u );
}

TEST( SetterChangeSymbol, isASetOfSymbolsOfOneClause ) {
   const auto change = makeNode<SetterChangeSymbol>( SetOption::setCommunityList );
   EXPECT_EQ( change->option(), SetOption::setCommunityList );
   EXPECT_TRUE( change->setSymbol().empty() );
   const Ptr<const PolicySymbol> a = makeNode<CommListSymbol>( "A" ), b = makeNode<CommListSymbol>( "B" );
   change->setSymbolIs( a );
   change->setSymbolIs( a );
   EXPECT_EQ( change->setSymbol().count(), 1u );
   EXPECT_TRUE( change->setSymbolHas( a ) && !change->setSymbolHas( b ) );
   change->setSymbolIs( b );
   change->setSymbolDel( a );
   EXPECT_TRUE( !change->setSymbolHas( a ) && change->setSymbolHas( b ) );
   change->setSymbolDelAll();
   EXPECT_TRUE( change->setSymbol().empty() );
   EXPECT_EQ( b->useCount(), 1u );
}

// Such a change would be no deletion, and have nothing to refer to.
TEST( SequenceChangeSymbol, aNullIsNoSymbolOfAClause ) {
   const auto matcher = makeNode<MatcherChangeSymbol>( MatchOption::matchTagSet );
   const auto setter = makeNode<SetterChangeSymbol>( SetOption::setCommunityList );
   try {
      matcher->matchSymbolIs( nullptr );
      ADD_FAILURE() << "taken";
   } catch( const Plinth::MutatorArgNullPointerException & e ) { EXPECT_STREQ( e.what(), "matchSymbolIs: the argument is null" ); }
   try {
      setter->setSymbolIs( nullptr );
      ADD_FAILURE() << "taken";
   } catch( const Plinth::MutatorArgNullPointerException & e ) { EXPECT_STREQ( e.what(), "setSymbolIs: the argument is null" ); }
   EXPECT_TRUE( matcher->matchSymbol().empty() && setter->setSymbol().empty() ) << "they stay deletions";
}

TEST( SubRouteMapChangeSymbol, holdsItsSymbolOrNone ) {
   const auto symbol = routeMapSymbolFactory( "RM" );
   for( const auto & change : { makeNode<SubRouteMapChangeSymbol>( symbol ), subRouteMapChangeSymbolFactory( symbol ) } ) {
      EXPECT_EQ( change->symbol(), symbol );
      change->symbolIs( nullptr );
      EXPECT_EQ( change->symbol(), nullptr );
   }
   EXPECT_EQ( subRouteMapChangeSymbolFactory( nullptr )->symbol(), nullptr ) << "the reference was removed";
   EXPECT_EQ( symbol->useCount(), 1u );
}

TEST( AggRoleAttrMapChangeSymbol, holdsItsSymbolOrNone ) {
   const auto symbol = routeMapSymbolFactory( "RM" );
   for( const auto & change : { makeNode<AggRoleAttrMapChangeSymbol>( symbol ), aggRoleAttrMapChangeSymbolFactory( symbol ) } ) {
      EXPECT_EQ( change->symbol(), symbol );
      change->symbolIs( nullptr );
      EXPECT_EQ( change->symbol(), nullptr );
   }
   EXPECT_EQ( aggRoleAttrMapChangeSymbolFactory( nullptr )->symbol(), nullptr );
   EXPECT_EQ( symbol->useCount(), 1u );
}

TEST( SequenceChangeSymbol, aNewOneChangesNothing ) {
   for( const auto & change : { makeNode<SequenceChangeSymbol>( 4294967295u ), sequenceChangeSymbolFactory( 4294967295u ) } ) {
      EXPECT_EQ( change->seqno(), 4294967295u );
      EXPECT_TRUE( change->matcherChangeSymbol().empty() );
      EXPECT_TRUE( change->setterChangeSymbol().empty() );
      EXPECT_EQ( change->subRouteMapChangeSymbol(), nullptr );
      EXPECT_EQ( change->aggRoleAttrMapChangeSymbol(), nullptr );
   }
}

TEST( SequenceChangeSymbol, keepsOneChangeOfEachClause ) {
   const auto change = sequenceChangeSymbolFactory( 10 );
   const Ptr<const PolicySymbol> symbol = makeNode<TagSetSymbol>( "A" );
   change->matcherChangeSymbolIs( MatchOption::matchTagSet )->matchSymbolIs( symbol );
   change->matcherChangeSymbolIs( MatchOption::matchIpPrefixList );
   change->setterChangeSymbolIs( SetOption::setCommunityList )->setSymbolIs( symbol );
   EXPECT_EQ( change->matcherChangeSymbol().count(), 2u );
   EXPECT_EQ( change->setterChangeSymbol().count(), 1u );
   EXPECT_TRUE( change->matcherChangeSymbol( MatchOption::matchTagSet )->matchSymbolHas( symbol ) );
   EXPECT_TRUE( change->matcherChangeSymbol( MatchOption::matchIpPrefixList )->matchSymbol().empty() );
   EXPECT_TRUE( change->setterChangeSymbol( SetOption::setCommunityList )->setSymbolHas( symbol ) );
   EXPECT_EQ( change->matcherChangeSymbol( MatchOption::matchTag ), nullptr );
   EXPECT_EQ( change->setterChangeSymbol( SetOption::setTag ), nullptr );
   const auto taken = change->matcherChangeSymbolDel( MatchOption::matchTagSet );
   ASSERT_TRUE( taken );
   EXPECT_TRUE( taken->matchSymbolHas( symbol ) );
   EXPECT_EQ( change->matcherChangeSymbolDel( MatchOption::matchTagSet ), nullptr );
   EXPECT_EQ( change->setterChangeSymbolDel( SetOption::setTag ), nullptr );
   EXPECT_EQ( change->matcherChangeSymbol().count(), 1u );
}

TEST( SequenceChangeSymbol, eachSetClauseHasItsOwnChange ) {
   const auto change = sequenceChangeSymbolFactory( 10 );
   const Ptr<const PolicySymbol> a = makeNode<CommListSymbol>( "A" ), b = makeNode<CommListSymbol>( "B" );
   const auto one = change->setterChangeSymbolIs( SetOption::setCommunityList );
   const auto other = change->setterChangeSymbolIs( SetOption::setExtCommunityList );
   one->setSymbolIs( a );
   other->setSymbolIs( b );
   EXPECT_EQ( change->setterChangeSymbol().count(), 2u );
   EXPECT_EQ( change->setterChangeSymbolIs( SetOption::setCommunityList ), one ) << "found again";
   EXPECT_EQ( change->setterChangeSymbol( SetOption::setCommunityList ), one );
   EXPECT_EQ( change->setterChangeSymbol( SetOption::setExtCommunityList ), other );
   EXPECT_EQ( one->option(), SetOption::setCommunityList );
   EXPECT_EQ( other->option(), SetOption::setExtCommunityList );
   EXPECT_EQ( change->setterChangeSymbolDel( SetOption::setCommunityList ), one );
   EXPECT_EQ( change->setterChangeSymbol( SetOption::setCommunityList ), nullptr );
   EXPECT_EQ( change->setterChangeSymbolDel( SetOption::setCommunityList ), nullptr );
   EXPECT_EQ( change->setterChangeSymbol( SetOption::setExtCommunityList ), other );
   EXPECT_EQ( change->setterChangeSymbol().count(), 1u );
}

// What the route map's machine leaves behind when it has taken all of it in; the record itself stays.
TEST( SequenceChangeSymbol, isEmptyAgainWhenItHasBeenTakenIn ) {
   const auto change = sequenceChangeSymbolFactory( 10 );
   const auto symbol = routeMapSymbolFactory( "RM" );
   change->matcherChangeSymbolIs( MatchOption::matchTagSet )->matchSymbolIs( symbol );
   change->setterChangeSymbolIs( SetOption::setCommunityList )->setSymbolIs( symbol );
   change->subRouteMapChangeSymbolIs( subRouteMapChangeSymbolFactory( symbol ) );
   change->aggRoleAttrMapChangeSymbolIs( aggRoleAttrMapChangeSymbolFactory( symbol ) );
   EXPECT_EQ( change->subRouteMapChangeSymbol()->symbol(), symbol );
   EXPECT_EQ( change->aggRoleAttrMapChangeSymbol()->symbol(), symbol );
   EXPECT_EQ( symbol->useCount(), 5u );
   change->matcherChangeSymbolDelAll();
   change->setterChangeSymbolDelAll();
   change->subRouteMapChangeSymbolIs( nullptr );
   change->aggRoleAttrMapChangeSymbolIs( nullptr );
   EXPECT_TRUE( change->matcherChangeSymbol().empty() && change->setterChangeSymbol().empty() );
   EXPECT_EQ( change->subRouteMapChangeSymbol(), nullptr );
   EXPECT_EQ( change->aggRoleAttrMapChangeSymbol(), nullptr );
   EXPECT_EQ( symbol->useCount(), 1u );
   EXPECT_EQ( change->seqno(), 10u );
}

}   // namespace
