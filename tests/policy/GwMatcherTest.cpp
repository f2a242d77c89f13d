#include "policy/GwMatcher.h"

#include <gmock/gmock.h>

#include "tests/policy/Fixtures.h"

namespace {

using namespace Routing::Policy;
using namespace Routing::Policy::Fixtures;

TEST( GwMatcher, matchesNoRoute ) {
   const auto matcher = Quoin::makeNode<GwMatcher>();
   MatchInput_ input;
   EXPECT_FALSE( matches( *matcher, input ) );
   input.nexthopIs( Ferule::IpGenAddr( "10.0.0.1" ) );
   input.prefixIs( Ferule::IpGenPrefix( "0.0.0.0/0" ) );
   EXPECT_FALSE( matches( *matcher, input ) );
}

TEST( GwMatcher, readsNothingOfTheRoute ) {
   EXPECT_FALSE( Quoin::makeNode<GwMatcher>()->match( nullptr, nullptr ) );
}

TEST( GwMatcher, saysWhatItIs ) {
   const auto matcher = Quoin::makeNode<GwMatcher>();
   EXPECT_EQ( matcher->toStrep(), "GwMatcher Not implemented yet" );
   EXPECT_EQ( matcher->getFeatures(), 0u );
}

}   // namespace
