#include "policy/RouteMapStatus.h"

#include <unordered_set>
#include <vector>

namespace Routing::Policy {

namespace {

constexpr auto kSeqStatus = Quoin::FieldId( RouteMapStatus::Field::seqStatus );

}   // namespace

RouteMapStatus::~RouteMapStatus() = default;

Quoin::Ptr<RouteMapStatus> RouteMapStatus::newFrom( const Quoin::Ptr<const RouteMapStatus> & src, const Quoin::String & name ) {
   auto copy = Quoin::makeNode<RouteMapStatus>( name );
   copy->updateFeaturesOnSeqStatusChangeIs( false );
   if( src ) copy->clone( *src );
   copy->updateFeatures();
   return copy;
}

Quoin::Ptr<RouteMapStatus> RouteMapStatus::successorOf( const Quoin::Ptr<const RouteMapStatus> & src, const Quoin::String & name ) {
   auto copy = Quoin::makeNode<RouteMapStatus>( name );
   copy->updateFeaturesOnSeqStatusChangeIs( false );
   if( !src ) return copy;
   copy->seqStatus_ = src->seqStatus_;
   copy->base_.exchange( Quoin::Ptr( src->plan() ) );
   copy->featuresIs( src->features() );
   copy->undefinedIs( src->undefined() );
   copy->undefinedReferencesIs( src->undefinedReferences() );
   return copy;
}

void RouteMapStatus::clone( const Zeugma::BaseNotifyingType & source ) {
   Quoin::ReleaseScope scope;   // a reaction may release this route map
   const auto & src = static_cast<const RouteMapStatus &>( source );
   for( auto i = seqStatus_.first(); i; i.next() )
      if( !src.seqStatus_.find( i.key() ) ) seqStatusDel( i.key() );
   for( auto i = src.seqStatus_.first(); i; i.next() ) seqStatusIs( Quoin::Ptr( i.value() ) );   // a reaction may change the source
   featuresIs( src.features() );
   updateFeaturesOnSeqStatusChangeIs( src.updateFeaturesOnSeqStatusChange() );   // says whether the copied features are current
   undefinedIs( src.undefined() );
   undefinedReferencesIs( src.undefinedReferences() );
}

Quoin::Ptr<RouteMapStatus> RouteMapStatus::deepCopy() const {
   auto copy = Quoin::makeNode<RouteMapStatus>( name_ );
   copy->updateFeaturesOnSeqStatusChangeIs( false );
   for( const auto & [ seqno, seq ] : seqStatus_ ) {
      auto seqCopy = Quoin::makeNode<RouteMapSeqStatus>( seqno );
      seqCopy->matchActionIs( seq->matchAction() );
      seqCopy->subRouteMapIs( seq->subRouteMap() );
      seqCopy->subInvertIs( seq->subInvert() );
      for( const auto & [ option, matcher ] : seq->matcher() ) seqCopy->matcherIs( option, matcher );
      for( const auto & [ option, setter ] : seq->setter() ) seqCopy->setterIs( option, setter );
      copy->seqStatusIs( seqCopy );
   }
   copy->updateFeatures();
   return copy;
}

void RouteMapStatus::seqStatusIs( const Quoin::Ptr<const RouteMapSeqStatus> & seq ) {
   if( !seq ) Plinth::throwMutatorArgNullPointerException( "RouteMapStatus::seqStatusIs" );
   Quoin::ReleaseScope scope;
   const uint32_t seqno = seq->seqno();
   const auto old = seqStatus( seqno );
   if( !seqStatus_.put( seqno, seq ) ) return;
   dropPlan();
   handleSeqStatus();
   Plinth::publishMember( publisher_, kSeqStatus, seqno, &old );
}

void RouteMapStatus::seqStatusDel( uint32_t seqno ) {
   Quoin::ReleaseScope scope;
   const auto old = seqStatus( seqno );
   if( !seqStatus_.erase( seqno ) ) return;
   dropPlan();
   handleSeqStatus();
   Plinth::publishMember( publisher_, kSeqStatus, seqno, &old );
}

void RouteMapStatus::seqStatusDelAll() {
   if( seqStatus_.empty() ) return;
   Quoin::ReleaseScope scope;
   const auto gone = seqStatus_.takeAll();
   dropPlan();
   handleSeqStatus();
   for( const auto & [ seqno, seq ] : gone ) Plinth::publishMember( publisher_, kSeqStatus, seqno, &seq );
}

void RouteMapStatus::handleSeqStatus() {
   if( updateFeaturesOnSeqStatusChange_ ) updateFeatures();
}

void RouteMapStatus::updateFeatures() {
   Quoin::ReleaseScope scope;
   RouteMapFeatures all;
   for( const auto & [ seqno, seq ] : seqStatus_ ) all.updateFrom( seq->getFeatures() );
   featuresIs( all );
   updateFeaturesOnSeqStatusChangeIs( true );
}

void RouteMapStatus::makePlan() const noexcept {
   if( plan() ) return;
   struct Made {
      const RouteMapStatus * map;
      const RouteMapPlan * outdated;
      Quoin::Ptr<const RouteMapPlan> plan;
   };
   try {
      std::vector<Made> made;
      std::vector<const RouteMapStatus *> left = { this };
      std::unordered_set<const RouteMapStatus *> seen = { this };
      while( !left.empty() ) {
         const RouteMapStatus & next = *left.back();
         left.pop_back();
         const RouteMapPlan * const outdated = next.plan_.get();
         // Another thread may evaluate by an outdated plan, or make the same plan.
         if( outdated && ( outdated->isCurrent() || Quoin::ThreadControl::threaded() ) ) continue;
         std::vector<const RouteMapStatus *> callees;
         made.push_back( { &next, outdated, RouteMapPlan::of( next.seqStatus_, next.base_.exchange( nullptr ), callees ) } );
         for( const auto * callee : callees )
            if( seen.insert( callee ).second ) left.push_back( callee );
      }
      // All or none: a route map that has a plan is not asked for those of its callees again.
      for( auto & [ map, outdated, plan ] : made ) map->plan_.replace( outdated, std::move( plan ) );
   } catch( ... ) {}   // evaluation walks
}

void RouteMapStatus::dropPlan() noexcept {
   plan_.exchange( nullptr );
}

void RouteMapStatus::undefinedIs( bool undefined ) {
   if( undefined == undefined_ ) return;
   undefined_ = undefined;
   publisher_.publishChange( Quoin::FieldId( Field::undefined ) );
}

void RouteMapStatus::updateFeaturesOnSeqStatusChangeIs( bool update ) {
   if( update == updateFeaturesOnSeqStatusChange_ ) return;
   updateFeaturesOnSeqStatusChange_ = update;
   publisher_.publishChange( Quoin::FieldId( Field::updateFeaturesOnSeqStatusChange ) );
}

void RouteMapStatus::dumpState( const Zeugma::DumpContextPtr & ctx, unsigned indent ) const {
   auto yesNo = []( bool b ) { return b ? "yes" : "no"; };
   ZEUGMA_OBJ_DUMP_LINE( ctx, indent,
                         "RouteMapStatus %s features=<%s>, updateFeaturesOnSeqStatusChange=%s, undefinedReferences=0x%.2x, undefined=%s\n",
                         name_.data(), features().toStrep().data(), yesNo( updateFeaturesOnSeqStatusChange() ), undefinedReferences().value,
                         yesNo( undefined() ) );
   for( const auto & [ seqno, seq ] : seqStatus_ ) Zeugma::dumpChild( ctx, "RouteMapSeqStatus", seq, indent + 2 );
}

}   // namespace Routing::Policy
