#include "compile/SequenceChangeSymbol.h"

#include <gmock/gmock.h>

namespace {

using namespace Routing::Policy;
using namespace Routing::RouteMap;
using Quoin::makeNode;
using Quoin::Ptr;

// --- the symbols of match clauses, and of set clauses

/// One collection of changes, by its operations.
struct Match {
   using Change = MatcherChangeSymbol;
   static constexpr auto one = MatchOption::matchTagSet, other = MatchOption::matchIpPrefixList;
   static constexpr auto all = &Change::matchSymbol;
   static constexpr auto is = &Change::matchSymbolIs;
   static constexpr auto del = &Change::matchSymbolDel;
   static constexpr auto delAll = &Change::matchSymbolDelAll;
   static constexpr auto has = &Change::matchSymbolHas;
   static auto & changes( const SequenceChangeSymbol & s ) { return s.matcherChangeSymbol(); }
   static auto change( const SequenceChangeSymbol & s, MatchOption option ) { return s.matcherChangeSymbol( option ); }
   static auto changeIs( SequenceChangeSymbol & s, MatchOption option ) { return s.matcherChangeSymbolIs( option ); }
   static auto changeDel( SequenceChangeSymbol & s, MatchOption option ) { return s.matcherChangeSymbolDel( option ); }
   static void changeDelAll( SequenceChangeSymbol & s ) { s.matcherChangeSymbolDelAll(); }
};
struct Set {
   using Change = SetterChangeSymbol;
   static constexpr auto one = SetOption::setCommunityList, other = SetOption::setExtCommunityList;
   static constexpr auto all = &Change::setSymbol;
   static constexpr auto is = &Change::setSymbolIs;
   static constexpr auto del = &Change::setSymbolDel;
   static constexpr auto delAll = &Change::setSymbolDelAll;
   static constexpr auto has = &Change::setSymbolHas;
   static auto & changes( const SequenceChangeSymbol & s ) { return s.setterChangeSymbol(); }
   static auto change( const SequenceChangeSymbol & s, SetOption option ) { return s.setterChangeSymbol( option ); }
   static auto changeIs( SequenceChangeSymbol & s, SetOption option ) { return s.setterChangeSymbolIs( option ); }
   static auto changeDel( SequenceChangeSymbol & s, SetOption option ) { return s.setterChangeSymbolDel( option ); }
   static void changeDelAll( SequenceChangeSymbol & s ) { s.setterChangeSymbolDelAll(); }
};

template <class Kind>
class ClauseChangeSymbolTest : public testing::Test {
 protected:
   Ptr<const PolicySymbol> a = makeNode<TagSetSymbol>( "A" ), b = makeNode<RouteMapSymbol>( "A" );   // two objects of one name
};
using Kinds = testing::Types<Match, Set>;
TYPED_TEST_SUITE( ClauseChangeSymbolTest, Kinds );

TYPED_TEST( ClauseChangeSymbolTest, isASetOfSymbols ) {
   const auto change = makeNode<typename TypeParam::Change>( TypeParam::one );
   const auto has = [ & ]( const Ptr<const PolicySymbol> & symbol ) { return ( ( *change ).*TypeParam::has )( symbol ); };
   const auto count = [ & ] { return ( ( *change ).*TypeParam::all )().count(); };
   EXPECT_EQ( change->option(), TypeParam::one );
   EXPECT_EQ( count(), 0u );
   for( const auto & symbol : { this->a, this->b, this->a } ) ( ( *change ).*TypeParam::is )( symbol );
   EXPECT_EQ( count(), 2u );
   ( ( *change ).*TypeParam::del )( this->a );
   ( ( *change ).*TypeParam::del )( this->a );
   EXPECT_TRUE( !has( this->a ) && has( this->b ) );
   EXPECT_THROW( ( ( *change ).*TypeParam::is )( nullptr ), Plinth::MutatorArgNullPointerException );
   EXPECT_EQ( count(), 1u );
   ( ( *change ).*TypeParam::delAll )();
   EXPECT_EQ( count(), 0u );
}

TYPED_TEST( ClauseChangeSymbolTest, aSequenceHasOneChangePerClause ) {
   const auto sequence = sequenceChangeSymbolFactory( 10 );
   const auto one = TypeParam::changeIs( *sequence, TypeParam::one ), other = TypeParam::changeIs( *sequence, TypeParam::other );
   EXPECT_EQ( TypeParam::changeIs( *sequence, TypeParam::one ), one ) << "found again";
   EXPECT_EQ( one->option(), TypeParam::one );
   EXPECT_EQ( TypeParam::change( *sequence, TypeParam::other ), other );
   EXPECT_EQ( TypeParam::changes( *sequence ).count(), 2u );
   EXPECT_EQ( TypeParam::changeDel( *sequence, TypeParam::one ), one );
   EXPECT_EQ( TypeParam::changeDel( *sequence, TypeParam::one ), nullptr );
   EXPECT_EQ( TypeParam::change( *sequence, TypeParam::one ), nullptr );
   EXPECT_EQ( TypeParam::changes( *sequence ).count(), 1u );
   TypeParam::changeDelAll( *sequence );
   EXPECT_TRUE( TypeParam::changes( *sequence ).empty() );
}

// --- the route maps that a sequence refers to

TEST( SequenceChangeSymbol, aRouteMapChangeHoldsItsSymbolOrNull ) {
   const auto symbol = routeMapSymbolFactory( "RM" );
   const auto sub = subRouteMapChangeSymbolFactory( symbol );
   const auto role = aggRoleAttrMapChangeSymbolFactory( symbol );
   EXPECT_EQ( sub->symbol(), symbol );
   EXPECT_EQ( role->symbol(), symbol );
   EXPECT_EQ( subRouteMapChangeSymbolFactory( nullptr )->symbol(), nullptr ) << "the reference was removed";
   EXPECT_EQ( aggRoleAttrMapChangeSymbolFactory( nullptr )->symbol(), nullptr );
}

TEST( SequenceChangeSymbol, isEmptyAtFirstAndHoldsItsRouteMapChanges ) {
   const auto change = sequenceChangeSymbolFactory( 4294967295u );
   EXPECT_EQ( change->seqno(), 4294967295u );
   EXPECT_TRUE( change->matcherChangeSymbol().empty() && change->setterChangeSymbol().empty() );
   EXPECT_TRUE( !change->subRouteMapChangeSymbol() && !change->aggRoleAttrMapChangeSymbol() );
   const auto sub = subRouteMapChangeSymbolFactory( nullptr );
   const auto role = aggRoleAttrMapChangeSymbolFactory( nullptr );
   change->subRouteMapChangeSymbolIs( sub );
   EXPECT_EQ( change->subRouteMapChangeSymbol(), sub );
   EXPECT_EQ( change->aggRoleAttrMapChangeSymbol(), nullptr );
   change->aggRoleAttrMapChangeSymbolIs( role );
   change->subRouteMapChangeSymbolIs( nullptr );
   EXPECT_EQ( change->subRouteMapChangeSymbol(), nullptr );
   EXPECT_EQ( change->aggRoleAttrMapChangeSymbol(), role );
}

}   // namespace
