#include "command/Visits.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "dialect/Numbers.h"
#include "text/Printable.h"
#include "text/TextWriter.h"

namespace Agent {

namespace {

using namespace Routing::Policy;

constexpr size_t kLongestClause = 300;

// ---- from logs to visits

class Teller {
 public:
   Teller( const WorkingRoute & working, const PolicyText & policy, const References & references )
         : failedTest_( working.failed().begin() ),
           policy_( policy ),
           references_( references ),
           isFrr_( policy.dialect == Dialect::frr ) {}

   /// Visits in the order of the evaluation: the failed tests have that order.
   RouteMapVisit routeMap( const PolicyEvaluationLog & log ) {
      RouteMapVisit visit;
      visit.routeMap = log.rmStatus()->name().view();
      visit.permits = log.permitResult();
      for( const auto & [ compiled, sequence ] : log.rmStatus()->seqStatus() ) {
         const auto visited = log.seq( compiled );
         if( !visited || ( isFrr_ && !isOperatorsSequence( compiled ) ) ) continue;
         if( isOfFilters( visit.routeMap ) )
            addFilter( visit, *visited );
         else
            visit.sequences.push_back( this->sequence( visit.routeMap, *sequence, *visited ) );
      }
      if( !visit.permits ) visit.end = isFrr_ ? endOf( visit.sequences ) : log.defaultDeny() ? kNoMatch : "";
      return visit;
   }

 private:
   static constexpr const char * kNoMatch = "no sequence matches";

   // A filter is told once: where it permits, or where it denies.
   [[gnu::noinline]] void addFilter( RouteMapVisit & visit, const SeqLog & log ) {
      const SequenceText & text = policy_.routeMaps.at( visit.routeMap ).sequences.at( operatorsNumberOf( log.seqno() ) );
      if( text.description.empty() || log.failedMatcher() != MatchOption::none ) return;
      SequenceVisit filter{ .filter = text.description, .action = text.action, .matches = true };
      if( const auto & sub = log.subPolicyEvaluationLog() ) filter.callee.push_back( routeMap( *sub ) );
      visit.sequences.push_back( std::move( filter ) );
   }

   // Of a denied route in the dialect of FRR.
   [[gnu::noinline]] static std::string endOf( const std::vector<SequenceVisit> & sequences ) {
      const auto matches = []( const SequenceVisit & visit ) { return visit.matches; };
      if( !sequences.empty() && matches( sequences.back() ) ) return {};
      const auto last = std::find_if( sequences.rbegin(), sequences.rend(), matches );
      return last == sequences.rend() ? kNoMatch : fmt::format( "{} behind {}", kNoMatch, last->number );
   }

   // Recursive over nested calls: what is big on the stack is in functions that are not inlined.
   SequenceVisit sequence( const std::string & routeMap, const RouteMapSeqStatus & status, const SeqLog & log ) {
      SequenceVisit visit;
      visit.number = operatorsNumberOf( log.seqno() );
      visit.action = status.matchAction();
      if( log.failedMatcher() != MatchOption::none ) {
         setFailure( visit, routeMap, log.failedMatcher() );
         return visit;
      }
      const auto & sub = log.subPolicyEvaluationLog();
      if( sub ) visit.callee.push_back( this->routeMap( *sub ) );
      setMatch( visit, routeMap, !sub || sub->permitResult() != status.subInvert(), operatorsNumberOf( log.continueSeq() ) );
      return visit;
   }

   [[gnu::noinline]] void setFailure( SequenceVisit & visit, const std::string & routeMap, MatchOption option ) {
      const bool isTest = isFrr_ && option == kMatchStep;
      visit.fails = clause( routeMap, visit.number, textOf( routeMap, visit.number ), isTest ? ( *failedTest_++ )->option : option );
   }
   // The match clauses hold. `continueAt`: 0 for none.
   [[gnu::noinline]] void setMatch( SequenceVisit & visit, const std::string & routeMap, bool calleeFits, uint32_t continueAt ) const {
      const SequenceText & text = textOf( routeMap, visit.number );
      visit.matches = isFrr_ || calleeFits;
      visit.remarks = remarks( routeMap, visit, text );
      if( isFrr_ && visit.action == MatchPermit::permit ) visit.sets = setsOf( text );
      if( calleeFits ) setContinue( visit, text, routeMap, continueAt );
   }
   const SequenceText & textOf( const std::string & routeMap, uint32_t number ) const {
      return policy_.routeMaps.at( routeMap ).sequences.at( number );
   }
   uint32_t operatorsNumberOf( uint32_t compiled ) const { return isFrr_ ? operatorsNumber( compiled ) : compiled; }

   std::string clause( const std::string & routeMap, uint32_t number, const SequenceText & text, MatchOption option ) const {
      const auto found = text.match.find( option );
      if( found == text.match.end() ) return stringValue( option );
      return printable( writeMatch( option, found->second ), kLongestClause ) + missing( references_.in( routeMap, number, option ) );
   }
   // Says of an undefined reference that it is undefined; empty for a defined one.
   std::string missing( const Reference * reference ) const {
      if( !reference || reference->defined ) return {};
      const auto other = inOtherFamily( reference->to.kind );
      if( other && isDefined( policy_, { *other, reference->to.name } ) )
         return fmt::format( ", which is defined for {} only", familyOf( *other ) );
      return ", which is undefined";
   }

   std::vector<std::string> remarks( const std::string & routeMap, const SequenceVisit & visit, const SequenceText & text ) const {
      std::vector<std::string> all;
      for( const auto & [ option, match ] : text.match )
         if( !missing( references_.in( routeMap, visit.number, option ) ).empty() )
            all.push_back( clause( routeMap, visit.number, text, option ) );
      const bool calls = text.call && !( isFrr_ && visit.action == MatchPermit::deny );
      if( calls )
         all.push_back( fmt::format( "it calls {}{}{}{}", printableName( text.call->name ),
                                     missing( references_.in( routeMap, visit.number, std::nullopt ) ),
                                     text.call->invert ? ", inverted" : "", isDenied( visit ) ? ", which denies the route" : "" ) );
      return all;
   }
   bool isDenied( const SequenceVisit & visit ) const { return isFrr_ && !visit.callee.empty() && !visit.callee.front().permits; }

   static std::vector<std::string> setsOf( const SequenceText & text ) {
      std::vector<std::string> sets;
      for( const auto & clause : text.set ) sets.push_back( printable( writeSet( clause ), kLongestClause ) );
      return sets;
   }

   void setContinue( SequenceVisit & visit, const SequenceText & text, const std::string & routeMap, uint32_t at ) const {
      visit.continuesAt = at;
      if( at != 0 || !text.continueTo || visit.action == MatchPermit::deny ) return;
      const uint32_t target = text.continueTo->target;
      if( isFrr_ )
         visit.ends = "as no later sequence exists";
      else if( target != 0 && !policy_.routeMaps.at( routeMap ).sequences.contains( target ) )
         visit.ends = fmt::format( "as sequence {} does not exist", target );
   }

   std::vector<const StepTest *>::const_iterator failedTest_;   // the next one
   const PolicyText & policy_;
   const References & references_;
   const bool isFrr_;
};

// ---- from visits to text

class Lines {
 public:
   // Recursive, as above.
   void routeMap( const RouteMapVisit & visit, size_t depth ) {
      head( visit, depth );
      for( const auto & sequence : visit.sequences ) {
         line( sequence, depth + 1 );
         for( const auto & callee : sequence.callee ) routeMap( callee, depth + 2 );
      }
   }
   std::string take() { return std::move( text_ ); }

 private:
   [[gnu::noinline]] void head( const RouteMapVisit & visit, size_t depth ) {
      line( depth,
            fmt::format( "{} {}{}{}", printableName( visit.routeMap ), visit.permits ? "permits" : "denies", visit.end.empty() ? "" : ": ",
                         visit.end ) );
   }
   [[gnu::noinline]] void line( const SequenceVisit & visit, size_t depth ) {
      if( visit.filter.empty() )
         line( depth, fmt::format( "{:<5} {:<6}  {}", visit.number, stringValue( visit.action ), resultOf( visit ) ) );
      else if( visit.callee.empty() )
         line( depth, fmt::format( "{} {}", visit.filter, visit.action == MatchPermit::permit ? "permits" : "denies" ) );
      else
         line( depth, visit.filter );
   }
   static std::string resultOf( const SequenceVisit & visit ) {
      if( !visit.fails.empty() ) return "does not hold: " + visit.fails;
      std::string text = visit.matches ? "matches" : "does not match";
      std::vector<std::string> parts = visit.remarks;
      if( !visit.sets.empty() ) parts.insert( parts.begin(), "sets " + joined( visit.sets, visit.sets.size(), ", " ) );
      for( size_t i = 0; i < parts.size(); ++i ) text += ( i == 0 ? ": " : "; " ) + parts[ i ];
      if( visit.continuesAt != 0 ) text += fmt::format( "; continues at {}", visit.continuesAt );
      if( !visit.ends.empty() ) text += "; ends here, " + visit.ends;
      return text;
   }
   void line( size_t depth, const std::string & what ) { text_ += std::string( 3 * depth, ' ' ) + what + '\n'; }

   std::string text_;
};

Json jsonOf( const SequenceVisit & visit ) {
   Json json = { { "action", stringValue( visit.action ) }, { "result", visit.matches } };
   if( !visit.fails.empty() ) json[ "failing" ] = visit.fails;
   if( !visit.remarks.empty() ) json[ "remarks" ] = visit.remarks;
   if( !visit.sets.empty() ) json[ "sets" ] = visit.sets;
   if( !visit.callee.empty() ) json[ "subRouteMap" ] = Agent::jsonOf( visit.callee.front() );
   json[ "continue" ] = visit.continuesAt;
   return json;
}

}   // namespace

RouteMapVisit visitOf( const PolicyEvaluationLog & log, const WorkingRoute & working, const PolicyText & policy,
                       const References & references ) {
   return Teller( working, policy, references ).routeMap( log );
}

std::string textOf( const RouteMapVisit & visit ) {
   Lines lines;
   lines.routeMap( visit, 0 );
   return lines.take();
}

Json jsonOf( const RouteMapVisit & visit ) {
   Json json = { { "rmname", visit.routeMap }, { "seqs", Json::object() } };
   for( const auto & sequence : visit.sequences )
      json[ "seqs" ][ sequence.filter.empty() ? std::to_string( sequence.number ) : sequence.filter ] = jsonOf( sequence );
   json[ "result" ] = visit.permits;
   json[ "defaultDeny" ] = !visit.end.empty();
   return json;
}

}   // namespace Agent
