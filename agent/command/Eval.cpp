// routepolicy eval: the answer of a route map for every route of a table.
#include <fmt/format.h>

#include <algorithm>
#include <iterator>

#include "command/Commands.h"
#include "command/PolicyFiles.h"
#include "command/RouteEvaluator.h"
#include "command/RouteText.h"
#include "command/TableRun.h"
#include "command/Target.h"

namespace Agent {

namespace {

constexpr size_t kWidestName = 60;   // of the column in the summary; a longer name shifts its own row only

/// How many routes each sequence applied to or denied.
struct Counts {
   explicit Counts( size_t sequences ) : hits( sequences ) {}
   void add( const RouteAnswer & answer ) {
      ++( answer.permitted ? permitted : denied );
      if( answer.sequences.empty() ) ++noSequence;
      for( const uint32_t i : answer.sequences ) ++hits[ i ];
   }
   void take( Counts & other ) {
      permitted += std::exchange( other.permitted, 0 );
      denied += std::exchange( other.denied, 0 );
      noSequence += std::exchange( other.noSequence, 0 );
      for( size_t i = 0; i < hits.size(); ++i ) hits[ i ] += std::exchange( other.hits[ i ], 0 );
   }
   uint64_t permitted = 0;
   uint64_t denied = 0;
   uint64_t noSequence = 0;      // of the denied routes
   std::vector<uint64_t> hits;   // by RouteEvaluator::sequences()
};

struct EvalBatch final : BatchResult {
   explicit EvalBatch( size_t sequences ) : counts( sequences ) {}
   Counts counts;
   RouteAnswer answer;
};

class EvalJob final : public RouteJob {
 public:
   EvalJob( const RouteEvaluator & evaluator, const EvalOptions & options )
         : counts( evaluator.sequences().size() ), evaluator_( evaluator ), options_( options ) {}

   std::unique_ptr<BatchResult> makeResult() override { return std::make_unique<EvalBatch>( counts.hits.size() ); }
   void evaluate( const TableRoute & route, BatchResult & result ) const override {
      auto & batch = static_cast<EvalBatch &>( result );
      evaluator_.evaluate( route, batch.answer );
      batch.counts.add( batch.answer );
      if( options_.summary ) return;
      if( options_.json ) {
         appendJson( batch.text, evaluator_, route, batch.answer );
         batch.text += '\n';
      } else {
         appendLine( batch.text, evaluator_, route, batch.answer );
      }
   }
   void take( BatchResult & result ) override { counts.take( static_cast<EvalBatch &>( result ).counts ); }

   Counts counts;

 private:
   const RouteEvaluator & evaluator_;
   const EvalOptions & options_;
};

std::string summaryText( const RouteEvaluator & evaluator, const Counts & counts, const Console & console ) {
   std::string text = fmt::format( "{}, {} permitted, {} denied{}\n\n", quantity( counts.permitted + counts.denied, "route" ),
                                   counts.permitted, counts.denied, withoutText( evaluator.leftOut() ) );
   size_t width = std::string_view( "route map" ).size();
   for( const auto & s : evaluator.sequences() ) width = std::max( width, std::min( s.shownName.size(), kWidestName ) );
   text += console.strong( fmt::format( "{:<{}}  {:>10}  {:<6}  {:>12}", "route map", width, "sequence", "action", "routes" ) ) + '\n';
   const auto row = [ & ]( std::string_view routeMap, std::string_view number, std::string_view action, uint64_t hits ) {
      text += fmt::format( "{:<{}}  {:>10}  {:<6}  {:>12}\n", routeMap, width, number, action, hits );
   };
   for( size_t i = 0; i < counts.hits.size(); ++i ) {
      const auto & s = evaluator.sequences()[ i ];
      row( s.shownName, s.number ? std::to_string( s.number ) : "", s.permits ? "permit" : "deny", counts.hits[ i ] );
   }
   row( "", "none", "deny", counts.noSequence );
   return text;
}

std::string summaryJson( const RouteEvaluator & evaluator, const Counts & counts ) {
   std::string text = fmt::format( "{{\"routes\":{},\"permitted\":{},\"denied\":{},\"noSequence\":{},\"sequences\":[",
                                   counts.permitted + counts.denied, counts.permitted, counts.denied, counts.noSequence );
   for( size_t i = 0; i < counts.hits.size(); ++i ) {
      const auto & s = evaluator.sequences()[ i ];
      fmt::format_to( std::back_inserter( text ), "{}{{{},\"action\":\"{}\",\"routes\":{}}}", i ? "," : "", jsonMembersOf( s ),
                      s.permits ? "permit" : "deny", counts.hits[ i ] );
   }
   text += ']';
   appendJsonLeftOut( text, evaluator.leftOut() );
   return text + "}\n";
}

std::string timingText( const TableRunSummary & run ) {
   const double busy = run.secondsReading + run.secondsPolicy;
   return fmt::format( "{:.3f} s; reading {:.3f} s, policy {:.3f} s, {:.0f} % of both", run.seconds, run.secondsReading, run.secondsPolicy,
                       busy > 0 ? 100 * run.secondsPolicy / busy : 0.0 );
}

}   // namespace

int eval( const EvalOptions & options, Console & console ) {
   expectEffect( options.dialect, options.assumptions, options.defaults );
   const Target target( options.target, options.dialect );
   const LineLoader loader = loadFiles( options.files, options.dialect, options.lenient, console );
   const auto policy = livePolicyOf( loader, console, options.json, options.assumptions, &target );
   const RouteEvaluator evaluator = target.evaluator( *policy );
   EvalJob job( evaluator, options );
   const auto run = runTables( { options.tables, options.threads, options.maxInput, options.defaults, target.routes() }, job, console );
   if( options.summary )
      console.write( options.json ? summaryJson( evaluator, job.counts ) : summaryText( evaluator, job.counts, console ) );
   console.flush();
   if( options.timing ) console.message( timingText( run ) );
   return run.whole ? kExitOk : kExitError;
}

}   // namespace Agent
