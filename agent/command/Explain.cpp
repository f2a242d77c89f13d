// routepolicy explain: why a route map answers a route as it does.
#include <fmt/format.h>

#include "command/Commands.h"
#include "command/PolicyFiles.h"
#include "command/RouteText.h"
#include "command/TableRun.h"
#include "table/LineResult.h"
#include "table/RouteField.h"
#include "table/TextReader.h"
#include "text/TextWriter.h"

namespace Agent {

namespace {

using namespace Routing::Policy;

/// One evaluation, and its log.
struct Explanation {
   bool permitted = false;
   AgentResult result;
   PolicyEvalContext::FinishedLogPtr log;
};

Explanation explanationOf( const Quoin::Ptr<const RouteMapStatusList> & policy, const TableRoute & route ) {
   Explanation e;
   const AgentRoute input( route );
   e.result.routeIs( route );
   PolicyEval eval;
   eval.contextIs( Quoin::makeNode<PolicyEvalContext>() );
   eval.shouldLogEvalIs( true );
   e.permitted = eval.eval( &input, policy, &e.result );
   e.log = eval.context()->evaluationLogDeq();
   return e;
}

std::string routeText( const TableRoute & route ) {
   const std::string attributes = attributesOf( route );
   return std::string( route.prefix.toStrep().view() ) + ( attributes.empty() ? "" : ", " + attributes );
}

/// A log in words, by what the policy's text says.
class LogText {
 public:
   explicit LogText( const PolicyText & policy ) : policy_( policy ) {}

   void routeMap( const PolicyEvaluationLog & log, size_t depth ) {
      const std::string name( log.rmStatus()->name().view() );
      line( depth,
            fmt::format( "{} {}{}", printableName( name ), log.permitResult() ? "permits" : "denies",
                         log.defaultDeny() ? ": no sequence matches" : "" ) );
      for( auto i = log.rmStatus()->seqStatus().first(); i; i.next() )
         if( const auto visited = log.seq( i.key() ) ) sequence( name, *i.value(), *visited, depth + 1 );
   }
   std::string take() { return std::move( text_ ); }

 private:
   void sequence( const std::string & routeMap, const RouteMapSeqStatus & sequence, const SeqLog & visited, size_t depth ) {
      const std::string head = fmt::format( "{:<5} {:<6}", visited.seqno(), stringValue( sequence.matchAction() ) );
      if( visited.failedMatcher() != MatchOption::none )
         return line( depth, fmt::format( "{}  does not hold: {}", head, clause( routeMap, visited.seqno(), visited.failedMatcher() ) ) );
      const auto & sub = visited.subPolicyEvaluationLog();
      const bool passes = !sub || sub->permitResult() != sequence.subInvert();
      std::string what = passes ? "matches" : "does not match";
      if( sub )
         what += fmt::format( ": it calls {}{}", printableName( std::string( sub->rmStatus()->name().view() ) ),
                              sequence.subInvert() ? ", inverted" : "" );
      if( visited.continueSeq() != 0 ) what += fmt::format( "; goes on at {}", visited.continueSeq() );
      line( depth, head + "  " + what );
      if( sub ) this->routeMap( *sub, depth + 1 );
   }
   std::string clause( const std::string & routeMap, uint32_t number, MatchOption option ) const {
      const auto map = policy_.routeMaps.find( routeMap );
      if( map == policy_.routeMaps.end() || !map->second.sequences.contains( number ) ) return stringValue( option );
      const auto & clauses = map->second.sequences.at( number ).match;
      const auto found = clauses.find( option );
      return found == clauses.end() ? stringValue( option ) : printable( writeMatch( option, found->second ), 300 );
   }
   void line( size_t depth, const std::string & what ) { text_ += std::string( 3 * depth, ' ' ) + what + '\n'; }

   const PolicyText & policy_;
   std::string text_;
};

std::string textOf( const PolicyText & policy, const TableRoute & route, const Explanation & e, const Console & console ) {
   const std::string changes = e.permitted ? changesOf( route, e.result ) : std::string();
   std::string text = console.strong(
      fmt::format( "{}: {}{}{}", routeText( route ), e.permitted ? "permitted" : "denied", changes.empty() ? "" : ", with ", changes ) );
   text += '\n';
   LogText log( policy );
   if( const auto * logged = dynamic_cast<const PolicyEvaluationLog *>( e.log.get() ) ) log.routeMap( *logged, 0 );
   return text + log.take();
}

std::string jsonOf( const TableRoute & route, const Explanation & e ) {
   std::string text =
      fmt::format( "{{\"prefix\":\"{}\",\"verdict\":\"{}\"", route.prefix.toStrep().view(), e.permitted ? "permit" : "deny" );
   appendJsonAttributes( text, route );
   if( e.permitted ) appendJsonChanges( text, route, e.result );
   if( e.log ) {
      Gloss::RendererV2 log;
      e.log->toJson( &log );
      text += fmt::format( ",\"{}\":{{{}}}", e.log->policyType(), validUtf8( log.text() ) );
   }
   return text + "}\n";
}

/// Explains the routes of one prefix.
class ExplainJob final : public RouteJob {
 public:
   ExplainJob( const LivePolicy & live, const ExplainOptions & options, const Ferule::IpGenPrefix & prefix, const Console & console )
         : live_( live ), policy_( live.policy( options.routeMap ) ), prefix_( prefix ), json_( options.json ), console_( console ) {}
   std::unique_ptr<BatchResult> makeResult() override { return std::make_unique<BatchResult>(); }
   void evaluate( const TableRoute & route, BatchResult & result ) const override {
      if( route.prefix != prefix_ ) return;
      const Explanation e = explanationOf( policy_, route );
      result.text += json_ ? jsonOf( route, e ) : textOf( live_.text(), route, e, console_ );
      found = true;
   }
   void take( BatchResult & ) override {}
   mutable bool found = false;   // one thread evaluates

 private:
   const LivePolicy & live_;
   Quoin::Ptr<const RouteMapStatusList> policy_;
   Ferule::IpGenPrefix prefix_;
   bool json_;
   const Console & console_;
};

TableRoute routeOf( const ExplainOptions & options ) {
   TableRoute route;
   std::string reason;
   const auto prefix = parsePrefix( options.prefix, reason );
   if( !prefix ) throw CommandError{ reason };
   route.prefix = *prefix;
   for( const auto & [ key, value ] : options.fields )
      if( const auto wrong = setField( route, key, value ) ) throw CommandError{ fmt::format( "--{}: {}", key, *wrong ) };
   return route;
}

}   // namespace

int explain( const ExplainOptions & options, Console & console ) {
   const TableRoute route = routeOf( options );
   const auto live = livePolicyOf( options.files, console );
   routeMapOf( *live, options.routeMap );
   if( options.tables.empty() ) {
      const Explanation e = explanationOf( live->policy( options.routeMap ), route );
      console.write( options.json ? jsonOf( route, e ) : textOf( live->text(), route, e, console ) );
      console.flush();
      return kExitOk;
   }
   ExplainJob job( *live, options, route.prefix, console );
   const auto run = runTables( { options.tables, 1 }, job, console );
   console.flush();
   if( !job.found ) throw CommandError{ fmt::format( "{} is not in the table", route.prefix.toStrep().view() ) };
   return run.whole ? kExitOk : kExitError;
}

}   // namespace Agent
