// routepolicy diff: the routes of a table that two policies answer differently.
#include "command/Commands.h"
#include "command/Comparison.h"
#include "command/PolicyFiles.h"
#include "command/TableRun.h"
#include "command/Target.h"

namespace Agent {

namespace {

struct DiffBatch final : BatchResult {
   explicit DiffBatch( size_t examples ) : differences( examples ) {}
   Differences differences;
   RouteAnswer before;
   RouteAnswer after;
};

class DiffJob final : public RouteJob {
 public:
   DiffJob( const RouteEvaluator & before, const RouteEvaluator & after, size_t examples )
         : differences( examples ), before_( before ), after_( after ), examples_( examples ) {}

   std::unique_ptr<BatchResult> makeResult() override { return std::make_unique<DiffBatch>( examples_ ); }
   void evaluate( const TableRoute & route, BatchResult & result ) const override {
      auto & batch = static_cast<DiffBatch &>( result );
      before_.evaluate( route, batch.before );
      after_.evaluate( route, batch.after );
      batch.differences.add( route, batch.before, batch.after );
   }
   void take( BatchResult & result ) override { differences.take( static_cast<DiffBatch &>( result ).differences ); }

   Differences differences;

 private:
   const RouteEvaluator & before_;
   const RouteEvaluator & after_;
   size_t examples_;
};

}   // namespace

int diff( const DiffOptions & options, Console & console ) {
   expectEffect( options.dialect, options.assumptions, options.defaults );
   const Target target( options.target, options.dialect );
   const LineLoader oldFiles = loadFiles( options.oldFiles, options.dialect, options.lenient, console );
   const LineLoader newFiles = loadFiles( options.newFiles, options.dialect, options.lenient, console );
   const auto policies = livePoliciesOf( { &oldFiles, &newFiles }, console, options.json, options.assumptions, &target );
   const RouteEvaluator before = target.evaluator( *policies[ 0 ] ), after = target.evaluator( *policies[ 1 ] );
   DiffJob job( before, after, options.examples );
   const auto run = runTables( { options.tables, options.threads, options.maxInput, options.defaults, target.routes() }, job, console );
   console.write( options.json ? jsonText( job.differences.json( before, after ) ) + '\n'
                               : job.differences.text( before, after, console ) );
   console.flush();
   if( !run.whole ) return kExitError;
   return job.differences.changed() ? kExitFindings : kExitOk;
}

}   // namespace Agent
