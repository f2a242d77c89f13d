#include "compile/SequenceChange.h"

#include <gmock/gmock.h>

#include "tests/policy/Fixtures.h"

namespace {

using namespace Routing::Policy;
using Fixtures::FixedMatcher;
using Fixtures::RecordingSetter;
using Quoin::makeNode;

TEST( MatcherChange, holdsEachFieldSeparately ) {
   const auto change = makeNode<MatcherChange>( MatchOption::matchTag );
   EXPECT_EQ( change->option(), MatchOption::matchTag );
   EXPECT_EQ( change->matcher(), nullptr );
   EXPECT_FALSE( change->prefixListUndefined() || change->commListUndefined() );
   const auto matcher = makeNode<FixedMatcher>( true );
   change->matcherIs( matcher );
   EXPECT_EQ( change->matcher(), matcher );
   change->prefixListUndefinedIs( true );
   EXPECT_TRUE( change->prefixListUndefined() && !change->commListUndefined() );
   change->prefixListUndefinedIs( false );
   change->commListUndefinedIs( true );
   EXPECT_TRUE( !change->prefixListUndefined() && change->commListUndefined() );
   change->matcherIs( nullptr );   // the clause was removed
   EXPECT_EQ( change->matcher(), nullptr );
}

TEST( SetterChange, holdsEachFieldSeparately ) {
   const auto change = makeNode<SetterChange>( SetOption::setDistance );
   EXPECT_EQ( change->option(), SetOption::setDistance );
   EXPECT_EQ( change->setter(), nullptr );
   EXPECT_FALSE( change->commListUndefined() );
   RecordingSetter::Log log;
   const auto setter = makeNode<RecordingSetter>( log );
   change->setterIs( setter );
   change->commListUndefinedIs( true );
   EXPECT_EQ( change->setter(), setter );
   EXPECT_TRUE( change->commListUndefined() );
   change->setterIs( nullptr );
   EXPECT_EQ( change->setter(), nullptr );
}

TEST( ContinueChange, isEnabledOrNotAndHasATarget ) {
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

TEST( SequenceChange, isEmptyAtFirst ) {
   const auto change = sequenceChangeFactory( 10 );
   EXPECT_EQ( change->seqno(), 10u );
   EXPECT_TRUE( change->matcherChange().empty() && change->setterChange().empty() );
   EXPECT_EQ( change->continueChange(), nullptr );
   EXPECT_FALSE( change->permitChange() );
   const auto continueChange = makeNode<ContinueChange>( true );
   change->continueChangeIs( continueChange );
   change->permitChangeIs( true );
   EXPECT_EQ( change->continueChange(), continueChange );
   EXPECT_TRUE( change->permitChange() );
}

TEST( SequenceChange, hasOneChangePerClause ) {
   const auto change = sequenceChangeFactory( 10 );
   const auto matcher = change->matcherChangeIs( MatchOption::matchTag );
   const auto setter = change->setterChangeIs( SetOption::setTag );
   change->matcherChangeIs( MatchOption::matchTagSet );
   EXPECT_EQ( change->matcherChangeIs( MatchOption::matchTag ), matcher ) << "found again";
   EXPECT_EQ( change->setterChangeIs( SetOption::setTag ), setter );
   EXPECT_EQ( change->matcherChange().count(), 2u );
   EXPECT_EQ( change->setterChange().count(), 1u );
   EXPECT_EQ( change->matcherChange( MatchOption::matchTag ), matcher );
   EXPECT_EQ( matcher->option(), MatchOption::matchTag );
   EXPECT_EQ( setter->option(), SetOption::setTag );
   EXPECT_EQ( change->matcherChange( MatchOption::matchMetric ), nullptr );
   EXPECT_EQ( change->setterChange( SetOption::setMetric ), nullptr );
   EXPECT_EQ( change->matcherChangeDel( MatchOption::matchTag ), matcher );
   EXPECT_EQ( change->matcherChangeDel( MatchOption::matchTag ), nullptr );
   EXPECT_EQ( change->setterChangeDel( SetOption::setTag ), setter );
   EXPECT_EQ( change->setterChangeDel( SetOption::setTag ), nullptr );
   change->setterChangeIs( SetOption::setTag );
   change->matcherChangeDelAll();
   EXPECT_TRUE( change->matcherChange().empty() );
   EXPECT_EQ( change->setterChange().count(), 1u );
   change->setterChangeDelAll();
   EXPECT_TRUE( change->setterChange().empty() );
}

}   // namespace
