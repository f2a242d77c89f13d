#include "command/TableRun.h"

#include <fmt/format.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <exception>
#include <mutex>
#include <new>
#include <set>
#include <system_error>
#include <thread>

#include "command/PolicyFiles.h"
#include "table/KernelTable.h"
#include "table/TableReader.h"

namespace Agent {

namespace {

constexpr size_t kBatch = 1024;         // routes
constexpr size_t kBatchesAThread = 4;   // in progress at most
constexpr uint64_t kBrokenShown = 10;   // of a table; the others are counted

double seconds() {
   return std::chrono::duration<double>( std::chrono::steady_clock::now().time_since_epoch() ).count();
}

struct Batch {
   std::vector<TableRoute> routes{ kBatch };   // the first `count` of them; reused, with their memory
   size_t count = 0;
   std::unique_ptr<BatchResult> result;
   double seconds = 0;
   bool done = false;
   std::exception_ptr fault;

   void evaluate( const RouteJob & job ) noexcept {
      const double begun = Agent::seconds();
      try {
         for( size_t i = 0; i < count; ++i ) job.evaluate( routes[ i ], *result );
      } catch( ... ) { fault = std::current_exception(); }
      seconds = Agent::seconds() - begun;
   }
};

/// Evaluates batches on its own threads; without threads, on the caller's.
class Workers {
 public:
   Workers( const RouteJob & job, unsigned threads ) : job_( job ) {
      if( threads < 2 ) return;
      try {
         threads_.reserve( threads );
         while( threads_.size() < threads ) threads_.emplace_back( [ this ] { work(); } );
      } catch( const std::system_error & ) {   // continue with the threads that could be created
      } catch( const std::bad_alloc & ) {}
   }
   ~Workers() {
      {
         const std::lock_guard lock( mutex_ );
         ended_ = true;
      }
      due_.notify_all();
      for( auto & thread : threads_ ) thread.join();
   }
   Workers( const Workers & ) = delete;
   Workers & operator=( const Workers & ) = delete;

   size_t count() const noexcept { return threads_.size(); }
   void evaluate( Batch & batch ) {
      batch.done = false;
      if( threads_.empty() ) {
         batch.evaluate( job_ );
         batch.done = true;
         return;
      }
      {
         const std::lock_guard lock( mutex_ );
         queue_.push_back( &batch );
      }
      due_.notify_one();
   }
   void wait( const Batch & batch ) {
      if( threads_.empty() ) return;
      std::unique_lock lock( mutex_ );
      done_.wait( lock, [ & ] { return batch.done; } );
   }

 private:
   void work() {
      std::unique_lock lock( mutex_ );
      for( ;; ) {
         due_.wait( lock, [ this ] { return ended_ || !queue_.empty(); } );
         if( ended_ ) return;
         Batch & batch = *queue_.front();
         queue_.pop_front();
         lock.unlock();
         batch.evaluate( job_ );
         lock.lock();
         batch.done = true;
         done_.notify_one();
      }
   }

   const RouteJob & job_;
   std::mutex mutex_;
   std::condition_variable due_, done_;
   std::deque<Batch *> queue_;
   bool ended_ = false;
   std::vector<std::thread> threads_;
};

/// Puts routes into batches, and takes the results in the order of the batches.
class Run final : public TableHandler {
 public:
   Run( RouteJob & job, const TableRunOptions & options, Console & console )
         : job_( job ),
           defaults_( options.defaults ),
           neighbor_( options.neighbor ),
           console_( console ),
           workers_( job, options.threads ) {}

   void tableIs( const std::string & name ) {
      name_ = name;
      broken_ = leftOut_ = 0;
      peersLeftOut_.clear();
   }
   void handleRoute( const TableRoute & route ) override {
      Batch & batch = filling();
      TableRoute & kept = batch.routes[ batch.count ];
      kept = route;
      defaults_.fill( kept );
      if( !neighbor_.has( kept ) ) return leaveOut( kept );
      ++batch.count;
      ++summary.routes;
      if( batch.count == kBatch ) evaluateFilling();
   }
   void handleBroken( const Broken & broken ) override {
      if( ++broken_ > kBrokenShown ) return;
      console_.message( fmt::format( "{}: {}: {}", name_, placeOf( broken ), broken.reason ) );
   }
   void finishTable( const TableSummary & table ) {
      if( broken_ > kBrokenShown ) console_.message( fmt::format( "{}: and {} more", name_, broken_ - kBrokenShown ) );
      summary.leftOut += leftOut_;
      if( leftOut_ != 0 ) console_.message( fmt::format( "{}: {}", name_, neighbor_.textOf( leftOut_, table.routes, peersLeftOut_ ) ) );
      if( !table.remark.empty() ) console_.message( fmt::format( "{}: {}", name_, table.remark ) );
      if( table.isNoTable ) {
         console_.message( fmt::format( "{}: no route could be read: {}", name_, table.fault ) );
         summary.whole = false;
      } else if( !table.fault.empty() ) {
         console_.message( fmt::format( "{}: reading stopped after {}: {}", name_, quantity( table.routes, "route" ), table.fault ) );
         summary.whole = false;
      } else if( table.routes == 0 ) {
         const std::string skipped = table.skipped ? fmt::format( "; {} skipped", table.skipped ) : "";
         console_.message( fmt::format( "{}: contains no route{}", name_, skipped ) );
         if( table.broken != 0 ) summary.whole = false;   // of the kernel: for a file that is a fault
      }
   }
   void finish() {
      if( filling_ && filling_->count != 0 ) evaluateFilling();
      while( !inProgress_.empty() ) takeFirst();
   }

   TableRunSummary summary;
   double secondsElsewhere = 0;   // time of this thread that was not spent on reading

 private:
   void leaveOut( const TableRoute & route ) {
      if( ++leftOut_ % kBatch == 0 ) showProgress();
      peersLeftOut_.insert( route.peer );
   }
   Batch & filling() {
      if( filling_ ) return *filling_;
      if( idle_.empty() ) {
         idle_.push_back( std::make_unique<Batch>() );
         idle_.back()->result = job_.makeResult();
      }
      filling_ = std::move( idle_.back() );
      idle_.pop_back();
      filling_->count = 0;
      return *filling_;
   }
   void evaluateFilling() {
      const double begun = seconds();
      inProgress_.push_back( std::move( filling_ ) );
      workers_.evaluate( *inProgress_.back() );
      while( inProgress_.size() > kBatchesAThread * workers_.count() ) takeFirst();
      secondsElsewhere += seconds() - begun;
      showProgress();
   }
   void showProgress() {
      console_.progress( fmt::format( "{}: {}", name_, quantity( summary.routes + summary.leftOut + leftOut_, "route" ) ) );
   }
   void takeFirst() {
      auto batch = std::move( inProgress_.front() );
      inProgress_.pop_front();
      workers_.wait( *batch );
      if( batch->fault ) std::rethrow_exception( batch->fault );
      summary.secondsPolicy += batch->seconds;
      console_.write( batch->result->text );
      batch->result->text.clear();
      job_.take( *batch->result );
      idle_.push_back( std::move( batch ) );
   }

   RouteJob & job_;
   const RouteDefaults & defaults_;
   const NeighborRoutes & neighbor_;
   Console & console_;
   std::string name_;
   uint64_t broken_ = 0;
   uint64_t leftOut_ = 0;   // of the table
   std::set<Ferule::IpGenAddr> peersLeftOut_;
   std::unique_ptr<Batch> filling_;
   std::deque<std::unique_ptr<Batch>> inProgress_;
   std::vector<std::unique_ptr<Batch>> idle_;
   Workers workers_;   // deleted first: no batch is deleted while it is evaluated
};

void readOne( const std::string & table, uint64_t maxInput, Run & run, Console & console ) {
   run.tableIs( table == "kernel" ? "kernel" : displayName( table ) );
   if( table == "kernel" ) return run.finishTable( readKernelTable( run ) );
   if( table == "-" && isatty( STDIN_FILENO ) == 1 ) console.message( "reading routes from the terminal; end with Ctrl-D" );
   FileSource source = openFile( table );
   run.finishTable( readTable( source, run, { .maxText = maxInput } ) );
}

}   // namespace

TableRunSummary runTables( const TableRunOptions & options, RouteJob & job, Console & console ) {
   const double begun = seconds();
   Run run( job, options, console );
   for( const auto & table : options.tables ) readOne( table, options.maxInput, run, console );
   run.summary.secondsReading = seconds() - begun - run.secondsElsewhere;
   run.finish();   // evaluates the rest
   run.summary.seconds = seconds() - begun;
   return run.summary;
}

}   // namespace Agent
