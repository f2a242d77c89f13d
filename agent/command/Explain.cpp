// routepolicy explain: why a route map permits or denies a route.
#include <fmt/format.h>

#include <utility>
#include <vector>

#include "analysis/References.h"
#include "command/Commands.h"
#include "command/PolicyFiles.h"
#include "command/RouteText.h"
#include "command/TableRun.h"
#include "command/Target.h"
#include "command/Visits.h"
#include "table/LineResult.h"
#include "table/RouteField.h"
#include "table/TextReader.h"

namespace Agent {

namespace {

using Routing::Policy::PolicyEvaluationLog;

std::string routeText( const TableRoute & route ) {
   const std::string attributes = attributesOf( route );
   return std::string( route.prefix.toStrep().view() ) + ( attributes.empty() ? "" : ", " + attributes );
}

/// Explains the answers of one route map, or of the filters of a neighbor.
class Explainer {
 public:
   Explainer( const LivePolicy & live, const Target & target, const ExplainOptions & options, const Console & console )
         : policy_( live.text() ),
           references_( live.text() ),
           evaluator_( target.evaluator( live ) ),
           json_( options.json ),
           console_( console ) {}

   std::string answerTo( const TableRoute & route ) const {
      RouteAnswer answer;
      evaluator_.evaluate( route, answer );
      const auto log = evaluator_.logOf( route, answer.working );
      return json_ ? jsonText( route, answer, *log ) : text( route, answer, *log );
   }

 private:
   std::string text( const TableRoute & route, const RouteAnswer & answer, const PolicyEvaluationLog & log ) const {
      const std::string changes = answer.permitted ? changesOf( route, answer.result ) : std::string();
      const std::string head = fmt::format( "{}: {}{}{}{}", routeText( route ), answer.permitted ? "permitted" : "denied",
                                            changes.empty() ? "" : ", with ", changes, withoutText( evaluator_.leftOut() ) );
      return console_.strong( head ) + '\n' + textOf( visitOf( log, answer.working, policy_, references_ ) );
   }

   std::string jsonText( const TableRoute & route, const RouteAnswer & answer, const PolicyEvaluationLog & log ) const {
      std::string text =
         fmt::format( "{{\"prefix\":\"{}\",\"verdict\":\"{}\"", route.prefix.toStrep().view(), answer.permitted ? "permit" : "deny" );
      appendJsonAttributes( text, route );
      if( answer.permitted ) appendJsonChanges( text, route, answer.result );
      appendJsonLeftOut( text, evaluator_.leftOut() );
      return text + fmt::format( ",\"{}\":{}}}\n", log.policyType(), jsonTextOf( log, answer.working ) );
   }
   // The library's own form shows compiled sequences.
   std::string jsonTextOf( const PolicyEvaluationLog & log, const WorkingRoute & working ) const {
      if( policy_.dialect == Dialect::frr ) return Agent::jsonText( jsonOf( visitOf( log, working, policy_, references_ ) ) );
      Gloss::RendererV2 members;
      log.toJson( &members );
      return fmt::format( "{{{}}}", validUtf8( members.text() ) );
   }

   const PolicyText & policy_;
   const References references_;
   const RouteEvaluator evaluator_;
   const bool json_;
   const Console & console_;
};

struct ExplainBatch final : BatchResult {
   bool found = false;
};

/// Explains the routes of one prefix.
class ExplainJob final : public RouteJob {
 public:
   ExplainJob( const Explainer & explainer, const Ferule::IpGenPrefix & prefix ) : explainer_( explainer ), prefix_( prefix ) {}
   std::unique_ptr<BatchResult> makeResult() override { return std::make_unique<ExplainBatch>(); }
   void evaluate( const TableRoute & route, BatchResult & result ) const override {
      if( route.prefix != prefix_ ) return;
      result.text += explainer_.answerTo( route );
      static_cast<ExplainBatch &>( result ).found = true;
   }
   void take( BatchResult & result ) override { found |= std::exchange( static_cast<ExplainBatch &>( result ).found, false ); }
   bool found = false;

 private:
   const Explainer & explainer_;
   Ferule::IpGenPrefix prefix_;
};

/// The routes of the longest prefix that contains an address.
struct LongestMatch {
   unsigned length = 0;
   std::vector<TableRoute> routes;

   void add( const TableRoute & route ) {
      if( !routes.empty() && route.prefix.length() < length ) return;
      if( route.prefix.length() > length ) routes.clear();
      length = route.prefix.length();
      routes.push_back( route );
   }
};

struct MatchBatch final : BatchResult {
   LongestMatch match;
};

/// Finds the longest match of an address.
class MatchJob final : public RouteJob {
 public:
   explicit MatchJob( const Ferule::IpGenAddr & address ) : address_( address ) {}
   std::unique_ptr<BatchResult> makeResult() override { return std::make_unique<MatchBatch>(); }
   void evaluate( const TableRoute & route, BatchResult & result ) const override {
      const bool contains =
         route.prefix.af() == address_.af() && Ferule::IpGenPrefix( address_, route.prefix.length() ).subnet() == route.prefix;
      if( contains ) static_cast<MatchBatch &>( result ).match.add( route );
   }
   void take( BatchResult & result ) override {
      for( const auto & route : std::exchange( static_cast<MatchBatch &>( result ).match, {} ).routes ) match.add( route );
   }
   LongestMatch match;

 private:
   Ferule::IpGenAddr address_;
};

TableRoute routeOf( const ExplainOptions & options ) {
   if( !options.tables.empty() && !options.fields.empty() )
      throw CommandError{ fmt::format( "--{} cannot be used with --in, which takes the routes from a table",
                                       options.fields.front().first ) };
   TableRoute route;
   std::string reason;
   const auto prefix = parsePrefix( options.prefix, reason );
   if( !prefix ) throw CommandError{ "PREFIX: " + reason };
   route.prefix = *prefix;
   for( const auto & [ key, value ] : options.fields )
      if( const auto wrong = setField( route, key, value ) ) throw CommandError{ "--" + *wrong };
   options.defaults.fill( route );
   return route;
}

}   // namespace

int explain( const ExplainOptions & options, Console & console ) {
   expectEffect( options.dialect, options.assumptions, options.defaults );
   const TableRoute route = routeOf( options );
   const Target target( options.target, options.dialect );
   const LineLoader loader = loadFiles( options.files, options.dialect, options.lenient, console );
   const auto live = livePolicyOf( loader, console, options.json, options.assumptions, &target );
   const Explainer explainer( *live, target, options, console );
   const TableRunOptions tables{ options.tables, 1, options.maxInput, options.defaults, target.routes() };
   if( options.tables.empty() ) {
      if( !tables.neighbor.has( route ) ) throw CommandError{ tables.neighbor.whyNot( route ) };
      console.write( explainer.answerTo( route ) );
      console.flush();
      return kExitOk;
   }
   if( options.prefix.find( '/' ) == options.prefix.npos ) {
      MatchJob job( route.prefix.ipGenAddr() );
      const auto run = runTables( tables, job, console );
      for( const auto & found : job.match.routes ) console.write( explainer.answerTo( found ) );
      console.flush();
      if( job.match.routes.empty() )
         throw CommandError{ fmt::format( "no {}route of the table contains {}", run.leftOut ? "other " : "", options.prefix ) };
      return run.whole ? kExitOk : kExitError;
   }
   ExplainJob job( explainer, route.prefix );
   const auto run = runTables( tables, job, console );
   console.flush();
   if( !job.found )
      throw CommandError{ fmt::format( "{} is not {}", route.prefix.toStrep().view(),
                                       run.leftOut ? "among the other routes of the table" : "in the table" ) };
   return run.whole ? kExitOk : kExitError;
}

}   // namespace Agent
