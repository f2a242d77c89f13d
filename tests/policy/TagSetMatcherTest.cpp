#include "policy/TagSetMatcher.h"

#include <iomanip>
#include <sstream>
#include <stdexcept>
#include <string>

#include <gmock/gmock.h>

#include "policy/PolicyEvalContext.h"
#include "substrate/quoin/DisplayPointer.h"
#include "tests/policy/Fixtures.h"
#include "tests/policy/ListFixtures.h"
#include "tests/substrate/zeugma/AllocationCount.h"

namespace {

using namespace Routing::Policy;
using ListFixtures::noContext;
using Quoin::makeNode;
using Quoin::Ptr;

using Tags = std::initializer_list<Routing::RouteTag>;

Ptr<TagSetStatus> tagSet( Tags tags ) {
   return makeNode<TagSetStatus>( "set", tags );
}
MatchInput_ routeWithTag( Routing::RouteTag tag ) {
   MatchInput_ route;
   route.tagIs( tag );
   return route;
}

TEST( TagSetMatcher, matchesTheTagsOfItsSet ) {
   const struct {
      const char * name;
      Tags tags;
      Routing::RouteTag tag;
      bool matches;
   } rows[] = {
      { "in the set", { 10, 20 }, 20, true },
      { "not in the set", { 10, 20 }, 30, false },
      { "an empty set", {}, 0, false },
      { "tag 0 in the set, and the route's is 0", { 0 }, 0, true },
      { "tag 0 in the set, and the route's is not", { 0 }, 1, false },
      { "tag 0 not in the set, and the route's is 0", { 1 }, 0, false },
      { "the greatest tag", { 4294967295u }, 4294967295u, true },
   };
   for( const auto & row : rows )
      EXPECT_EQ( TagSetMatcher( "TS", tagSet( row.tags ) ).matchForTest( routeWithTag( row.tag ), noContext ), row.matches ) << row.name;
}

TEST( TagSetMatcher, anUndefinedSetMatchesNothing ) {
   for( const Routing::RouteTag tag : { 0u, 1u, 4294967295u } )
      EXPECT_FALSE( TagSetMatcher( "TS", nullptr ).matchForTest( routeWithTag( tag ), noContext ) );
}

TEST( TagSetMatcher, readsTheTagThroughItsGetter ) {
   struct Route final : MatchInput_ {
      Routing::RouteTag getTag() const override { return 7; }
   } route;
   route.tagIs( 8 );
   EXPECT_TRUE( TagSetMatcher( "TS", tagSet( { 7 } ) ).match( &route, noContext ) );
   EXPECT_FALSE( TagSetMatcher( "TS", tagSet( { 8 } ) ).match( &route, noContext ) );
}

// With the list undefined nothing else is looked at; otherwise what a getter throws goes on.
TEST( TagSetMatcher, aGetterThatThrowsIsAskedForADefinedSetAlone ) {
   struct Route final : MatchInput_ {
      Routing::RouteTag getTag() const override { throw std::runtime_error( "no such field" ); }
   } route;
   EXPECT_FALSE( TagSetMatcher( "TS", nullptr ).match( &route, noContext ) );
   EXPECT_THROW( TagSetMatcher( "TS", tagSet( { 7 } ) ).match( &route, noContext ), std::runtime_error );
}

TEST( TagSetMatcher, readsNothingThatHasAFeature ) {
   EXPECT_EQ( TagSetMatcher( "TS", nullptr ).getFeatures().value(), 0u );
   EXPECT_EQ( TagSetMatcher( "TS", tagSet( { 1 } ) ).getFeatures().value(), 0u );
}

TEST( TagSetMatcher, itsTextHasNoBlankBeforeTheName ) {
   const Ptr<const TagSetStatus> sets[] = { tagSet( { 1 } ), nullptr };
   for( const auto & set : sets ) {
      const auto matcher = makeNode<TagSetMatcher>( "TS1", set );
      const std::string expected = "TagSetMatcher tag setTS1;" + Quoin::DisplayPointer::toString( set.get() );
      EXPECT_EQ( matcher->toStrep(), expected.c_str() );
      EXPECT_EQ( Fixtures::textOnOddStream( static_cast<const Matcher *>( matcher.get() ) ), expected );
      std::ostringstream os;
      os << std::hex << std::showbase << std::left << std::setfill( '*' );
      const auto flags = os.flags();
      matcher->formatDerivedType( os );
      EXPECT_EQ( os.flags(), flags );
      EXPECT_EQ( os.fill(), '*' );
   }
   EXPECT_EQ( TagSetMatcher( "TS1", nullptr ).toStrep(), "TagSetMatcher tag setTS1;NULL" );
}

TEST( TagSetMatcher, sharesTheSetThatItWasMadeFor ) {
   const auto set = tagSet( { 1 } );
   {
      const TagSetMatcher matcher( "TS", set );
      EXPECT_EQ( matcher.name(), "TS" );
      EXPECT_EQ( matcher.status(), set );
      EXPECT_EQ( set->useCount(), 2u );
   }
   EXPECT_EQ( set->useCount(), 1u );
}

TEST( TagSetMatcher, matchingDoesNotAllocate ) {
   const TagSetMatcher matcher( "TS", tagSet( { 1, 2, 3 } ) );
   const auto route = routeWithTag( 2 ), other = routeWithTag( 4 );
   const auto before = allocationCount();
   const bool a = matcher.match( &route, noContext ), b = matcher.match( &other, noContext );
   EXPECT_EQ( allocationCount(), before );
   EXPECT_TRUE( a );
   EXPECT_FALSE( b );
   const auto something = tagSet( {} );
   EXPECT_GT( allocationCount(), before ) << "nothing is counted at all";
}

}   // namespace
