#include "policy/RouteMapStatusList.h"

#include "substrate/quoin/DisplayPointer.h"

namespace Routing::Policy {

RouteMapStatusList::RouteMapStatusList() {
   updateFeatures();
}
RouteMapStatusList::~RouteMapStatusList() = default;

Quoin::Ptr<RouteMapStatusList> RouteMapStatusList::copy() const {
   auto list = Quoin::makeNode<RouteMapStatusList>();
   for( const auto & [ precedence, status ] : rmStatus_ ) list->rmStatusIs( precedence, status );
   list->gyreStatusIs( gyreStatus_ );
   list->gyreStatusFilterIs( gyreStatusFilter_ );
   list->gyreStatusMaintIs( gyreStatusMaint_ );
   return list;
}

void RouteMapStatusList::rmStatusIs( RmPrecedence p, const Quoin::Ptr<const RouteMapStatus> & s ) {
   Quoin::ReleaseScope scope;   // a reaction may release this list
   const auto old = rmStatus( p );
   if( s ) s->makePlan();
   if( !( s ? rmStatus_.put( p, s ) : rmStatus_.erase( p ) ) ) return;
   membersHaveChanged();
   publisher_.publishChangeRecursive( Quoin::FieldId( Field::rmStatus ), &p, &old, RmPrecedence::isEq );
}

void RouteMapStatusList::rmStatusDel( RmPrecedence p ) {
   rmStatusIs( p, nullptr );
}

void RouteMapStatusList::rmStatusDelAll() {
   if( rmStatus_.empty() ) return;
   Quoin::ReleaseScope scope;
   const auto gone = rmStatus_.takeAll();
   membersHaveChanged();
   for( const auto & [ p, status ] : gone )
      publisher_.publishChangeRecursive( Quoin::FieldId( Field::rmStatus ), &p, &status, RmPrecedence::isEq );
}

void RouteMapStatusList::functionIs( FunctionPtr & member, Field field, const FunctionPtr & function ) {
   if( member == function ) return;
   Quoin::ReleaseScope scope;
   member = function;
   membersHaveChanged();
   publisher_.publishChange( Quoin::FieldId( field ) );
}

void RouteMapStatusList::featureIs( RouteMapFeatures::Bit bit, bool on ) {
   RouteMapFeatures changed = features();
   changed.bitIs( bit, on );
   featuresIs( changed );
}

void RouteMapStatusList::membersHaveChanged() {
   const bool isOne = rmStatus_.count() == 1 && !gyreStatus_ && !gyreStatusMaint_;
   onlyRouteMap_ = isOne ? rmStatus_.begin()->second.get() : nullptr;
   updateFeatures();
}

void RouteMapStatusList::updateFeatures() {
   RouteMapFeatures all;
   for( const auto & [ precedence, status ] : rmStatus_ ) all.updateFrom( status->features() );
   for( const auto * function : { &gyreStatus_, &gyreStatusFilter_, &gyreStatusDefaultOriginate_, &gyreStatusMaint_ } )
      if( !undefinedIn( *function ) && *function ) all.updateFrom( ( *function )->aet()->routeMapFeatures() );
   featuresIs( all );
}

Quoin::String RouteMapStatusList::nameAt( RmPrecedence p ) const {
   auto * status = rmStatus_.find( p );
   return status ? ( *status )->name() : Quoin::String();
}

bool RouteMapStatusList::undefinedAt( RmPrecedence p ) const {
   auto * status = rmStatus_.find( p );
   return status && ( *status )->undefined();
}

Quoin::String RouteMapStatusList::nameOf( const FunctionPtr & function ) {
   return function ? function->funcName() : Quoin::String();
}

bool RouteMapStatusList::undefinedIn( const FunctionPtr & function ) {
   return function && function->undefined();
}

void RouteMapStatusList::dumpState( const Zeugma::DumpContextPtr & ctx, unsigned indent ) const {
   ZEUGMA_OBJ_DUMP_LINE( ctx, indent, "RouteMapStatusList %s #%u\n", Quoin::DisplayPointer::toString( this ).c_str(),
                         unsigned( rmStatus_.count() ) );
   for( const auto & [ precedence, status ] : rmStatus_ ) Zeugma::dumpChild( ctx, "RouteMapStatus", status, indent + 2 );
   for( const auto * function : { &gyreStatus_, &gyreStatusFilter_, &gyreStatusMaint_ } )
      Zeugma::dumpChild( ctx, "FunctionStatus", *function, indent + 2 );
}

}   // namespace Routing::Policy
