#include "policy/SeqLog.h"

#include <charconv>
#include <string>

#include "policy/LogText.h"
#include "policy/PolicyEvaluationLog.h"

namespace Routing::Policy {

SeqLog::SeqLog( uint32_t seqno ) : seqno_( seqno ) {}
SeqLog::~SeqLog() = default;

void SeqLog::subPolicyEvaluationLogIs( const Quoin::Ptr<PolicyEvaluationLog> & log ) {
   subPolicyEvaluationLog_ = log;
}

Quoin::String SeqLog::toStrep( uint32_t level ) const {
   LogText text( level );
   text.line( static_cast<const void *>( this ) );
   text.line( "seqno: ", std::to_string( seqno_ ) );
   if( hadNoMatchers_ ) {
      text.line( "The sequence had no matchers" );
   } else if( failedMatcher_ == MatchOption::none ) {
      text.line( "Seq matched " );
   } else {
      text.line( "The following matcher failed:" );
      text.line( failedMatcher_ );
      return text.text();
   }
   if( subPolicyEvaluationLog_ ) {
      text.line( "Result: called a sub route map: " );
      text.nested( subPolicyEvaluationLog_->toStrep( level + 1 ) );
      if( !subRouteMapResult_ ) return text.text();
   }
   if( matchActionDeny_ ) {
      text.line( "Explicitly denied" );
      return text.text();
   }
   text.line( permitResult_ ? "This sequence is permit" : "This sequence is deny" );
   if( subRouteMapInvertResult_ ) text.line( "Sub route map inverted" );
   if( continueSeq_ != 0 ) text.line( "Continue triggered to seq ", std::to_string( continueSeq_ ) );
   return text.text();
}

void SeqLog::toJson( Gloss::RendererV2 * renderer, const Quoin::Ptr<const RouteMapSeqStatus> & seqStatus ) const {
   char key[ 10 ];
   const auto keyEnd = std::to_chars( key, key + sizeof key, seqno_ ).ptr;
   renderer->_startJsonObject( std::string_view( key, static_cast<size_t>( keyEnd - key ) ) );

   renderer->writeComma();
   renderer->write( "\"passedMatchers\":[" );
   for( const auto & [ option, matcher ] : seqStatus->matcher() ) {
      if( option == failedMatcher_ ) break;
      renderer->writeComma();
      renderer->firstItemIs( false );
      renderer->write( "\"" );
      renderer->writeQuotedString( option );
      renderer->write( "\"" );
   }
   renderer->write( "]" );
   renderer->firstItemIs( false );

   if( failedMatcher_ != MatchOption::none ) {
      renderer->writeComma();
      renderer->write( "\"failingMatcher\":\"" );
      renderer->writeQuotedString( failedMatcher_ );
      renderer->write( "\"" );
   } else if( subPolicyEvaluationLog_ ) {
      renderer->_startJsonObject( "subRouteMap" );
      subPolicyEvaluationLog_->toJson( renderer );
      renderer->endJsonObject();
      renderer->_addJsonKeyValuePair( "subRouteMapInvertResult", subRouteMapInvertResult_ );
   }
   renderer->_addJsonKeyValuePair( "hadNoMatchers", hadNoMatchers_ );
   renderer->_addJsonKeyValuePair( "matchActionDeny", matchActionDeny_ );
   renderer->_addJsonKeyValuePair( "result", permitResult_ );
   renderer->_addJsonKeyValuePair( "continue", continueSeq_ );
   renderer->endJsonObject();
}

}   // namespace Routing::Policy
