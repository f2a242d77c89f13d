#include "compile/SequenceChange.h"

#include <gmock/gmock.h>

#include "tests/policy/Fixtures.h"

namespace {

using namespace Routing::Policy;
using Fixtures::FixedMatcher;
using Fixtures::RecordingSetter;
using Quoin::makeNode;
using Quoin::Ptr;

TEST( MatcherChange, aNewOneHasItsKeyAndNoMatcher ) {
   const auto change = makeNode<MatcherChange>( MatchOption::matchTag );
   EXPECT_EQ( change->option(), MatchOption::matchTag );
   EXPECT_EQ( change->matcher(), nullptr );
   EXPECT_FALSE( change->prefixListUndefined() );
   EXPECT_FALSE( change->commListUndefined() );
}

TEST( MatcherChange, holdsWhatIsWrittenEachFieldApart ) {
   const auto change = makeNode<MatcherChange>( MatchOption::matchTag );
   const auto matcher = makeNode<FixedMatcher>( true );
   change->matcherIs( matcher );
   EXPECT_EQ( change->matcher(), matcher );
   EXPECT_EQ( matcher->useCount(), 2u );
   change->prefixListUndefinedIs( true );
   EXPECT_TRUE( change->prefixListUndefined() && !change->commListUndefined() );
   change->prefixListUndefinedIs( false );
   change->commListUndefinedIs( true );
   EXPECT_TRUE( !change->prefixListUndefined() && change->commListUndefined() );
   change->matcherIs( nullptr );   // the clause went
   EXPECT_EQ( change->matcher(), nullptr );
   EXPECT_EQ( matcher->useCount(), 1u );
   EXPECT_EQ( change->option(), MatchOption::matchTag );
}

TEST( SetterChange, aNewOneHasItsKeyAndNoSetter ) {
   const auto change = makeNode<SetterChange>( SetOption::setDistance );
   EXPECT_EQ( change->option(), SetOption::setDistance );
   EXPECT_EQ( change->setter(), nullptr );
   EXPECT_FALSE( change->commListUndefined() );
}

TEST( SetterChange, holdsWhatIsWritten ) {
   const auto change = makeNode<SetterChange>( SetOption::setDistance );
   RecordingSetter::Log log;
   const auto setter = makeNode<RecordingSetter>( log );
   change->setterIs( setter );
   change->commListUndefinedIs( true );
   EXPECT_EQ( change->setter(), setter );
   EXPECT_TRUE( change->commListUndefined() );
   change->setterIs( nullptr );
   EXPECT_EQ( change->setter(), nullptr );
   EXPECT_EQ( setter->useCount(), 1u );
}

TEST( ContinueChange, isMadeEnabledOrNot ) {
   for( const bool enabled : { false, true } ) {
      const auto change = makeNode<ContinueChange>( enabled );
      EXPECT_EQ( change->enabled(), enabled );
      EXPECT_EQ( change->continueSeq(), 0u ) << "the next sequence";
      change->continueSeqIs( 4294967295u );
      change->enabledIs( !enabled );
      EXPECT_EQ( change->continueSeq(), 4294967295u );
      EXPECT_EQ( change->enabled(), !enabled );
   }
}

TEST( SequenceChange, aNewOneChangesNothing ) {
   for( const auto & change : { makeNode<SequenceChange>( 10 ), sequenceChangeFactory( 10 ) } ) {
      EXPECT_EQ( change->seqno(), 10u );
      EXPECT_TRUE( change->matcherChange().empty() );
      EXPECT_TRUE( change->setterChange().empty() );
      EXPECT_EQ( change->continueChange(), nullptr );
      EXPECT_FALSE( change->permitChange() );
   }
}

TEST( SequenceChange, keepsOneChangeOfEachClause ) {
   const auto change = sequenceChangeFactory( 10 );
   change->matcherChangeIs( MatchOption::matchTag );
   change->matcherChangeIs( MatchOption::matchTagSet );
   change->setterChangeIs( SetOption::setTag );
   EXPECT_EQ( change->matcherChange().count(), 2u );
   EXPECT_EQ( change->setterChange().count(), 1u );
   ASSERT_TRUE( change->matcherChange( MatchOption::matchTag ) );
   EXPECT_EQ( change->matcherChange( MatchOption::matchTag )->option(), MatchOption::matchTag );
   EXPECT_EQ( change->matcherChange( MatchOption::matchMetric ), nullptr );
   EXPECT_EQ( change->setterChange( SetOption::setTag )->option(), SetOption::setTag );
   EXPECT_EQ( change->setterChange( SetOption::setMetric ), nullptr );
}

TEST( SequenceChange, theLastMatcherAndSetterOfAClauseStand ) {
   const auto change = sequenceChangeFactory( 10 );
   RecordingSetter::Log log;
   const auto first = makeNode<FixedMatcher>( true ), last = makeNode<FixedMatcher>( true );
   const auto firstSetter = makeNode<RecordingSetter>( log ), lastSetter = makeNode<RecordingSetter>( log );
   change->matcherChangeIs( MatchOption::matchTag )->matcherIs( first );
   change->matcherChangeIs( MatchOption::matchTag )->matcherIs( last );
   change->setterChangeIs( SetOption::setTag )->setterIs( firstSetter );
   change->setterChangeIs( SetOption::setTag )->setterIs( lastSetter );
   EXPECT_EQ( change->matcherChange().count(), 1u );
   EXPECT_EQ( change->setterChange().count(), 1u );
   EXPECT_EQ( change->matcherChange( MatchOption::matchTag )->matcher(), last );
   EXPECT_EQ( change->setterChange( SetOption::setTag )->setter(), lastSetter );
   EXPECT_EQ( first->useCount(), 1u );
   EXPECT_EQ( firstSetter->useCount(), 1u );
}

TEST( SequenceChange, aChangeThatIsTakenOutStaysWhole ) {
   const auto change = sequenceChangeFactory( 10 );
   const auto made = change->matcherChangeIs( MatchOption::matchTag );
   const auto madeSetter = change->setterChangeIs( SetOption::setTag );
   EXPECT_EQ( change->matcherChangeDel( MatchOption::matchTag ), made );
   EXPECT_EQ( change->matcherChangeDel( MatchOption::matchTag ), nullptr );
   EXPECT_EQ( change->setterChangeDel( SetOption::setTag ), madeSetter );
   EXPECT_EQ( change->setterChangeDel( SetOption::setTag ), nullptr );
   EXPECT_EQ( made->useCount(), 1u );
   EXPECT_EQ( made->option(), MatchOption::matchTag );
}

// What the route map's machine leaves behind when it has taken all of it in; the record itself stays.
TEST( SequenceChange, isEmptyAgainWhenItHasBeenTakenIn ) {
   const auto change = sequenceChangeFactory( 10 );
   const auto continueChange = makeNode<ContinueChange>( true );
   change->matcherChangeIs( MatchOption::matchTag );
   change->setterChangeIs( SetOption::setTag );
   change->continueChangeIs( continueChange );
   change->permitChangeIs( true );
   EXPECT_EQ( change->continueChange(), continueChange );
   EXPECT_TRUE( change->permitChange() );
   change->matcherChangeDelAll();
   change->setterChangeDelAll();
   change->continueChangeIs( nullptr );
   change->permitChangeIs( false );
   EXPECT_TRUE( change->matcherChange().empty() && change->setterChange().empty() );
   EXPECT_EQ( change->continueChange(), nullptr );
   EXPECT_FALSE( change->permitChange() );
   EXPECT_EQ( continueChange->useCount(), 1u );
   EXPECT_EQ( change->seqno(), 10u );
}

}   // namespace
