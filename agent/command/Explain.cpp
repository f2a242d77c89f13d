// routepolicy explain: why a route map permits or denies a route.
#include <fmt/format.h>

#include <utility>
#include <vector>

#include "analysis/References.h"
#include "command/Commands.h"
#include "command/PolicyFiles.h"
#include "command/RouteText.h"
#include "command/TableRun.h"
#include "table/LineResult.h"
#include "table/RouteField.h"
#include "table/TextReader.h"
#include "text/Printable.h"
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

/// Puts an evaluation log into words, with the clauses of the policy's text.
class LogText {
 public:
   LogText( const PolicyText & policy, const References & references ) : policy_( policy ), references_( references ) {}

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
      const std::string result = passes ? "matches" : "does not match";
      line( depth,
            head + "  " + result + remarks( routeMap, visited.seqno() ) +
               ( passes ? whereItContinues( routeMap, sequence, visited ) : "" ) );
      if( sub ) this->routeMap( *sub, depth + 1 );
   }
   const SequenceText * textOf( const std::string & routeMap, uint32_t number ) const {
      const auto map = policy_.routeMaps.find( routeMap );
      if( map == policy_.routeMaps.end() ) return nullptr;
      const auto found = map->second.sequences.find( number );
      return found == map->second.sequences.end() ? nullptr : &found->second;
   }
   std::string clause( const std::string & routeMap, uint32_t number, MatchOption option ) const {
      const SequenceText * const text = textOf( routeMap, number );
      if( !text || !text->match.contains( option ) ) return stringValue( option );
      return printable( writeMatch( option, text->match.at( option ) ), 300 ) + missing( references_.in( routeMap, number, option ) );
   }
   // Says of an undefined reference that it is undefined; empty for a defined one.
   std::string missing( const Reference * reference ) const {
      if( !reference || reference->defined ) return {};
      const auto other = inOtherFamily( reference->to.kind );
      if( other && isDefined( policy_, { *other, reference->to.name } ) )
         return fmt::format( ", which is defined for {} only", familyOf( *other ) );
      return ", which is undefined";
   }
   // Of a sequence whose match clauses hold: its call, and the clauses with undefined references.
   std::string remarks( const std::string & routeMap, uint32_t number ) const {
      const SequenceText * const text = textOf( routeMap, number );
      std::string all;
      if( !text ) return all;
      const auto add = [ & ]( const std::string & what ) { all += ( all.empty() ? ": " : "; " ) + what; };
      for( const auto & [ option, match ] : text->match )
         if( !missing( references_.in( routeMap, number, option ) ).empty() ) add( clause( routeMap, number, option ) );
      if( text->call )
         add( fmt::format( "it calls {}{}{}", printableName( text->call->name ),
                           missing( references_.in( routeMap, number, std::nullopt ) ), text->call->invert ? ", inverted" : "" ) );
      return all;
   }
   // A continue to a sequence that does not exist is not followed.
   std::string whereItContinues( const std::string & routeMap, const RouteMapSeqStatus & sequence, const SeqLog & visited ) const {
      if( visited.continueSeq() != 0 ) return fmt::format( "; continues at {}", visited.continueSeq() );
      const SequenceText * const text = textOf( routeMap, visited.seqno() );
      if( !text || !text->continueTo || text->continueTo->target == 0 || sequence.matchAction() == MatchPermit::deny ) return {};
      if( textOf( routeMap, text->continueTo->target ) ) return {};
      return fmt::format( "; ends here, as sequence {} does not exist", text->continueTo->target );
   }
   void line( size_t depth, const std::string & what ) { text_ += std::string( 3 * depth, ' ' ) + what + '\n'; }

   const PolicyText & policy_;
   const References & references_;
   std::string text_;
};

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

/// Explains the answers of one route map.
class Explainer {
 public:
   Explainer( const LivePolicy & live, const ExplainOptions & options, const Console & console )
         : text_( live.text() ),
           references_( live.text() ),
           policy_( live.policy( options.routeMap ) ),
           json_( options.json ),
           console_( console ) {}

   std::string answerTo( const TableRoute & route ) const {
      const Explanation e = explanationOf( policy_, route );
      return json_ ? jsonOf( route, e ) : textOf( route, e );
   }

 private:
   std::string textOf( const TableRoute & route, const Explanation & e ) const {
      const std::string changes = e.permitted ? changesOf( route, e.result ) : std::string();
      std::string text = console_.strong(
         fmt::format( "{}: {}{}{}", routeText( route ), e.permitted ? "permitted" : "denied", changes.empty() ? "" : ", with ", changes ) );
      text += '\n';
      LogText log( text_, references_ );
      if( const auto * logged = dynamic_cast<const PolicyEvaluationLog *>( e.log.get() ) ) log.routeMap( *logged, 0 );
      return text + log.take();
   }

   const PolicyText & text_;
   const References references_;
   const Quoin::Ptr<const RouteMapStatusList> policy_;
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
   return route;
}

}   // namespace

int explain( const ExplainOptions & options, Console & console ) {
   const TableRoute route = routeOf( options );
   const auto live = livePolicyOf( options.files, options.dialect, console, options.json );
   routeMapOf( *live, options.routeMap );
   const Explainer explainer( *live, options, console );
   if( options.tables.empty() ) {
      console.write( explainer.answerTo( route ) );
      console.flush();
      return kExitOk;
   }
   if( options.prefix.find( '/' ) == options.prefix.npos ) {
      MatchJob job( route.prefix.ipGenAddr() );
      const auto run = runTables( { options.tables, 1, options.maxInput }, job, console );
      for( const auto & found : job.match.routes ) console.write( explainer.answerTo( found ) );
      console.flush();
      if( job.match.routes.empty() ) throw CommandError{ fmt::format( "no route of the table contains {}", options.prefix ) };
      return run.whole ? kExitOk : kExitError;
   }
   ExplainJob job( explainer, route.prefix );
   const auto run = runTables( { options.tables, 1, options.maxInput }, job, console );
   console.flush();
   if( !job.found ) throw CommandError{ fmt::format( "{} is not in the table", route.prefix.toStrep().view() ) };
   return run.whole ? kExitOk : kExitError;
}

}   // namespace Agent
