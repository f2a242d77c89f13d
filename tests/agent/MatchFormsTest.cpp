#include "text/MatchForms.h"

#include <set>
#include <string>

#include <gtest/gtest.h>

namespace Agent {
namespace {

TEST( MatchForms, everyOptionHasOneForm ) {
   std::set<MatchOption> options;
   for( const auto & form : matchForms() ) {
      EXPECT_TRUE( options.insert( form.option ).second ) << form.words;
      EXPECT_EQ( matchForm( form.option ), &form ) << form.words;
   }
   EXPECT_EQ( options.size(), 52u );
   EXPECT_EQ( matchForm( MatchOption::none ), nullptr );
   EXPECT_EQ( matchForm( MatchOption( 130 ) ), nullptr );
}

// Whoever reads takes the first form that a line begins with.
TEST( MatchForms, noFormHidesALongerOne ) {
   const auto forms = matchForms();
   for( size_t i = 0; i < forms.size(); ++i )
      for( size_t k = i + 1; k < forms.size(); ++k )
         EXPECT_FALSE( forms[ k ].words.starts_with( std::string( forms[ i ].words ) + " " ) ) << forms[ k ].words;
}

}   // namespace
}   // namespace Agent
