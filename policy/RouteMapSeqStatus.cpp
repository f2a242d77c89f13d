#include "policy/RouteMapSeqStatus.h"

#include "policy/RouteMapStatus.h"

namespace Routing::Policy {

RouteMapSeqStatus::RouteMapSeqStatus( uint32_t seqno ) : seqno_( seqno ), matchAction_{ Acl::MatchPermit::permit } {}
RouteMapSeqStatus::~RouteMapSeqStatus() = default;

void RouteMapSeqStatus::subRouteMapIs( Quoin::Ptr<const RouteMapStatus> map ) {
   if( subRouteMap_.assign( std::move( map ) ) ) publisher_.publishChange( Quoin::FieldId( Field::subRouteMap ) );
}

void RouteMapSeqStatus::aggRoleAttrMapIs( Quoin::Ptr<const RouteMapStatus> map ) {
   if( aggRoleAttrMap_.assign( std::move( map ) ) ) publisher_.publishChange( Quoin::FieldId( Field::aggRoleAttrMap ) );
}

Quoin::Ptr<RouteMapSeqStatus> RouteMapSeqStatus::newFrom( const Quoin::Ptr<const RouteMapSeqStatus> & src, uint32_t seqno ) {
   auto copy = Quoin::makeNode<RouteMapSeqStatus>( seqno );
   if( src ) copy->clone( *src );
   return copy;
}

void RouteMapSeqStatus::clone( const Zeugma::BaseNotifyingType & source ) {
   Quoin::ReleaseScope scope;   // a reaction may release this sequence
   const auto & src = static_cast<const RouteMapSeqStatus &>( source );
   Plinth::cloneMembers( publisher_, Quoin::FieldId( Field::matcher ), matcher_, src.matcher_ );
   subRouteMapIs( src.subRouteMap() );
   aggRoleAttrMapIs( src.aggRoleAttrMap() );
   Plinth::cloneMembers( publisher_, Quoin::FieldId( Field::setter ), setter_, src.setter_ );
   continueSeqIs( src.continueSeq() );
   subInvertIs( src.subInvert() );
   matchActionIs( src.matchAction() );
}

RouteMapFeatures RouteMapSeqStatus::getFeatures() const {
   RouteMapFeatures features;
   for( const auto & [ option, matcher ] : matcher_ ) features.updateFrom( matcher->getFeatures() );
   for( const auto & [ option, setter ] : setter_ ) features.updateFrom( setter->getFeatures() );
   if( auto * sub = subRouteMapRawPtr() ) features.updateFrom( sub->features() );
   return features;
}

void RouteMapSeqStatus::dumpState( const Zeugma::DumpContextPtr & ctx, unsigned indent ) const {
   ZEUGMA_OBJ_DUMP_LINE( ctx, indent, "RouteMapSeqStatus %s %u\n", stringValue( matchAction() ), seqno_ );
   if( auto * sub = subRouteMapRawPtr() ) {
      ZEUGMA_OBJ_DUMP_LINE( ctx, indent, "  subRouteMap=%s\n", sub->name().data() );
      Zeugma::dumpChild( ctx, "RouteMapStatus", subRouteMap(), indent + 4 );
   }
   if( auto * agg = aggRoleAttrMapRawPtr() ) {
      ZEUGMA_OBJ_DUMP_LINE( ctx, indent, "  aggRoleAttrMap=%s\n", agg->name().data() );
      Zeugma::dumpChild( ctx, "RouteMapStatus", aggRoleAttrMap(), indent + 4 );
   }
   for( const auto & [ option, matcher ] : matcher_ )
      ZEUGMA_OBJ_DUMP_LINE( ctx, indent, "  matchOption=%s %s\n", stringValue( option ), matcher->toStrep().data() );
   for( const auto & [ option, setter ] : setter_ )
      ZEUGMA_OBJ_DUMP_LINE( ctx, indent, "  setOption=%s %s\n", stringValue( option ), setter->toStrep().data() );
   if( continueSeq() ) ZEUGMA_OBJ_DUMP_LINE( ctx, indent, "  continueSeq\n" );
}

}   // namespace Routing::Policy
