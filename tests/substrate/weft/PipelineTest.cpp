#include "substrate/weft/Pipeline.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <ostream>
#include <sstream>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "substrate/plinth/HashMap2018.h"
#include "tests/compile/Fixtures.h"
#include "tests/substrate/routemap/ChangeLog.h"

namespace {

using Quoin::FieldId;
using Quoin::makeNode;
using Quoin::Ptr;
using Routing::Policy::CompileFixtures::Reaction;
using Routing::Policy::CompileFixtures::TraceLog;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using Weft::SmControl;
using Zeugma::Task;
using Zeugma::TaskPriority;
using Zeugma::TaskScheduler;

const Plinth::TraceHandle testTrace( "PipelineTest" );

struct Streams final : Weft::Gen::InputSmScanState {
   explicit Streams( unsigned streams ) : InputSmScanState( streams ) {}
};
struct Outputs final : Weft::Gen::OutputState {
   explicit Outputs( unsigned outputs ) : OutputState( outputs ) {}
};

TEST( InputSmScanState, allScansAreAheadAtFirst ) {
   for( const unsigned streams : { 1u, 2u, 5u } ) {
      const auto state = makeNode<Streams>( streams );
      for( unsigned s = 0; s < streams; ++s ) EXPECT_TRUE( state->scanPending( s ) ) << s << " of " << streams;
      EXPECT_FALSE( state->scanPending( streams ) ) << "there is no such stream";
      EXPECT_FALSE( state->scansFinished() );
      EXPECT_FALSE( state->idle() );
   }
}

TEST( InputSmScanState, eachScanIsOfItsOwnField ) {
   const auto state = makeNode<Streams>( 3 );
   ChangeLog<> log( *state );
   const FieldId first = FieldId( Streams::Field::firstScan );
   state->scanPendingIs( 1, false );
   EXPECT_THAT( log.take(), ElementsAre( first + 1 ) );
   EXPECT_TRUE( state->scanPending( 0 ) && !state->scanPending( 1 ) && state->scanPending( 2 ) );
   EXPECT_FALSE( state->scansFinished() );
   state->scanPendingIs( 1, false );
   state->scanPendingIs( 0, true );
   EXPECT_THAT( log.take(), IsEmpty() ) << "the present value";
   state->scanPendingIs( 2, false );
   state->scanPendingIs( 0, false );
   EXPECT_THAT( log.take(), ElementsAre( first + 2, first ) );
   EXPECT_TRUE( state->scansFinished() );
   state->scanPendingIs( 1, true );
   EXPECT_THAT( log.take(), ElementsAre( first + 1 ) );
   EXPECT_FALSE( state->scansFinished() );
}

TEST( InputSmScanState, idleTellsOfARealChangeOnly ) {
   const auto state = makeNode<Streams>( 2 );
   ChangeLog<> log( *state );
   const FieldId idle = FieldId( Streams::Field::idle );
   state->idleIs( false );
   state->handleIdle();   // scans are ahead
   EXPECT_THAT( log.take(), IsEmpty() );
   state->scanPendingIs( 0, false );
   state->scanPendingIs( 1, false );
   log.take();
   EXPECT_FALSE( state->idle() ) << "not before it is said";
   state->handleIdle();
   EXPECT_TRUE( state->idle() );
   EXPECT_THAT( log.take(), ElementsAre( idle ) );
   state->handleIdle();
   state->idleIs( true );
   EXPECT_THAT( log.take(), IsEmpty() );
   state->scanPendingIs( 1, true );
   log.take();
   state->handleIdle();
   EXPECT_FALSE( state->idle() );
   EXPECT_THAT( log.take(), ElementsAre( idle ) );
   state->idleIs( true );
   EXPECT_TRUE( state->idle() );
   EXPECT_THAT( log.take(), ElementsAre( idle ) );
}

constexpr FieldId kReady = FieldId( Outputs::Field::ready );
constexpr FieldId kFirstOutput = FieldId( Outputs::Field::firstOutput );

TEST( OutputState, noneIsReadyAtFirst ) {
   for( const unsigned outputs : { 1u, 3u } ) {
      const auto state = makeNode<Outputs>( outputs );
      EXPECT_FALSE( state->ready() );
      for( unsigned o = 0; o < outputs; ++o ) EXPECT_FALSE( state->outputReady( o ) );
   }
}

TEST( OutputState, readyIsToldOfBeforeTheOnlyOutput ) {
   const auto state = makeNode<Outputs>( 1 );
   ChangeLog<> log( *state );
   Reaction both( *state, [ & ]( const Quoin::Change & ) { EXPECT_EQ( state->ready(), state->outputReady( 0 ) ); } );
   state->outputReadyIs( 0, false );
   EXPECT_THAT( log.take(), IsEmpty() );
   state->outputReadyIs( 0, true );
   EXPECT_TRUE( state->ready() && state->outputReady( 0 ) );
   EXPECT_THAT( log.take(), ElementsAre( kReady, kFirstOutput ) );
   state->outputReadyIs( 0, true );
   EXPECT_THAT( log.take(), IsEmpty() );
   state->outputReadyIs( 0, false );
   EXPECT_FALSE( state->ready() );
   EXPECT_THAT( log.take(), ElementsAre( kReady, kFirstOutput ) );
}

TEST( OutputState, isReadyWhenAllOutputsAre ) {
   const auto state = makeNode<Outputs>( 3 );
   ChangeLog<> log( *state );
   state->outputReadyIs( 1, true );
   state->outputReadyIs( 0, true );
   EXPECT_FALSE( state->ready() );
   EXPECT_THAT( log.take(), ElementsAre( kFirstOutput + 1, kFirstOutput ) );
   state->outputReadyIs( 2, true );
   EXPECT_TRUE( state->ready() );
   EXPECT_THAT( log.take(), ElementsAre( kReady, kFirstOutput + 2 ) );
   state->outputReadyIs( 0, false );
   EXPECT_FALSE( state->ready() );
   EXPECT_THAT( log.take(), ElementsAre( kReady, kFirstOutput ) );
   state->outputReadyIs( 1, false );
   EXPECT_THAT( log.take(), ElementsAre( kFirstOutput + 1 ) );
   EXPECT_TRUE( state->outputReady( 2 ) && !state->outputReady( 1 ) && !state->outputReady( 0 ) );
}

TEST( OutputState, aSubscriberOfReadyMayDropIt ) {
   auto state = makeNode<Outputs>( 1 );
   Reaction drop( *state, [ & ]( const Quoin::Change & ) { state = nullptr; } );
   state->outputReadyIs( 0, true );
   EXPECT_FALSE( state );
   EXPECT_GE( drop.take(), 1 );
}

/// Numbers, and something besides that no pipeline looks at.
class Source final : public Quoin::NotifyingNode {
 public:
   enum class Field : FieldId { number, other };
   using Numbers = Plinth::HashSet2018<int>;
   PLINTH_SET( number, numberHas, numberIs, numberDel, numberDelAll, Field::number, Numbers );
   PLINTH_ATTR( other, otherIs, Field::other, int );
};

class Sink final : public Quoin::NotifyingNode {
 public:
   enum class Field : FieldId { any };
   PLINTH_ATTR( any, anyIs, Field::any, bool );
};

class Any;

class SourceSm final : public Weft::Gen::InputSm {
 public:
   SourceSm( Any & root, unsigned stream, const Ptr<const Source> & source );
   ~SourceSm() override { stop(); }
   using InputSm::runScan;
   using InputSm::shouldYield;
   using InputSm::task;

 private:
   void handleInput() override;
   bool scanInput() override;
   Any & root_;
   Ptr<const Source> source_;
   std::optional<Source::Numbers::SafeIterator> at_;
};

/// Two sources into one sink: whether there is any number. Notes its events.
class Any final : public Weft::Gen::Pipeline {
 public:
   Any( const Ptr<const Source> & a, const Ptr<const Source> & b, const Ptr<Sink> & sink, const SmControl & control )
         : Pipeline( control, testTrace, { "Any", "sinkAnyOutput", "handleSinkAnyOutputInputReady", "into( sink.any )" } ),
           a_( a ),
           b_( b ),
           sink_( sink ) {
      handleInitialized();
   }
   ~Any() override {
      stop();
      doDeleteAll();
   }
   void event( unsigned stream ) {
      ++events;
      if( !initialScanDone() ) return;
      PLINTH_TRACE( trace(), level7 ) << "event of " << stream;
      insert();
   }
   Ptr<SourceSm> source( unsigned stream ) const { return Quoin::staticPtrCast<SourceSm>( inputSm( stream ) ); }
   using Pipeline::handleInputReady;
   using Pipeline::inputSmScanStateNode;
   using Pipeline::outputStateNode;
   int events = 0;

 private:
   Ptr<Weft::Gen::InputSmScanState> makeInputSmScanState() const override { return makeNode<Streams>( 2 ); }
   Ptr<Weft::Gen::OutputState> makeOutputState() const override { return makeNode<Outputs>( 1 ); }
   const Ptr<const Source> & a() const { return a_; }
   const Ptr<Sink> & sink() const { return sink_; }
   void checkArgs() const override {
      WEFT_REQUIRED_ARG( a );   // not `b`, which is null where a scan of a null is shown
      WEFT_REQUIRED_ARG( sink );
   }
   void makeInputSms() override {
      inputSmIs( makeNode<SourceSm>( *this, 0, a_ ) );
      inputSmIs( makeNode<SourceSm>( *this, 1, b_ ) );
   }
   bool value() const override { return !a_->number().empty() || !b_->number().empty(); }
   void outputIs( bool value ) override { sink_->anyIs( value ); }

   Ptr<const Source> a_, b_;
   Ptr<Sink> sink_;
};

constexpr Weft::Gen::InputSm::Texts kSourceTexts[] = { { "SourceSm0", "a", "scan of a" }, { "SourceSm1", "b", "scan of b" } };

SourceSm::SourceSm( Any & root, unsigned stream, const Ptr<const Source> & source )
      : InputSm( root, stream, kSourceTexts[ stream ], source, FieldId( Source::Field::number ) ), root_( root ), source_( source ) {
   handleInitialized();
}

void SourceSm::handleInput() {
   root_.event( stream() );
}

bool SourceSm::scanInput() {
   if( !at_ ) at_ = source_->number().safeIterator();
   while( *at_ ) {
      traceInitial();
      root_.event( stream() );
      at_->next();
      if( *at_ && shouldYield() ) return false;
   }
   at_.reset();
   return true;
}

class PipelineTest : public testing::Test {
 protected:
   SmControl scheduled() const { return SmControl( scheduler ); }
   SmControl synchronous() const {
      SmControl control = scheduled();
      control.synchronousIs( true );
      return control;
   }
   Ptr<Any> make( const SmControl & control ) const { return Zeugma::makeSm<Any>( a, b, sink, control ); }
   void yieldAfterEach() {
      scheduler->budgetIs( []( const Task & ) { return true; } );
   }
   /// What a pipeline that has gone leaves behind.
   void expectNothingLeft() {
      EXPECT_EQ( a->useCount(), 1u );
      EXPECT_EQ( b->useCount(), 1u );
      EXPECT_EQ( sink->useCount(), 1u );
      EXPECT_EQ( scheduler->useCount(), 1u );
      EXPECT_TRUE( scheduler->idle() );
      const bool left = sink->any();
      a->numberIs( 100 );
      a->numberDelAll();
      b->numberDelAll();
      b->numberIs( 100 );
      EXPECT_EQ( sink->any(), left );
   }
   Ptr<Source> a = makeNode<Source>(), b = makeNode<Source>();
   Ptr<Sink> sink = makeNode<Sink>();
   Ptr<TaskScheduler> scheduler = makeNode<TaskScheduler>();
   Ptr<Any> sm;   // which tests let go of
};

using PipelineDeathTest = PipelineTest;

TEST_F( PipelineTest, aSynchronousOneIsReadyWhenItIsMade ) {
   a->numberIs( 1 );
   sm = make( synchronous() );
   EXPECT_TRUE( sm->initialized() && sm->initialScanDone() && sm->ready() && sm->idle() );
   EXPECT_TRUE( sm->hasNotificationActive() );
   EXPECT_TRUE( sink->any() );
   EXPECT_TRUE( scheduler->idle() );
   for( const unsigned stream : { 0u, 1u } ) {
      EXPECT_TRUE( sm->source( stream )->synchronous() );
      EXPECT_TRUE( sm->source( stream )->initialScanDone() );
      EXPECT_TRUE( sm->source( stream )->hasNotificationActive() );
      EXPECT_EQ( sm->source( stream )->task(), nullptr );
   }
}

TEST_F( PipelineTest, aScheduledOneGoesThroughItsStatesAndNeverBack ) {
   a->numberIs( 1 );
   sm = make( scheduled() );
   EXPECT_TRUE( sm->initialized() );
   EXPECT_FALSE( sm->initialScanDone() || sm->ready() || sm->idle() );
   EXPECT_FALSE( sink->any() );
   EXPECT_EQ( scheduler->dueCount(), 2u );
   ASSERT_TRUE( scheduler->runOne() );
   EXPECT_TRUE( sm->source( 0 )->initialScanDone() && !sm->source( 1 )->initialScanDone() );
   EXPECT_EQ( sm->source( 0 )->task(), nullptr ) << "the scan has finished";
   EXPECT_NE( sm->source( 1 )->task(), nullptr );
   EXPECT_FALSE( sm->initialScanDone() || sm->ready() || sm->idle() );
   EXPECT_FALSE( sink->any() );
   ASSERT_TRUE( scheduler->runOne() );
   EXPECT_TRUE( sm->initialScanDone() && sm->ready() && sm->idle() );
   EXPECT_TRUE( sm->inputSmScanStateNode()->scansFinished() );
   EXPECT_EQ( sm->source( 1 )->task(), nullptr );
   EXPECT_TRUE( sink->any() );
   EXPECT_TRUE( scheduler->idle() );
   a->numberDel( 1 );
   EXPECT_FALSE( sink->any() );
   EXPECT_TRUE( sm->initialized() && sm->initialScanDone() && sm->ready() && sm->idle() );
}

TEST_F( PipelineTest, scansRunUnderTheirNameAtThePriorityThatIsTold ) {
   SmControl control = scheduled();
   control.priorityIs( TaskPriority::low );
   sm = make( control );
   for( const unsigned stream : { 0u, 1u } ) {
      const Task * const task = sm->source( stream )->task();
      ASSERT_NE( task, nullptr );
      EXPECT_EQ( task->taskName(), stream == 0 ? "scan of a" : "scan of b" );
      EXPECT_EQ( task->taskPriority(), TaskPriority::low );
      EXPECT_EQ( task->taskScheduler(), scheduler );
      EXPECT_TRUE( task->taskScheduled() );
      EXPECT_FALSE( sm->source( stream )->synchronous() );
      EXPECT_EQ( sm->source( stream )->parent(), sm.get() );
      EXPECT_EQ( sm->source( stream )->stream(), stream );
   }
}

TEST_F( PipelineTest, withoutASchedulerTheProcesssOwnIsFound ) {
   const auto root = Zeugma::TaskSchedulerRoot::findOrCreateScheduler();
   ASSERT_TRUE( root->idle() );
   a->numberIs( 1 );
   sm = make( SmControl() );
   EXPECT_EQ( sm->wefterControl().scheduler(), root );
   EXPECT_EQ( root->dueCount(), 2u );
   root->runUntilIdle();
   EXPECT_TRUE( sm->ready() );
   EXPECT_TRUE( sink->any() );
   sm = make( SmControl() );
   sm = nullptr;
   EXPECT_TRUE( root->idle() );
}

TEST_F( PipelineTest, theWholeStartUpIsTracedInOrder ) {
   a->numberIs( 1 );
   const std::vector<std::string> second{ "Initial scan done for child SMs. Now scanning with events triggered.",
                                          "a initial",
                                          "event of 0",
                                          "into( sink.any ): inserting value=true",
                                          "SourceSm0 scan, and parent scan, complete.",
                                          "SourceSm1 scan, and parent scan, complete.",
                                          "Input scans for sinkAnyOutput complete",
                                          "handleSinkAnyOutputInputReady already ready, not reconciling." };
   std::vector<std::string> expected{ "create local SMs", "create non-public arg SMs", "a initial", "initialized" };
   expected.insert( expected.end(), second.begin(), second.end() );
   TraceLog traces( "PipelineTest" );
   sm = make( synchronous() );
   EXPECT_EQ( traces.take(), expected );
   sm = make( scheduled() );
   EXPECT_THAT( traces.take(),
                ElementsAre( "create local SMs", "create non-public arg SMs", "initialized", "Initial scan yielding for child SM Any." ) );
   scheduler->runOne();
   EXPECT_THAT( traces.take(), ElementsAre( "a initial", "Initial scan yielding for child SM Any." ) );
   scheduler->runOne();
   EXPECT_EQ( traces.take(), second );
}

TEST_F( PipelineTest, aWakeUpThatRunsTasksAtOnceMakesItReadyInItsMaking ) {
   scheduler->wakeUpCallbackIs( [ this ] { scheduler->runUntilIdle(); } );
   yieldAfterEach();
   for( const int n : { 1, 2, 3 } ) a->numberIs( n );
   sm = make( scheduled() );
   EXPECT_TRUE( sm->ready() && sm->idle() && sink->any() );
   EXPECT_EQ( sm->source( 0 )->task(), nullptr );
   a->numberDelAll();
   EXPECT_FALSE( sink->any() );
   sm = nullptr;
   scheduler->wakeUpCallbackIs( {} );
   expectNothingLeft();
}

TEST_F( PipelineTest, theSecondScanAsksNoBudget ) {
   yieldAfterEach();
   for( const int n : { 1, 2, 3 } ) {
      a->numberIs( n );
      b->numberIs( n );
   }
   sm = make( scheduled() );
   const Task * const first = sm->source( 0 )->task();
   for( int runs = 1; runs <= 4; ++runs ) {   // by turns
      scheduler->runOne();
      EXPECT_EQ( sm->events, runs );
      EXPECT_EQ( first->taskRuns(), uint64_t( runs + 1 ) / 2 );
   }
   EXPECT_FALSE( sm->source( 0 )->initialScanDone() );
   scheduler->runOne();
   EXPECT_TRUE( sm->source( 0 )->initialScanDone() );
   EXPECT_FALSE( sm->initialScanDone() );
   scheduler->runOne();
   EXPECT_EQ( sm->events, 12 ) << "each number once more, at once";
   EXPECT_TRUE( sm->ready() && scheduler->idle() );
}

TEST_F( PipelineTest, anExhaustedBudgetBehindTheLastItemIsNoYield ) {
   yieldAfterEach();
   a->numberIs( 1 );
   sm = make( scheduled() );
   EXPECT_EQ( scheduler->runUntilIdle(), 2u ) << "one run for each input";
   EXPECT_TRUE( sm->ready() );
}

TEST_F( PipelineTest, numbersThatComeAndGoBetweenTheStepsDoNotTroubleAScan ) {
   yieldAfterEach();
   for( int n = 0; n < 5; ++n ) a->numberIs( n );
   sm = make( scheduled() );
   scheduler->runOne();
   EXPECT_TRUE( sm->source( 0 )->task()->taskScheduled() );
   for( int n = 0; n < 5; ++n ) a->numberDel( n );   // the one that the scan stands on too
   for( int n = 10; n < 1000; ++n ) a->numberIs( n );
   a->numberDelAll();
   EXPECT_FALSE( sink->any() );
   b->numberIs( 1 );
   scheduler->runUntilIdle();
   EXPECT_TRUE( sm->ready() );
   EXPECT_TRUE( sink->any() );
   b->numberDel( 1 );
   EXPECT_FALSE( sink->any() );
}

// New members come at every step; the scan does not run after them.
TEST_F( PipelineTest, aScanEndsWhileItsInputGrows ) {
   int next = 100;
   scheduler->budgetIs( [ & ]( const Task & ) {
      a->numberIs( next++ );
      return true;
   } );
   for( int n = 0; n < 5; ++n ) a->numberIs( n );
   sm = make( scheduled() );
   EXPECT_EQ( scheduler->runUntilIdle(), 6u ) << "five members of one input, and the other one";
   EXPECT_TRUE( sm->ready() && sink->any() );
}

TEST_F( PipelineTest, whatComesBeforeTheScansEndShowsBehindThem ) {
   Reaction told( *sink );
   sm = make( scheduled() );
   a->numberIs( 1 );
   EXPECT_EQ( sm->events, 1 );
   EXPECT_FALSE( sink->any() ) << "swallowed";
   scheduler->runOne();
   b->numberIs( 1 );
   a->numberDel( 1 );
   EXPECT_FALSE( sink->any() );
   EXPECT_EQ( told.take(), 0 );
   scheduler->runOne();
   EXPECT_TRUE( sink->any() );
   EXPECT_EQ( told.take(), 1 );
}

TEST_F( PipelineTest, emptyInputsPublishNothing ) {
   Reaction told( *sink );
   for( const auto & control : { synchronous(), scheduled() } ) {
      sm = make( control );
      scheduler->runUntilIdle();
      EXPECT_TRUE( sm->ready() && sm->idle() );
      EXPECT_EQ( sm->events, 0 );
      EXPECT_FALSE( sink->any() );
      EXPECT_EQ( told.take(), 0 );
   }
}

TEST_F( PipelineTest, aStaleOutputOfEmptyInputsIsPutRight ) {
   for( const auto & control : { synchronous(), scheduled() } ) {
      sink->anyIs( true );
      Reaction told( *sink, [ & ]( const Quoin::Change & ) { EXPECT_FALSE( sm && sm->ready() ) << "not before the output stands"; } );
      sm = make( control );
      scheduler->runUntilIdle();
      EXPECT_FALSE( sink->any() );
      EXPECT_EQ( told.take(), 1 );
      EXPECT_TRUE( sm->ready() );
      sm = nullptr;
   }
}

TEST_F( PipelineTest, onlyTheWatchedAttributeIsAnEvent ) {
   sm = make( synchronous() );
   a->otherIs( 1 );
   b->otherIs( 2 );
   EXPECT_EQ( sm->events, 0 );
   a->numberIs( 1 );
   EXPECT_EQ( sm->events, 1 );
   b->numberIs( 1 );
   EXPECT_EQ( sm->events, 2 );
}

TEST_F( PipelineTest, aBurstOfEventsPublishesEachRealChangeOnce ) {
   sm = make( synchronous() );
   Reaction told( *sink );
   for( int n = 0; n < 10; ++n ) {
      a->numberIs( n );
      b->numberIs( n );
   }
   EXPECT_EQ( sm->events, 20 );
   EXPECT_EQ( told.take(), 1 );
   a->numberDelAll();   // ten events, and the other source still has some
   EXPECT_EQ( sm->events, 30 );
   EXPECT_EQ( told.take(), 0 );
   b->numberDelAll();
   EXPECT_EQ( sm->events, 40 );
   EXPECT_EQ( told.take(), 1 );
   EXPECT_FALSE( sink->any() );
}

TEST_F( PipelineTest, anInputSaysWhileItStandsInANotification ) {
   sm = make( synchronous() );
   std::vector<std::pair<bool, bool>> seen;
   Reaction reaction( *sink,
                      [ & ]( const Quoin::Change & ) { seen.emplace_back( sm->source( 0 )->inReactor(), sm->source( 1 )->inReactor() ); } );
   a->numberIs( 1 );
   a->numberDel( 1 );
   b->numberIs( 1 );
   EXPECT_THAT( seen, ElementsAre( std::pair( true, false ), std::pair( true, false ), std::pair( false, true ) ) );
   EXPECT_FALSE( sm->source( 0 )->inReactor() || sm->source( 1 )->inReactor() || sm->inReactor() );
}

TEST_F( PipelineTest, aScanIsNoNotification ) {
   a->numberIs( 1 );
   sm = make( scheduled() );
   Reaction reaction( *sink, [ & ]( const Quoin::Change & ) { EXPECT_FALSE( sm->source( 0 )->inReactor() ); } );
   scheduler->runUntilIdle();
   EXPECT_EQ( reaction.take(), 1 );
}

TEST_F( PipelineTest, aNotificationInsideANotificationEndsBeforeTheOuterOne ) {
   sm = make( synchronous() );
   std::vector<bool> seen;
   Reaction reaction( *sink, [ & ]( const Quoin::Change & ) {
      if( !sink->any() ) return;
      a->numberDelAll();
      seen.push_back( sm->source( 0 )->inReactor() );
      b->numberIs( 1 );
      seen.push_back( sm->source( 1 )->inReactor() );
   } );
   a->numberIs( 1 );
   // Inside the first of `b`, the two in the middle; the last is behind it, and still inside that of `a`.
   EXPECT_THAT( seen, ElementsAre( true, true, true, false ) );
   EXPECT_FALSE( sm->source( 0 )->inReactor() || sm->source( 1 )->inReactor() );
}

TEST_F( PipelineTest, aReactionOfTheOutputMayWriteInputs ) {
   const struct {
      const char * name;
      bool scanned;   // the first write comes of a scan
   } rows[] = { { "in an event", false }, { "in the second scan", true } };
   for( const auto & row : rows ) {
      SCOPED_TRACE( row.name );
      a->numberDelAll();
      sink->anyIs( false );
      if( row.scanned )
         for( const int n : { 1, 2, 3 } ) a->numberIs( n );
      sm = make( scheduled() );
      if( !row.scanned ) scheduler->runUntilIdle();
      std::vector<bool> seen;
      Reaction reaction( *sink, [ & ]( const Quoin::Change & ) {
         seen.push_back( sink->any() );
         if( sink->any() ) a->numberDelAll();
      } );
      if( row.scanned )
         scheduler->runUntilIdle();
      else
         a->numberIs( 1 );
      EXPECT_THAT( seen, ElementsAre( true, false ) );
      EXPECT_TRUE( sm->ready() );
      EXPECT_FALSE( sink->any() );
      sm = nullptr;
   }
}

TEST_F( PipelineTest, aReactionToAStaleOutputMayWriteInputs ) {
   sink->anyIs( true );
   sm = make( scheduled() );
   Reaction reaction( *sink, [ & ]( const Quoin::Change & ) { b->numberIs( 1 ); } );
   scheduler->runUntilIdle();
   EXPECT_TRUE( sm->ready() );
   EXPECT_TRUE( sink->any() );
   EXPECT_EQ( reaction.take(), 2 );
}

TEST_F( PipelineTest, readyAndIdleAreToldOfInOrder ) {
   a->numberIs( 1 );
   sm = make( scheduled() );
   std::vector<std::string> order;
   Reaction written( *sink, [ & ]( const Quoin::Change & ) { order.emplace_back( "output" ); } );
   Reaction scans( *sm->inputSmScanStateNode(), [ & ]( const Quoin::Change & c ) {
      order.push_back( c.field == FieldId( Streams::Field::idle ) ? "idle" : "scan " + std::to_string( c.field ) );
      EXPECT_EQ( sm->idle(), c.field == FieldId( Streams::Field::idle ) );
   } );
   Reaction outputs( *sm->outputStateNode(), [ & ]( const Quoin::Change & c ) {
      order.emplace_back( c.field == kReady ? "ready" : "output ready" );
      EXPECT_TRUE( sm->ready() && !sm->idle() );
   } );
   scheduler->runUntilIdle();
   EXPECT_THAT( order, ElementsAre( "output", "scan 1", "scan 2", "ready", "output ready", "idle" ) );
   order.clear();
   a->numberDelAll();
   sm->handleInputReady();
   EXPECT_THAT( order, ElementsAre( "output" ) );
}

TEST_F( PipelineTest, aSecondInputReadyOnlyTraces ) {
   a->numberIs( 1 );
   sm = make( synchronous() );
   sink->anyIs( false );   // by another hand: the machine has reconciled already
   TraceLog traces( "PipelineTest" );
   Reaction told( *sink );
   for( int i = 0; i < 2; ++i ) {
      sm->handleInputReady();
      EXPECT_THAT( traces.take(), ElementsAre( "handleSinkAnyOutputInputReady already ready, not reconciling." ) );
   }
   sm->handleInitialScanDone();
   EXPECT_THAT( traces.take(), IsEmpty() );
   EXPECT_EQ( told.take(), 0 );
   EXPECT_FALSE( sink->any() );
}

TEST_F( PipelineTest, inputReadyBeforeTheScansChangesNothing ) {
   a->numberIs( 1 );
   sm = make( scheduled() );
   TraceLog traces( "PipelineTest" );
   sm->handleInputReady();
   sm->handleInitialScanDone();
   EXPECT_THAT( traces.take(), ElementsAre( "Initial scan yielding for child SM Any.", "Initial scan yielding for child SM Any." ) );
   EXPECT_FALSE( sm->ready() || sm->initialScanDone() || sink->any() );
   scheduler->runUntilIdle();
   EXPECT_TRUE( sm->ready() && sink->any() );
}

TEST_F( PipelineTest, inputReadyInTheMidstOfTheSecondScanChangesNothing ) {
   a->numberIs( 1 );
   sm = make( scheduled() );
   Reaction reaction( *sink, [ & ]( const Quoin::Change & ) {
      TraceLog traces( "PipelineTest" );
      sm->handleInputReady();
      EXPECT_THAT( traces.take(), IsEmpty() );
      EXPECT_TRUE( sm->initialScanDone() );
      EXPECT_FALSE( sm->ready() || sm->idle() );
   } );
   scheduler->runUntilIdle();
   EXPECT_EQ( reaction.take(), 1 );
   EXPECT_TRUE( sm->ready() && sm->idle() );
}

TEST_F( PipelineTest, aStreamWhoseScanIsNotPendingIsNotScannedAgain ) {
   for( const unsigned skipped : { 0u, 1u } ) {
      SCOPED_TRACE( skipped );
      a->numberIs( 1 );
      b->numberIs( 1 );
      sink->anyIs( false );
      sm = make( scheduled() );
      sm->inputSmScanStateNode()->scanPendingIs( skipped, false );
      TraceLog traces( "PipelineTest" );
      scheduler->runUntilIdle();
      const std::string name = skipped ? "b" : "a";
      const auto told = traces.take();
      EXPECT_THAT( told, Contains( " " + name + " scan is false" ) );
      EXPECT_THAT( told, Not( Contains( "event of " + std::to_string( skipped ) ) ) );
      EXPECT_THAT( told, Contains( "event of " + std::to_string( 1 - skipped ) ) );
      EXPECT_TRUE( sm->ready() && sink->any() );
      sm = nullptr;
   }
}

TEST_F( PipelineTest, aScanByHandRunsAtOnce ) {
   yieldAfterEach();
   for( const int n : { 1, 2, 3 } ) a->numberIs( n );
   sm = make( scheduled() );
   scheduler->runOne();
   sm->source( 0 )->runScan();   // outside of its task there is no limit: the rest of the walk
   EXPECT_EQ( sm->events, 3 );
   EXPECT_TRUE( sm->source( 0 )->initialScanDone() );
   EXPECT_EQ( scheduler->dueCount(), 1u ) << "the task went with the walk's end";
   sm->source( 1 )->runScan();
   EXPECT_TRUE( sm->ready() && sink->any() && scheduler->idle() );
   sm->source( 0 )->doInputScan();   // again, and at once
   EXPECT_EQ( sm->events, 9 );
   EXPECT_TRUE( sm->ready() && sm->idle() );
}

TEST_F( PipelineTest, aScanThatIsAskedForTwiceRunsOnce ) {
   a->numberIs( 1 );
   sm = make( scheduled() );
   sm->source( 0 )->doInputScan();
   EXPECT_EQ( scheduler->dueCount(), 2u );
   EXPECT_EQ( scheduler->runUntilIdle(), 2u );
   EXPECT_TRUE( sm->ready() );
}

TEST_F( PipelineTest, leavesItsTrailWhereItIsTold ) {
   Trailmark::Handle first, second;
   SmControl control = synchronous();
   control.trailmarkHandleIs( &first );
   a->numberIs( 1 );
   sm = make( control );
   const auto textsOf = []( const Trailmark::Handle & handle ) {
      std::vector<std::string> texts;
      for( const auto & record : handle.read() )
         texts.push_back( std::string( record.message->text() ) + ": " + record.name + " " + std::to_string( record.value ) );
      return texts;
   };
   EXPECT_THAT( textsOf( first ), ElementsAre( "{} inserting {}: Any 1", "{} ready with {}: Any 1" ) );
   sm->trailmarkHandleIs( &second );
   a->numberDel( 1 );
   EXPECT_THAT( textsOf( second ), ElementsAre( "{} inserting {}: Any 0" ) );
   EXPECT_EQ( first.written(), 2u );
}

TEST_F( PipelineTest, tracesCallMachinesByTheirNames ) {
   sm = make( synchronous() );
   std::ostringstream os;
   os << *sm << " " << *sm->source( 0 ) << " " << *sm->source( 1 );
   EXPECT_EQ( os.str(), "Any SourceSm0 SourceSm1" );
}

TEST_F( PipelineTest, theSameInputMayFeedBothStreams ) {
   b = a;
   sm = make( synchronous() );
   a->numberIs( 1 );
   EXPECT_EQ( sm->events, 2 );
   EXPECT_TRUE( sink->any() );
   a->numberDel( 1 );
   EXPECT_FALSE( sink->any() );
   sm = nullptr;
   EXPECT_EQ( a->useCount(), 2u );   // `a` and `b`
}

TEST_F( PipelineDeathTest, anArgumentIsRequired ) {
   const auto source = a;
   const auto died = []( const char * arg ) {
      return HasSubstr( std::string( "Assertion failed: " ) + arg +
                        "() && \"Pointer SM args cannot be null unless they are marked Optional\"" );
   };
   for( const auto & control : { synchronous(), scheduled() } ) {
      EXPECT_DEATH( Zeugma::makeSm<Any>( nullptr, b, sink, control ), died( "a" ) );
      EXPECT_DEATH( Zeugma::makeSm<Any>( a, b, nullptr, control ), died( "sink" ) );
      EXPECT_DEATH( Zeugma::makeSm<Any>( nullptr, b, nullptr, control ), died( "a" ) ) << "the first of them";
   }
}

TEST_F( PipelineDeathTest, aScanOfANullInputEndsTheProcess ) {
   const char * const text = "Assertion failed: Sm args can only be null if marked as Optional in the SM type declaration";
   EXPECT_DEATH( Zeugma::makeSm<Any>( a, nullptr, sink, synchronous() ), text );
   sm = Zeugma::makeSm<Any>( a, nullptr, sink, scheduled() );   // it can be held
   scheduler->runOne();
   EXPECT_DEATH( scheduler->runOne(), text );
}

// Teardown, by both ways, at every point.

enum class How { drop, deleteAll };
enum class When {
   beforeTheTasksRun,
   amidAYieldedScan,
   betweenTheScans,
   byTheOutputInTheSecondScan,
   byTheOutputThatWasStale,
   byTheScanState,
   byReady,
   byTheOutputsOwnFlag,
   byIdle,
   byTheOutputInAnEvent,
   whenReady,
};

struct Teardown {
   const char * name;
   When when;
};
const Teardown kTeardowns[] = {
   { "beforeTheTasksRun", When::beforeTheTasksRun },
   { "amidAYieldedScan", When::amidAYieldedScan },
   { "betweenTheScans", When::betweenTheScans },
   { "byTheOutputInTheSecondScan", When::byTheOutputInTheSecondScan },
   { "byTheOutputThatWasStale", When::byTheOutputThatWasStale },
   { "byTheScanState", When::byTheScanState },
   { "byReady", When::byReady },
   { "byTheOutputsOwnFlag", When::byTheOutputsOwnFlag },
   { "byIdle", When::byIdle },
   { "byTheOutputInAnEvent", When::byTheOutputInAnEvent },
   { "whenReady", When::whenReady },
};
void PrintTo( const Teardown & teardown, std::ostream * os ) {
   *os << teardown.name;
}

class PipelineTeardownTest : public PipelineTest, public testing::WithParamInterface<std::tuple<Teardown, How>> {
 protected:
   void tearDown() {
      ++torn;
      if( std::get<How>( GetParam() ) == How::drop ) {
         sm = nullptr;
         return;
      }
      sm->doDeleteAll();
      EXPECT_EQ( sm->inputSmScanStateNode(), nullptr );
      EXPECT_EQ( sm->outputStateNode(), nullptr );
      EXPECT_FALSE( sm->ready() || sm->idle() );
      for( const unsigned stream : { 0u, 1u } ) EXPECT_EQ( sm->source( stream )->task(), nullptr );
   }
   int torn = 0;
};

TEST_P( PipelineTeardownTest, leavesNothingBehind ) {
   const When when = std::get<Teardown>( GetParam() ).when;
   const bool stale = when == When::byTheOutputThatWasStale;
   if( stale )
      sink->anyIs( true );
   else
      for( const int n : { 1, 2, 3 } ) {
         a->numberIs( n );
         b->numberIs( n );
      }
   yieldAfterEach();
   sm = make( scheduled() );
   std::unique_ptr<Reaction> reaction;
   const auto tearDownAt = [ & ]( const Quoin::Node & watched, std::optional<FieldId> field = {} ) {
      reaction = std::make_unique<Reaction>( watched, [ this, field ]( const Quoin::Change & change ) {
         if( torn == 0 && ( !field || change.field == *field ) ) tearDown();
      } );
   };
   switch( when ) {
      case When::beforeTheTasksRun: tearDown(); break;
      case When::amidAYieldedScan:
         for( int i = 0; i < 3; ++i ) scheduler->runOne();
         ASSERT_FALSE( sm->source( 0 )->initialScanDone() || sm->source( 1 )->initialScanDone() );
         tearDown();
         break;
      case When::betweenTheScans:
         while( !sm->source( 0 )->initialScanDone() ) scheduler->runOne();
         ASSERT_FALSE( sm->initialScanDone() );
         tearDown();
         break;
      case When::byTheOutputInTheSecondScan:
      case When::byTheOutputThatWasStale: tearDownAt( *sink ); break;
      case When::byTheScanState: tearDownAt( *sm->inputSmScanStateNode() ); break;
      case When::byReady: tearDownAt( *sm->outputStateNode(), kReady ); break;
      case When::byTheOutputsOwnFlag: tearDownAt( *sm->outputStateNode(), kFirstOutput ); break;
      case When::byIdle: tearDownAt( *sm->inputSmScanStateNode(), FieldId( Streams::Field::idle ) ); break;
      case When::byTheOutputInAnEvent:
         scheduler->runUntilIdle();
         tearDownAt( *sink );
         a->numberDelAll();
         b->numberDelAll();
         break;
      case When::whenReady:
         scheduler->runUntilIdle();
         ASSERT_TRUE( sm->ready() );
         tearDown();
   }
   scheduler->runUntilIdle();
   EXPECT_EQ( torn, 1 );
   const bool left = sink->any();
   a->numberIs( 100 );
   a->numberDelAll();
   b->numberDelAll();
   b->numberIs( 200 );
   EXPECT_EQ( sink->any(), left ) << "the output stays as it is";
   if( sm ) {
      sm->doDeleteAll();   // once more does nothing
      sm->handleInputReady();
      EXPECT_FALSE( sm->ready() || sm->idle() );
   }
   sm = nullptr;
   expectNothingLeft();
}

INSTANTIATE_TEST_SUITE_P( AtEveryPoint, PipelineTeardownTest,
                          testing::Combine( testing::ValuesIn( kTeardowns ), testing::Values( How::drop, How::deleteAll ) ),
                          []( const auto & info ) {
                             return std::string( std::get<Teardown>( info.param ).name ) +
                                ( std::get<How>( info.param ) == How::drop ? "Drop" : "DeleteAll" );
                          } );

// A further member of the scan that was under way must not be written behind the teardown.
TEST_F( PipelineTest, whatIsTornDownInItsScanWritesNoMore ) {
   for( const int n : { 1, 2, 3 } ) {
      a->numberIs( n );
      b->numberIs( n );
   }
   sm = make( scheduled() );
   std::vector<bool> seen;
   Reaction reaction( *sink, [ & ]( const Quoin::Change & ) {
      seen.push_back( sink->any() );
      if( seen.size() > 1 ) return;
      sm->doDeleteAll();
      sink->anyIs( false );   // it is somebody else's from here on
   } );
   scheduler->runUntilIdle();
   EXPECT_THAT( seen, ElementsAre( true, false ) );
   EXPECT_FALSE( sink->any() );
}

TEST_F( PipelineTest, anEventByHandBehindTheTeardownWritesNothing ) {
   sm = make( synchronous() );
   sm->doDeleteAll();
   a->numberIs( 1 );
   sm->event( 0 );
   EXPECT_FALSE( sink->any() );
}

TEST_F( PipelineTest, whatIsTornDownInANestedEventWritesNoMore ) {
   sm = make( synchronous() );
   std::vector<bool> seen;
   Reaction reaction( *sink, [ & ]( const Quoin::Change & ) {
      seen.push_back( sink->any() );
      if( seen.size() > 1 ) return;
      sm = nullptr;
      sink->anyIs( false );
   } );
   a->numberIs( 1 );
   EXPECT_THAT( seen, ElementsAre( true, false ) );
   a->numberIs( 2 );
   EXPECT_EQ( reaction.take(), 2 );
   EXPECT_EQ( a->useCount(), 1u );
}

TEST_F( PipelineTest, anInputMachineThatIsHeldDoesNothingWithoutItsPipeline ) {
   for( const bool ready : { false, true } ) {
      sm = make( scheduled() );
      if( ready ) scheduler->runUntilIdle();
      const Ptr<SourceSm> held[] = { sm->source( 0 ), sm->source( 1 ) };
      sm = nullptr;
      EXPECT_TRUE( scheduler->idle() );
      a->numberIs( 1 );
      b->numberIs( 1 );
      for( const auto & input : held ) {
         EXPECT_EQ( input->task(), nullptr );
         EXPECT_TRUE( input->zombieReactors() );
         EXPECT_FALSE( input->hasNotificationActive() );
      }
      EXPECT_FALSE( sink->any() );
      a->numberDelAll();
      b->numberDelAll();
   }
}

TEST_F( PipelineTest, anInputMachineThatIsHeldHasNoPipelineBehindTheTeardown ) {
   a->numberIs( 1 );
   for( const auto & control : { scheduled(), synchronous() } ) {
      for( const bool drop : { true, false } ) {
         SCOPED_TRACE( control.synchronous() );
         SCOPED_TRACE( drop );
         sink->anyIs( false );
         sm = make( control );
         scheduler->runUntilIdle();
         const auto held = sm->source( 0 );
         EXPECT_EQ( held->parent(), sm.get() );
         if( drop )
            sm = nullptr;
         else
            sm->doDeleteAll();
         EXPECT_EQ( held->parent(), nullptr );
         sink->anyIs( false );   // it is somebody else's from here on
         held->doInputScan();
         held->runScan();
         held->hasNotificationActiveIs( true );
         EXPECT_TRUE( scheduler->idle() );
         EXPECT_FALSE( sink->any() );
         sm = nullptr;
      }
   }
}

TEST_F( PipelineTest, isInitializedOnce ) {
   for( const auto & control : { scheduled(), synchronous() } ) {
      SCOPED_TRACE( control.synchronous() );
      sm = make( control );
      scheduler->runUntilIdle();
      const auto states = sm->inputSmScanStateNode();
      const auto outputs = sm->outputStateNode();
      const auto source = sm->source( 0 );
      sm->handleInitialized();
      EXPECT_TRUE( sm->ready() && sm->idle() && scheduler->idle() );
      EXPECT_EQ( sm->inputSmScanStateNode(), states );
      EXPECT_EQ( sm->outputStateNode(), outputs );
      EXPECT_EQ( sm->source( 0 ), source );
   }
}

TEST_F( PipelineTest, aTrailNeedsARing ) {
   sm = make( synchronous() );
   EXPECT_THROW( sm->trailmarkHandleIs( nullptr ), Plinth::MutatorArgNullPointerException );
   a->numberIs( 1 );   // writes its trail where it did before
   EXPECT_TRUE( sink->any() );
}

TEST_F( PipelineTest, aSchedulerThatNobodyElseHoldsGoesWithThePipeline ) {
   auto * const raw = scheduler.get();
   sm = make( scheduled() );
   scheduler = nullptr;
   EXPECT_EQ( raw->useCount(), 3u );   // the pipeline's, and that of each task
   raw->runUntilIdle();
   EXPECT_EQ( raw->useCount(), 1u );
   EXPECT_TRUE( sm->ready() );
}

}   // namespace
