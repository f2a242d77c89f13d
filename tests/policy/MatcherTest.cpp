#include "policy/Matcher.h"

#include <locale>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "tests/policy/Fixtures.h"

namespace {

using namespace Routing::Policy;
using namespace Routing::Policy::Fixtures;
using Quoin::makeNode;

/// Has what a matcher must have and nothing else; writes down what it is asked.
struct BareMatcher : Matcher {
   bool match( const MatchInput_ * i, const Quoin::Ptr<PolicyEvalContext> & c ) const override {
      ++asked;
      input = i;
      context = c.get();
      return answer;
   }
   void formatDerivedType( std::ostream & os ) const override { os << "BareMatcher " << 42; }
   bool answer = false;
   mutable int asked = 0;
   mutable const MatchInput_ * input = nullptr;
   mutable const PolicyEvalContext * context = nullptr;
};

TEST( Matcher, matchForTestIsMatch ) {
   const auto matcher = makeNode<BareMatcher>();
   const auto context = makeNode<PolicyEvalContext>();
   const MatchInput_ input;
   EXPECT_FALSE( matcher->matchForTest( input, context ) );
   EXPECT_EQ( matcher->asked, 1 );
   EXPECT_EQ( matcher->input, &input );
   EXPECT_EQ( matcher->context, context.get() );
   matcher->answer = true;
   EXPECT_TRUE( matcher->matchForTest( input, nullptr ) );
   EXPECT_EQ( matcher->asked, 2 );
   EXPECT_EQ( matcher->context, nullptr );
}

TEST( Matcher, matchForTestMayBeOverridden ) {
   struct Other : BareMatcher {
      bool matchForTest( const MatchInput_ &, const Quoin::Ptr<PolicyEvalContext> & ) const override { return true; }
   };
   const Quoin::Ptr<const Matcher> matcher = makeNode<Other>();
   EXPECT_TRUE( matcher->matchForTest( MatchInput_(), nullptr ) );
   EXPECT_FALSE( matcher->match( nullptr, nullptr ) );
}

TEST( Matcher, hasNoFeaturesByDefault ) {
   EXPECT_EQ( makeNode<BareMatcher>()->getFeatures(), RouteMapFeatures() );
}

TEST( Matcher, textDoesNotDependOnTheLocale ) {
   struct Grouping : std::numpunct<char> {
      std::string do_grouping() const override { return "\1"; }
   };
   const std::locale before = std::locale::global( std::locale( std::locale::classic(), new Grouping ) );
   const auto text = makeNode<BareMatcher>()->toStrep();
   std::locale::global( before );
   EXPECT_EQ( text, "BareMatcher 42" );
}

TEST( Matcher, everyHandlePrintsTheTextOfTheDerivedMatcherAndANullPrintsAsNull ) {
   const auto own = makeNode<BareMatcher>();
   std::ostringstream os;
   os << own << ';' << Quoin::Ptr<const BareMatcher>( own ) << ';' << Quoin::Ptr<Matcher>( own ) << ';' << Quoin::Ptr<const Matcher>( own )
      << ';' << static_cast<const Matcher *>( own.get() );
   EXPECT_EQ( os.str(), "BareMatcher 42;BareMatcher 42;BareMatcher 42;BareMatcher 42;BareMatcher 42" );
   std::ostringstream nulls;
   nulls << Quoin::Ptr<BareMatcher>() << ';' << Quoin::Ptr<const Matcher>() << ';' << static_cast<const Matcher *>( nullptr ) << ';';
   EXPECT_EQ( nulls.str(), "NULL;NULL;NULL;" );
}

TEST( Matcher, virtualOperationsStandInSlotOrder ) {
   if( slotOf( &Matcher::match ) < 0 ) GTEST_SKIP() << "this platform does not tell";
   const std::vector<long> slots = { slotOf( &Matcher::lastUserGone ), slotOf( &Matcher::publisher ),
                                     slotOf( &Matcher::match ),        slotOf( &Matcher::matchForTest ),
                                     slotOf( &Matcher::getFeatures ),  slotOf( &Matcher::formatDerivedType ),
                                     slotOf( &Matcher::keys ) };
   EXPECT_THAT( slots, testing::ElementsAre( 2, 3, 4, 5, 6, 7, 8 ) );
   EXPECT_EQ( slotOf( &Matcher::toStrep ), -1 );
}

}   // namespace
