#include "policy/PolicyEvaluationLog.h"

#include <string>

#include "policy/LogText.h"

namespace Routing::Policy {

PolicyEvaluationLog::PolicyEvaluationLog( const Quoin::Ptr<const RouteMapStatus> & rmStatus ) : rmStatus_( rmStatus ) {}
PolicyEvaluationLog::~PolicyEvaluationLog() = default;

const char * PolicyEvaluationLog::policyType() const {
   return "routemap";
}

Quoin::Ptr<SeqLog> PolicyEvaluationLog::addSeq( const Quoin::Ptr<const RouteMapSeqStatus> & seqStatus ) {
   const uint32_t seqno = seqStatus->seqno();
   if( auto visited = seq( seqno ) ) return visited;
   auto record = Quoin::makeNode<SeqLog>( seqno );
   if( seqStatus->subRouteMap() ) record->subPolicyEvaluationLogIs( Quoin::makeNode<PolicyEvaluationLog>( seqStatus->subRouteMap() ) );
   seqIs( record );
   return record;
}

void PolicyEvaluationLog::seqIs( const Quoin::Ptr<SeqLog> & seq ) {
   if( !seq ) Plinth::throwMutatorArgNullPointerException( "PolicyEvaluationLog::seqIs" );
   seq_.put( seq->seqno(), seq );
}

// Visits the records whose sequence still exists in the status, in the order of the status. The status may change between two visits.
template <class Visit>
void PolicyEvaluationLog::visitSequences( Visit && visit ) const {
   for( auto i = rmStatus_->seqStatus().first(); i; i.next() ) {
      const auto seqStatus = i.value();
      if( const auto record = seq( i.key() ) ) visit( *record, seqStatus );
   }
}

Quoin::String PolicyEvaluationLog::toStrep( uint32_t level ) const {
   LogText text( level );
   text.line( static_cast<const void *>( this ) );
   text.line( "Route Map Name: ", rmStatus_->name() );
   visitSequences( [ & ]( const SeqLog & record, const auto & ) {
      text.line( "Matcher debug key: ", std::to_string( record.seqno() ) );
      text.nested( record.toStrep( level + 1 ) );
   } );
   text.line( permitResult_ ? "result was permit" : "result was deny" );
   if( defaultDeny_ ) text.line( "default denied" );
   text.line( "end ", rmStatus_->name() );
   return text.text();
}

void PolicyEvaluationLog::toJson( Gloss::RendererV2 * renderer ) const {
   renderer->writeComma();
   renderer->firstItemIs( false );
   renderer->write( "\"rmname\":\"" );
   renderer->writeQuotedString( rmStatus_->name().view() );
   renderer->write( "\"" );
   renderer->_startJsonObject( "seqs" );
   visitSequences( [ & ]( const SeqLog & record, const auto & seqStatus ) { record.toJson( renderer, seqStatus ); } );
   renderer->endJsonObject();
   renderer->_addJsonKeyValuePair( "result", permitResult_ );
   renderer->_addJsonKeyValuePair( "defaultDeny", defaultDeny_ );
}

}   // namespace Routing::Policy
