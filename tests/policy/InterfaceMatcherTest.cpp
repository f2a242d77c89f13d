#include "policy/InterfaceMatcher.h"

#include <initializer_list>

#include <gmock/gmock.h>

#include "tests/policy/Fixtures.h"

namespace {

using namespace Routing::Policy;
using namespace Routing::Policy::Fixtures;
using Ferule::IntfId;
using Quoin::makeNode;

using Info = Quoin::Ptr<const ResolvedNexthopInfoSet>;

Info infoOf( std::initializer_list<uint32_t> interfaces ) {
   auto info = makeNode<ResolvedNexthopInfoSet>();
   for( uint32_t i : interfaces ) info->intfIdIs( IntfId( i ) );
   return info;
}

TEST( InterfaceMatcher, matchesOneOfTheResolvedInterfaces ) {
   const struct {
      const char * name;
      bool matchInterface;
      Info info;
      bool match;
   } rows[] = {
      { "matchInterface false, no info set", false, nullptr, true },
      { "matchInterface false, another interface", false, infoOf( { 8 } ), true },
      { "matchInterface false, this interface", false, infoOf( { 7 } ), true },
      { "matchInterface true, no info set", true, nullptr, false },
      { "matchInterface true, no interface", true, infoOf( {} ), false },
      { "matchInterface true, this interface", true, infoOf( { 7 } ), true },
      { "matchInterface true, another interface", true, infoOf( { 8 } ), false },
      { "matchInterface true, this one first", true, infoOf( { 7, 8, 9 } ), true },
      { "matchInterface true, this one last", true, infoOf( { 9, 8, 7 } ), true },
      { "matchInterface true, this one among many", true, infoOf( { 1, 2, 3, 4, 5, 6, 7, 71, 135, 263 } ), true },
      { "matchInterface true, all but this one", true, infoOf( { 1, 2, 3, 4, 5, 6, 71, 135, 263 } ), false },
   };
   for( const auto & row : rows ) {
      MatchInput_ input;
      input.matchInterfaceIs( row.matchInterface );
      input.resolvedNexthopInfoSetIs( row.info );
      EXPECT_EQ( matches( *makeNode<InterfaceMatcher>( IntfId( 7 ) ), input ), row.match ) << row.name;
   }
}

TEST( InterfaceMatcher, theOtherSwitchesOfTheInputDoNotConcernIt ) {
   MatchInput_ input;
   input.matchInterfaceIs( true );
   input.resolvedNexthopInfoSetIs( infoOf( { 7 } ) );
   input.denyResolvedNexthopIs( true );
   EXPECT_TRUE( matches( *makeNode<InterfaceMatcher>( IntfId( 7 ) ), input ) );
   input.matchResolvedNexthopInfoIs( true );
   EXPECT_FALSE( matches( *makeNode<InterfaceMatcher>( IntfId( 8 ) ), input ) );
}

TEST( InterfaceMatcher, readsThroughTheGetter ) {
   struct Late : MatchInput_ {
      const Info & getResolvedNexthopInfoSet() const override {
         ++asked;
         return late;
      }
      Info late = infoOf( { 7 } );
      mutable int asked = 0;
   } input;
   input.resolvedNexthopInfoSetIs( infoOf( { 8 } ) );
   EXPECT_TRUE( matches( *makeNode<InterfaceMatcher>( IntfId( 8 ) ), input ) );
   EXPECT_EQ( input.asked, 0 ) << "a route whose agent resolves nothing has nothing to compute";
   input.matchInterfaceIs( true );
   EXPECT_TRUE( matches( *makeNode<InterfaceMatcher>( IntfId( 7 ) ), input ) );
   EXPECT_FALSE( matches( *makeNode<InterfaceMatcher>( IntfId( 8 ) ), input ) );
}

TEST( InterfaceMatcher, saysWhatItIs ) {
   const auto matcher = makeNode<InterfaceMatcher>( IntfId( 1234 ) );
   EXPECT_EQ( matcher->intf(), IntfId( 1234 ) );
   EXPECT_EQ( matcher->toStrep(), "InterfaceMatcher interface 1234" );
   EXPECT_EQ( textOnOddStream( static_cast<const Matcher *>( matcher.get() ) ), "InterfaceMatcher interface 1234" );
}

TEST( InterfaceMatcher, itsFeatureIsTheInterface ) {
   EXPECT_EQ( makeNode<InterfaceMatcher>( IntfId( 7 ) )->getFeatures(), 2u );
}

}   // namespace
