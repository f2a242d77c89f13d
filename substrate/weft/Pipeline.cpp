#include "substrate/weft/Pipeline.h"

#include <utility>

#include "substrate/quoin/Assert.h"

namespace Weft::Gen {

namespace {

constexpr unsigned kOutput = 0;   // the one output

const Trailmark::MsgDesc readyMsg( "{} ready with {}" );
const Trailmark::MsgDesc insertedMsg( "{} inserting {}" );

}   // namespace

InputSmScanState::~InputSmScanState() = default;

void InputSmScanState::scanPendingIs( unsigned stream, bool pending ) {
   if( pending == scanPending( stream ) ) return;
   pending_ ^= 1u << stream;
   publisher_.publishChange( Quoin::FieldId( Quoin::FieldId( Field::firstScan ) + stream ) );
}

OutputState::~OutputState() = default;

void OutputState::outputReadyIs( unsigned output, bool ready ) {
   if( ready == outputReady( output ) ) return;
   const Quoin::Ptr<OutputState> self( this );   // a subscriber to `ready` may drop the pipeline
   notReady_ ^= 1u << output;
   readyIs( notReady_ == 0 );
   publisher_.publishChange( Quoin::FieldId( Quoin::FieldId( Field::firstOutput ) + output ) );
}

InputSm::InputSm( Pipeline & parent, unsigned stream, const Texts & texts, const Quoin::Ptr<const Quoin::Node> & input,
                  Quoin::FieldId field )
      : parent_( &parent ), texts_( texts ), stream_( stream ), field_( field ), synchronous_( parent.wefterControl().synchronous() ) {
   reactor_.notifierIs( input );
}

InputSm::~InputSm() = default;

void InputSm::handleInitialized() {
   if( !synchronous_ )
      task_ = std::make_unique<Zeugma::Task>( parent_->wefterControl().scheduler(), parent_->wefterControl().priority(),
                                              Quoin::String( texts_.taskName ), [ this ] { runScan(); } );
   doInputScan();
}

void InputSm::doInputScan() {
   if( task_ )
      task_->scheduleTask();
   else
      runScan();
}

void InputSm::runScan() {
   if( !parent_ ) return;
   QUOIN_ASSERT( reactor_.notifier(), "Sm args can only be null if marked as Optional in the SM type declaration" );
   const Quoin::Ptr<Pipeline> parent( parent_ );   // a subscriber to the output may drop both
   const Quoin::Ptr<InputSm> self( this );
   const bool scanned = scanInput();
   if( !parent_ ) return;
   if( !scanned ) return task_->scheduleTask();
   task_.reset();
   initialScanDone_ = true;
   if( parent->initialScanDone() ) {
      PLINTH_TRACE( parent->trace(), level8 ) << texts_.name << " scan, and parent scan, complete.";
      parent->inputSmScanState_->scanPendingIs( stream_, false );
   } else if( parent->initialized() ) {
      parent->handleInputReady();
   }
}

void InputSm::traceInitial() const {
   if( parent_ ) PLINTH_TRACE( parent_->trace(), level8 ) << texts_.stream << " initial";
}

void InputSm::handleChange( const Quoin::Change & change ) {
   if( change.field == field_ ) runReactor();
}

void InputSm::runReactor() {
   const InReactor inReactor( *this );
   handleInput();
}

void InputSm::doDeleteAll() {
   parent_ = nullptr;
   task_.reset();
   reactor_.hasNotificationActiveIs( false );
   reactor_.notifierIs( nullptr );
}

Pipeline::Pipeline( const SmControl & wefterControl, const Plinth::TraceHandle & trace, const Texts & texts )
      : trace_( trace ), texts_( texts ), wefterControl_( wefterControl ) {}

Pipeline::~Pipeline() = default;

void Pipeline::handleInitialized() {
   if( initialized_ ) return;
   if( !wefterControl_.scheduler() ) wefterControl_.schedulerIs( Zeugma::TaskSchedulerRoot::findOrCreateScheduler() );
   inputSmScanState_ = makeInputSmScanState();
   outputState_ = makeOutputState();
   checkArgs();
   PLINTH_TRACE( trace_, level8 ) << "create local SMs";
   PLINTH_TRACE( trace_, level8 ) << "create non-public arg SMs";
   makeInputSms();
   PLINTH_TRACE( trace_, level8 ) << "initialized";
   initialized_ = true;
   handleInputReady();
}

bool Pipeline::inputsScanned() const {
   for( const auto & [ stream, inputSm ] : inputSms_.machines() )
      if( !inputSm->initialScanDone() ) return false;
   return true;
}

void Pipeline::handleInitialScanDone() {
   if( initialScanDone_ ) return;
   if( !inputsScanned() ) {
      PLINTH_TRACE( trace_, level8 ) << "Initial scan yielding for child SM " << texts_.name << ".";
      return;
   }
   PLINTH_TRACE( trace_, level8 ) << "Initial scan done for child SMs. Now scanning with events triggered.";
   initialScanDone_ = true;
   scanPending();
   handleInputReady();
}

namespace {

// Sets a flag for the span of a block.
struct Busy {
   bool & flag;
   explicit Busy( bool & f ) : flag( f ) { flag = true; }
   ~Busy() { flag = false; }
};

}   // namespace

void Pipeline::scanPending() {
   const Busy busy( busy_ );
   for( auto i = inputSms_.machines().first(); i && inputSmScanState_; i.next() ) {
      if( inputSmScanState_->scanPending( i.key() ) )
         i.value()->doInputScan();
      else
         PLINTH_TRACE( trace_, level8 ) << " " << i.value()->streamName() << " scan is false";
   }
}

void Pipeline::handleInputReady() {
   if( !initialScanDone_ ) handleInitialScanDone();
   if( !outputState_ || busy_ ) return;   // torn down, or called from a subscriber to the output
   if( outputState_->outputReady( kOutput ) ) {
      PLINTH_TRACE( trace_, level8 ) << texts_.inputReadyHandler << " already ready, not reconciling.";
      return;
   }
   if( initialScanDone_ && inputSmScanState_->scansFinished() ) reconcile();
}

void Pipeline::reconcile() {
   const Busy busy( busy_ );
   PLINTH_TRACE( trace_, level8 ) << "Input scans for " << texts_.output << " complete";
   const bool now = value();
   outputIs( now );   // an empty input has triggered no event
   if( !outputState_ ) return;
   wefterControl_.trailmarkHandle()->write( readyMsg, texts_.name, now );
   outputState_->outputReadyIs( kOutput, true );
   if( inputSmScanState_ ) inputSmScanState_->handleIdle();
}

void Pipeline::insert() {
   if( !outputState_ ) return;
   const Quoin::Ptr<Pipeline> self( this );
   const bool now = value();
   PLINTH_TRACE( trace_, level7 ) << texts_.into << ": inserting value=" << ( now ? "true" : "false" );
   wefterControl_.trailmarkHandle()->write( insertedMsg, texts_.name, now );
   outputIs( now );
}

void Pipeline::doDeleteAll() {
   for( auto i = inputSms_.machines().first(); i; i.next() ) i.value()->doDeleteAll();
   inputSmScanState_ = nullptr;
   outputState_ = nullptr;
}

}   // namespace Weft::Gen
