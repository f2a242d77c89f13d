#include "compile/PublishedRouteMap.h"

#include "substrate/quoin/Assert.h"

namespace Routing::Policy {

namespace {

Quoin::Ptr<RouteMapSymbol> symbolIn( const Quoin::Ptr<const RouteMapSymbolDedupTable> & table, const Quoin::String & name ) {
   QUOIN_ASSERT( table, "table" );
   auto symbol = table->symbol( name );
   QUOIN_ASSERT( symbol->notifier(), "symbol->notifier()" );
   return symbol;
}

// In a list, a route map without sequences permits.
Quoin::Ptr<const RouteMapStatus> undefinedRouteMap( const Quoin::String & name, WhileUndefined action ) {
   auto map = Quoin::makeNode<RouteMapStatus>( name );
   map->undefinedIs( true );
   map->undefinedReferencesIs( {} );
   if( action == WhileUndefined::deny ) {
      auto sequence = Quoin::makeNode<RouteMapSeqStatus>( uint32_t( SeqNumberType::seqNum10 ) );
      sequence->matchActionIs( Acl::MatchPermit::deny );
      map->seqStatusIs( sequence );
   }
   return map;
}

}   // namespace

PublishedRouteMap::PublishedRouteMap( const Quoin::Ptr<const RouteMapSymbolDedupTable> & table, const Quoin::String & name,
                                      RmPrecedence precedence, WhileUndefined whileUndefined )
      : symbol_( symbolIn( table, name ) ),
        whileUndefined_( undefinedRouteMap( name, whileUndefined ) ),
        precedence_( precedence ),
        versionRises_( *symbol_->notifier(), [ this ]( const Quoin::Change & ) { publish(); } ) {
   publish();
}

PublishedRouteMap::~PublishedRouteMap() = default;

void PublishedRouteMap::publish() {
   const auto & status = symbol_->rmStatus() ? symbol_->rmStatus() : whileUndefined_;
   if( const auto & now = published_.policy(); now && now->rmStatus( precedence_ ) == status )
      return;   // the version rose without a change
   auto list = Quoin::makeNode<RouteMapStatusList>();
   list->rmStatusIs( precedence_, status );
   published_.policyIs( std::move( list ) );   // the last step: the release of the old policy may destroy this object
}

}   // namespace Routing::Policy
