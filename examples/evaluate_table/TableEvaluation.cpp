#include "TableEvaluation.h"

#include <algorithm>
#include <utility>

#include "policy/PolicyEvaluationLog.h"
#include "substrate/gloss/RendererV2.h"

namespace EvaluateTable {

using Quoin::makeNode;
using RouteTable::TableRoute;
using Routing::Policy::PolicyEval;
using Routing::Policy::PolicyEvalContext;
using Routing::Policy::PolicyEvaluationLog;

TableEvaluation::TableEvaluation( EdgePolicy policy )
      : policy_( std::move( policy ) ), plain_( makeNode<PolicyEval>() ), logging_( makeNode<PolicyEval>() ) {
   logging_->contextIs( makeNode<PolicyEvalContext>() );
   logging_->shouldLogEvalIs( true );
}

void TableEvaluation::evaluate( const TableRoute & route ) {
   const auto input = matchInputOf( route );
   // PolicyEval::eval() does this and runs the setters at once. The steps are apart here for the sequences in between.
   Matched matched;
   if( plain_->evalPolicyMatchers( &input, policy_.list, &matched, nullptr ) )
      permit( route, matched );
   else
      deny( route );
}

void TableEvaluation::permit( const TableRoute & route, const Matched & matched ) {
   ++( route.prefix.af() == Ferule::AddressFamily::ipv4 ? ipv4_ : ipv6_ ).permitted;
   const auto & own = policy_.edgeIn->seqStatus();
   for( const auto * seq : matched ) {
      const auto * entry = own.find( seq->seqno() );
      if( entry && entry->get() == seq ) ++routesOf_[ seq->seqno() ];   // and not one of a sub route map
   }
   if( matched.size() > mostMatched_ ) {
      mostMatched_ = matched.size();
      telltalePermit_ = route;
   }
   const auto sameWay = [ & ]( const Change & change ) { return std::ranges::equal( change.matched, matched ); };
   if( changes_.size() == kMaxChanges || std::ranges::any_of( changes_, sameWay ) ) return;
   Change change{ route, attributesOf( route ), attributesOf( route ), { matched.begin(), matched.end() } };
   plain_->applyPolicySetters( &matched, &change.after );
   changes_.push_back( std::move( change ) );
}

void TableEvaluation::deny( const TableRoute & route ) {
   ++( route.prefix.af() == Ferule::AddressFamily::ipv4 ? ipv4_ : ipv6_ ).denied;
   // Only a log tells which sequence denied. It costs more than the answer did, but few routes of a table are denied.
   const auto log = evaluateWithLog( route ).log;
   for( const auto & text : edgeInTexts() ) {
      const auto seq = log->seq( text.seqno );
      if( seq && seq->matchActionDeny() ) ++routesOf_[ text.seqno ];
   }
   const size_t asked = log->seq().count();
   if( asked > mostAsked_ ) {
      mostAsked_ = asked;
      telltaleDeny_ = route;
   }
}

TableEvaluation::Logged TableEvaluation::evaluateWithLog( const TableRoute & route ) {
   const auto input = matchInputOf( route );
   auto result = attributesOf( route );
   const bool permitted = logging_->eval( &input, policy_.list, &result );
   // One log per evaluation: that of the point's route map. The queue is ours to drain.
   const auto log = logging_->context()->evaluationLogDeq();
   return { permitted, Quoin::staticPtrCast<const PolicyEvaluationLog>( log ) };
}

Explanation TableEvaluation::explain( const TableRoute & route ) {
   const Logged logged = evaluateWithLog( route );
   Gloss::RendererV2 renderer;   // the log writes the members of an object that its user opens and closes
   renderer.write( "{" );
   renderer._startJsonObject( logged.log->policyType() );
   logged.log->toJson( &renderer );
   renderer.endJsonObject();
   renderer.write( "}" );
   return { route, logged.permitted, std::string( logged.log->toStrep( 0 ) ), renderer.text() };
}

uint64_t TableEvaluation::routesOf( uint32_t seqno ) const {
   const auto entry = routesOf_.find( seqno );
   return entry == routesOf_.end() ? 0 : entry->second;
}

}   // namespace EvaluateTable
